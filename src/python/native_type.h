// Python types whose instances hold C++ members.
#pragma once

#include <Python.h>

#include <new>
#include <type_traits>

#include "python/compat.h"
#include "python/errors.h"

namespace python {

// `Instance` is a struct that begins with PyObject_HEAD; its other members are constructed here and
// destroyed by `free_instance`.
template <typename Instance>
Instance& make_instance(PyTypeObject* type) {
  static_assert(std::is_nothrow_default_constructible_v<Instance>);
  PyObject* const memory = type->tp_alloc(type, 0);
  if (memory == nullptr) throw PythonError{};
  return *compat::keeping_head(memory, [](void* place) { return new (place) Instance(); });
}

// The same for a type of the collector's, not tracked
// by it: for instances that no cycle can go through.
template <typename Instance>
Instance& make_untracked_instance(PyTypeObject* type) {
  static_assert(std::is_nothrow_default_constructible_v<Instance>);
  auto* const memory = reinterpret_cast<PyObject*>(PyObject_GC_New(Instance, type));
  if (memory == nullptr) throw PythonError{};
  return *compat::keeping_head(memory, [](void* place) { return new (place) Instance(); });
}

// A function as an entry of a method table or a type's
// slots: CPython casts it back by the entry's flags.
template <typename Function>
PyCFunction method_entry(Function* function) noexcept {
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));
}
template <typename Function>
void* slot_entry(Function* function) noexcept {
  return reinterpret_cast<void*>(function);
}

// Ends an instance of a heap type: its members, its memory, and its reference to its type.
template <typename Instance>
void free_instance(PyObject* self) noexcept {
  PyTypeObject* const type = Py_TYPE(self);
  reinterpret_cast<Instance*>(self)->~Instance();
  type->tp_free(self);
  Py_DECREF(type);
}

}  // namespace python
