// All that is private to CPython or about to change there, in one place, with what 3.13 and 3.14
// make of it. A new version of CPython is tried by going through this file; what a thread meets at
// the interpreter's exit stands in hang_thread.h.
#pragma once

#include <Python.h>

#include <frameobject.h>

namespace python::compat {

// The CPython that the module is made for. A module
// compiled for another one is warned of at import.
inline constexpr int kPythonMajor = 3;
inline constexpr int kPythonMinor = 12;

// Version of the running interpreter.
inline int running_major() noexcept { return static_cast<int>((Py_Version >> 24) & 0xff); }
inline int running_minor() noexcept { return static_cast<int>((Py_Version >> 16) & 0xff); }

// What the type and its bases have under that name: borrowed, null without an error if there is
// nothing. The private function is what `with` itself uses. 3.13 keeps it and adds
// _PyType_LookupRef, which gives a new reference; without the GIL only that one is safe.
inline PyObject* type_lookup(PyTypeObject* type, PyObject* name) noexcept {
  return _PyType_Lookup(type, name);
}

// The handled exception in the innermost slot of this thread, borrowed: the caller's own, a
// generator's say. PyErr_GetHandledException would go on to outer slots when this one is empty.
// 3.13 and 3.14 have the same fields.
inline PyObject* innermost_handled_exception() noexcept {
  return PyThreadState_Get()->exc_info->exc_value;
}

// Where a dict that shares its table of keys with others has its values, in the order in which the
// keys came into the table; null for a dict with a table of its own. Meant for a dict that nobody
// else has seen: no watcher is told, and it is not tracked by the collector for a new value. 3.13
// and 3.14 have four counts before the values (_dictvalues in internal/pycore_dict.h).
inline PyObject** values_beside_shared_keys(PyObject* dict) noexcept {
  return reinterpret_cast<PyObject**>(reinterpret_cast<PyDictObject*>(dict)->ma_values);
}

// A frame for a traceback entry. Undocumented, kept in 3.13
// and 3.14 because generated extension modules use it.
inline PyFrameObject* new_frame(PyCodeObject* code, PyObject* globals) noexcept {
  return PyFrame_New(PyThreadState_Get(), code, globals, nullptr);
}

// The frame of a traceback entry, borrowed. The field
// is no part of the documented API in any version.
inline PyFrameObject* frame_of_traceback(PyObject* traceback) noexcept {
  return reinterpret_cast<PyTracebackObject*>(traceback)->tb_frame;
}

// A member that reads as None while it is null. 3.12 moved the member
// types from structmember.h to Python.h and left this one private,
// since Py_T_OBJECT_EX is meant to replace it; 3.13 and 3.14 are alike.
inline constexpr int kObjectOrNone = _Py_T_OBJECT;

// Runs `construct` on an object's memory and puts its head (reference count
// and type, and what a build without the GIL adds) back in place afterwards:
// constructing a C++ struct that begins with PyObject_HEAD clears it. Holds
// as long as the head may be copied bit by bit, as it may be up to 3.14.
template <typename Construct>
auto* keeping_head(PyObject* memory, Construct construct) noexcept {
  const PyObject head = *memory;
  auto* const instance = construct(memory);
  *memory = head;
  return instance;
}

}  // namespace python::compat
