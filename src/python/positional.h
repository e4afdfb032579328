// Positional arguments of native methods, refused in the words of CPython's own.
#pragma once

#include <Python.h>

#include <string_view>

namespace python {

// TypeError unless `least` <= `count` <= `most`.
void check_positional(const char* method, Py_ssize_t count, Py_ssize_t least, Py_ssize_t most);

// TypeError unless the argument is a text; `which` says which one it is.
void check_text(const char* method, const char* which, PyObject* argument);

// The UTF-8 form of a text, kept by the text; UnicodeEncodeError for a lone surrogate.
std::string_view utf8_of(PyObject* text);

}  // namespace python
