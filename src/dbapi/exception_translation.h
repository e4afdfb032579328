// The border between C++ exceptions and CPython: every
// function that CPython calls runs its body in here.
#pragma once

#include <Python.h>

#include "python/errors.h"

namespace dbapi {

// Makes the C++ exception that is being handled the pending Python error:
// an engine error by the class that Python's sqlite3 has for its code, a
// lack of memory as MemoryError; a Python error is pending already.
void set_error_from_exception() noexcept;

// The same, and goes on unwinding with the pending error.
[[noreturn]] inline void rethrow_as_python_error() {
  set_error_from_exception();
  throw python::PythonError{};
}

// Runs `body` and makes whatever it throws the pending Python error. The caller is C code and must
// not be unwound through, so nothing passes this frame.
template <typename Result, typename Body>
Result translate_exceptions(Result failure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    set_error_from_exception();
  }
  return failure;
}

}  // namespace dbapi
