// Python values made from C++ ones.
#pragma once

#include <Python.h>

#include <string_view>

#include "python/calls.h"
#include "python/object.h"

namespace python {

inline Object none() { return Object::share(Py_None); }
inline Object boolean(bool value) { return Object::share(value ? Py_True : Py_False); }
inline Object integer(long long value) { return Object::take(PyLong_FromLongLong(value)); }

// UTF-8 in; throws UnicodeDecodeError if it is not.
Object text(std::string_view utf8);

// (items...)
template <typename... Items>
Object tuple(const Items&... items) {
  return Object::take(
      PyTuple_Pack(static_cast<Py_ssize_t>(sizeof...(items)), detail::pointer(items)...));
}

// A new empty list, and list.append(item).
inline Object list() { return Object::take(PyList_New(0)); }
inline void append(const Object& list, PyObject* item) { check(PyList_Append(list.get(), item)); }
inline void append(const Object& list, const Object& item) { append(list, item.get()); }

// A new empty dict, and dict[key] = value. A key that is no text may run Python code.
inline Object dict() { return Object::take(PyDict_New()); }
template <typename Dict, typename Value>
void set_item(const Dict& dict, PyObject* key, const Value& value) {
  check(in_interpreter(
      [&] { return PyDict_SetItem(detail::pointer(dict), key, detail::pointer(value)); }));
}
template <typename Dict, typename Value>
void set_item(const Dict& dict, const Name& key, const Value& value) {
  set_item(dict, key.get(), value);
}
template <typename Dict, typename Value>
void set_item(const Dict& dict, const char* key, const Value& value) {
  set_item(dict, text(key).get(), value);
}

}  // namespace python
