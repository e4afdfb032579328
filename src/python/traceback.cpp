#include "python/traceback.h"

#include "python/compat.h"

namespace python {

namespace {

bool is_on_top(const Object& traceback, const char* name) noexcept {
  if (!traceback) return false;
  PyFrameObject* const frame = compat::frame_of_traceback(traceback.get());
  const Object code = Object::take_if_any(reinterpret_cast<PyObject*>(PyFrame_GetCode(frame)));
  const auto* const fields = reinterpret_cast<PyCodeObject*>(code.get());
  return PyUnicode_CompareWithASCIIString(fields->co_filename, kNativeFile) == 0 &&
         PyUnicode_CompareWithASCIIString(fields->co_name, name) == 0;
}

}  // namespace

void add_traceback_entry(const char* name, PyObject* globals) noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  PyCodeObject* const code = PyCode_NewEmpty(kNativeFile, name, 1);
  const Object kept_code = Object::take_if_any(reinterpret_cast<PyObject*>(code));
  PyFrameObject* const frame = code == nullptr ? nullptr : compat::new_frame(code, globals);
  const Object kept_frame = Object::take_if_any(reinterpret_cast<PyObject*>(frame));
  // An entry that cannot be made (memory) is left out: the error itself matters more.
  PyErr_SetRaisedException(pending);
  if (frame != nullptr) PyTraceBack_Here(frame);
}

void add_traceback_entry_once(const char* name, PyObject* globals) noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  const Object traceback = Object::take_if_any(PyException_GetTraceback(pending));
  PyErr_SetRaisedException(pending);
  if (!is_on_top(traceback, name)) add_traceback_entry(name, globals);
}

}  // namespace python
