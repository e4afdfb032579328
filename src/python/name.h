// Texts that the code uses again and again: attribute names, column names, keys.
#pragma once

#include <Python.h>

#include "python/errors.h"

namespace python {

// An interned Python text, made at its first use and kept for the life of the process. Declare it
// `constinit` beside the code that uses it; it has no destructor, since the interpreter is gone
// when static objects are destroyed.
class Name {
 public:
  constexpr explicit Name(const char* text) : text_(text) {}

  // Borrowed. Throws if the text cannot be made (memory).
  PyObject* get() const {
    if (object_ == nullptr) {
      object_ = PyUnicode_InternFromString(text_);
      if (object_ == nullptr) throw PythonError{};
    }
    return object_;
  }

 private:
  const char* text_;
  mutable PyObject* object_ = nullptr;
};

}  // namespace python
