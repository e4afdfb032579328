// Texts that the code uses again and again: attribute names, column names, keys.
#pragma once

#include <Python.h>

namespace python {

// An interned Python text, made at its first use and kept for the life of the process. Declare it
// `constinit` beside the code that uses it; it has no destructor, since the interpreter is gone
// when static objects are destroyed.
class Name {
 public:
  constexpr explicit Name(const char* text) : text_(text) {}

  // Borrowed. Throws if the text cannot be made (memory).
  PyObject* get() const {
    if (object_ == nullptr) make();
    return object_;
  }

  // Every name is made again at its next use.
  static void forget_all() noexcept;

 private:
  void make() const;

  const char* text_;
  mutable PyObject* object_ = nullptr;
  mutable const Name* next_made_ = nullptr;
};

}  // namespace python
