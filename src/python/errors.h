// Python errors as C++ exceptions: the pending Python
// error is the message, the C++ exception only unwinds.
#pragma once

#include <Python.h>

namespace python {

// Thrown while a Python error is pending.
struct PythonError {};

// Makes `type` with `text` the pending error and unwinds.
[[noreturn]] void raise(PyObject* type, const char* text);

// The same with a text made by PyUnicode_FromFormat.
[[noreturn]] void raise_formatted(PyObject* type, const char* format, ...);

// True if the pending error is of `type` (a class or a tuple of classes).
inline bool pending_is(PyObject* type) { return PyErr_ExceptionMatches(type) != 0; }

// Makes `earlier`, whose reference it takes over, the context of the pending error.
void add_context(PyObject* earlier) noexcept;

// Throws if a C API call reported failure by a negative status.
inline void check(int status) {
  if (status < 0) throw PythonError{};
}

}  // namespace python
