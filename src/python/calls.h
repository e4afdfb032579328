// Python's object protocol in C++: attributes, calls, truth,
// length, items. Everything here may run Python code.
#pragma once

#include <Python.h>

#include <array>
#include <cstddef>

#include "python/name.h"
#include "python/object.h"

namespace python {

namespace detail {
inline PyObject* pointer(PyObject* object) noexcept { return object; }
inline PyObject* pointer(const Object& object) noexcept { return object.get(); }
}  // namespace detail

// owner.name
Object attribute(PyObject* owner, PyObject* name);
inline Object attribute(PyObject* owner, const Name& name) { return attribute(owner, name.get()); }

// owner.name, or nothing when there is no such attribute.
Object attribute_if_any(PyObject* owner, PyObject* name);

// owner.name = value
void set_attribute(PyObject* owner, const Name& name, PyObject* value);

// What `with` finds: the method as the object's type has
// it, bound to the object; nothing if the type has none.
Object special_method(PyObject* owner, const Name& name);

// callable(*arguments)
template <typename... Arguments>
Object call(PyObject* callable, const Arguments&... arguments) {
  std::array<PyObject*, sizeof...(arguments) + 1> stack = {nullptr, detail::pointer(arguments)...};
  return Object::take(in_interpreter([&] {
    return PyObject_Vectorcall(callable, stack.data() + 1,
                               sizeof...(arguments) | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr);
  }));
}

// owner.name(*arguments)
template <typename... Arguments>
Object call_method(PyObject* owner, const Name& name, const Arguments&... arguments) {
  PyObject* const method = name.get();
  std::array<PyObject*, sizeof...(arguments) + 1> stack = {owner, detail::pointer(arguments)...};
  return Object::take(in_interpreter([&] {
    return PyObject_VectorcallMethod(method, stack.data(),
                                     stack.size() | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr);
  }));
}

// callable(*positional, **keywords)
Object call_with_keywords(PyObject* callable, PyObject* positional, PyObject* keywords);

// bool(object)
bool truth(PyObject* object);
// len(object)
Py_ssize_t length(PyObject* object);
// owner[key]
Object item(PyObject* owner, PyObject* key);
// The dict's value under the key, or nothing.
Object item_if_any(PyObject* dict, PyObject* key);
// iter(object)
Object iterator(PyObject* object);
// The iterator's next item, or nothing at its end.
Object next(PyObject* iterator);
// bool(one <operation> other); the operation is one of Py_LT ... Py_GE.
bool compare(PyObject* one, PyObject* other, int operation);
// isinstance(object, type)
bool is_instance(PyObject* object, PyObject* type);
// str(object), and f"{object}"
Object text_of(PyObject* object);
Object formatted(PyObject* object);

// The module of that name if somebody has imported it; nothing is imported.
Object imported_module(const Name& name);

// Whether `except type` would catch the pending error:
// `type` is any object, and a TypeError if no class.
bool pending_matches(PyObject* type);

// Drops the pending error; its traceback may hold the last reference to anything.
void clear_error() noexcept;

// Runs handlers of signals that have arrived; throws what a handler raised (KeyboardInterrupt).
void check_signals();

}  // namespace python
