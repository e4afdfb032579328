#include "python/errors.h"

#include <cstdarg>

namespace python {

void raise(PyObject* type, const char* text) {
  PyErr_SetString(type, text);
  throw PythonError{};
}

void raise_formatted(PyObject* type, const char* format, ...) {
  va_list values;
  va_start(values, format);
  PyErr_FormatV(type, format, values);
  va_end(values);
  throw PythonError{};
}

void add_context(PyObject* earlier) noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  PyException_SetContext(pending, earlier);
  PyErr_SetRaisedException(pending);
}

}  // namespace python
