// Owned references: every Python object that our code keeps is held by one of these.
#pragma once

#include <Python.h>

#include <utility>

#include "python/errors.h"
#include "python/hang_thread.h"

namespace python {

// Owns one reference to a Python object, or nothing. A C API call either hands a reference over or
// lends one: write `take` or `share` at the call, where the manual can be checked.
class Object {
 public:
  Object() = default;
  // Takes over a fresh reference; null means that the call that made it has failed.
  static Object take(PyObject* fresh) {
    if (fresh == nullptr) throw PythonError{};
    return Object(fresh);
  }
  // Adds a reference to a lent object; null as for `take`.
  static Object share(PyObject* lent) { return take(Py_XNewRef(lent)); }
  // The same where null stands for "there is none" and no error is pending.
  static Object take_if_any(PyObject* fresh) { return Object(fresh); }
  static Object share_if_any(PyObject* lent) { return Object(Py_XNewRef(lent)); }

  Object(Object&& other) noexcept : ptr_(other.release()) {}
  Object(const Object& other) noexcept : ptr_(Py_XNewRef(other.ptr_)) {}
  // Swaps, so the old object dies last: dropping it may run Python code that comes back here.
  Object& operator=(Object other) noexcept {
    std::swap(ptr_, other.ptr_);
    return *this;
  }
  ~Object() {
    if (ptr_ != nullptr) drop(ptr_);
  }

  PyObject* get() const noexcept { return ptr_; }
  PyObject* release() noexcept { return std::exchange(ptr_, nullptr); }
  explicit operator bool() const noexcept { return ptr_ != nullptr; }
  bool is(PyObject* other) const noexcept { return ptr_ == other; }

 private:
  explicit Object(PyObject* owned) noexcept : ptr_(owned) {}

  static void drop(PyObject* owned) noexcept {
    in_interpreter([owned] { Py_DECREF(owned); });
  }

  PyObject* ptr_ = nullptr;
};

}  // namespace python
