#include "python/positional.h"

#include "python/errors.h"

namespace python {

namespace {

[[noreturn]] void refuse_count(const char* method, const char* bound, Py_ssize_t expected,
                               Py_ssize_t count) {
  raise_formatted(PyExc_TypeError, "%.200s expected %s%zd argument%s, got %zd", method, bound,
                  expected, expected == 1 ? "" : "s", count);
}

}  // namespace

void check_positional(const char* method, Py_ssize_t count, Py_ssize_t least, Py_ssize_t most) {
  const bool exact = least == most;
  if (count < least) refuse_count(method, exact ? "" : "at least ", least, count);
  if (count > most) refuse_count(method, exact ? "" : "at most ", most, count);
}

const char* shown_type(PyObject* argument) noexcept {
  return argument == Py_None ? "None" : Py_TYPE(argument)->tp_name;
}

void check_text(const char* method, const char* which, PyObject* argument) {
  if (PyUnicode_Check(argument)) return;
  raise_formatted(PyExc_TypeError, "%.200s() %.200s must be str, not %.50s", method, which,
                  shown_type(argument));
}

Utf8 utf8_of(PyObject* text) {
  Py_ssize_t size = 0;
  const char* const utf8 = PyUnicode_AsUTF8AndSize(text, &size);
  if (utf8 == nullptr) throw PythonError{};
  return {utf8, static_cast<std::size_t>(size)};
}

}  // namespace python
