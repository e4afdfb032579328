// Positional arguments of native methods, refused in the words of CPython's own.
#pragma once

#include <Python.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace python {

// TypeError unless `least` <= `count` <= `most`.
void check_positional(const char* method, Py_ssize_t count, Py_ssize_t least, Py_ssize_t most);

// What an error about an argument calls its type: "None", or the type's name.
const char* shown_type(PyObject* argument) noexcept;

// TypeError unless the argument is a text; `which` says which one it is.
void check_text(const char* method, const char* which, PyObject* argument);

// The UTF-8 form of a text, which the text keeps; it ends with a NUL, and may hold others.
struct Utf8 {
  const char* bytes;
  std::size_t size;

  std::string_view view() const noexcept { return {bytes, size}; }
  bool holds_nul() const noexcept { return std::strlen(bytes) != size; }
};

// UnicodeEncodeError for a lone surrogate.
Utf8 utf8_of(PyObject* text);

}  // namespace python
