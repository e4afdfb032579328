// The border between C++ exceptions and CPython: every function that CPython calls runs its body in
// here.
#pragma once

#include <Python.h>

namespace store {

// Makes the C++ exception that is being handled the pending Python error.
void raise_current_exception() noexcept;

// Runs `body` and makes whatever it throws the pending Python exception. The caller is C code and
// must not be unwound through, so nothing passes this frame.
template <typename Result, typename Body>
Result guarded(Result failure, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    raise_current_exception();
  }
  return failure;
}

}  // namespace store
