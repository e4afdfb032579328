#include "python/traceback.h"

#include <frameobject.h>

namespace python {

namespace {

constinit thread_local TracedCall* innermost = nullptr;

}  // namespace

void add_traceback_entry(const char* name, PyObject* globals) noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  PyCodeObject* const code = PyCode_NewEmpty(kNativeFile, name, 1);
  PyFrameObject* const frame =
      code == nullptr ? nullptr : PyFrame_New(PyThreadState_Get(), code, globals, nullptr);
  // An entry that cannot be made (memory) is left out: the error itself matters more.
  PyErr_SetRaisedException(pending);
  if (frame != nullptr) PyTraceBack_Here(frame);
  Py_XDECREF(frame);
  Py_XDECREF(code);
}

TracedCall::TracedCall(const char* name, PyObject* globals) noexcept
    : name_(name), globals_(globals), outer_(innermost) {
  innermost = this;
}

TracedCall::~TracedCall() { innermost = outer_; }

void TracedCall::record() noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  // An __exit__ that was shown the error may have taken its traceback away.
  const Object traceback = Object::take_if_any(PyException_GetTraceback(pending));
  const bool known = recorded_.is(pending) && traceback;
  if (!known) recorded_ = Object::share_if_any(pending);
  PyErr_SetRaisedException(pending);
  if (!known) add_traceback_entry(name_, globals_);
}

TracedCall* TracedCall::current() noexcept { return innermost; }

}  // namespace python
