#include "python/calls.h"

#include "python/compat.h"

namespace python {

namespace {

bool is_exception_class(PyObject* type) { return PyExceptionClass_Check(type) != 0; }

bool is_exception_filter(PyObject* type) {
  if (!PyTuple_Check(type)) return is_exception_class(type);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(type); ++i) {
    if (!is_exception_class(PyTuple_GET_ITEM(type, i))) return false;
  }
  return true;
}

}  // namespace

Object attribute(PyObject* owner, PyObject* name) {
  return Object::take(in_interpreter([&] { return PyObject_GetAttr(owner, name); }));
}

Object attribute_if_any(PyObject* owner, PyObject* name) {
  PyObject* const found = in_interpreter([&] { return PyObject_GetAttr(owner, name); });
  if (found == nullptr) {
    if (!pending_is(PyExc_AttributeError)) throw PythonError{};
    clear_error();
  }
  return Object::take_if_any(found);
}

void set_attribute(PyObject* owner, const Name& name, PyObject* value) {
  PyObject* const key = name.get();
  check(in_interpreter([&] { return PyObject_SetAttr(owner, key, value); }));
}

Object special_method(PyObject* owner, const Name& name) {
  PyTypeObject* const type = Py_TYPE(owner);
  Object method = Object::share_if_any(compat::type_lookup(type, name.get()));
  if (!method) return method;
  const descrgetfunc bind = Py_TYPE(method.get())->tp_descr_get;
  if (bind == nullptr) return method;
  return Object::take(
      in_interpreter([&] { return bind(method.get(), owner, reinterpret_cast<PyObject*>(type)); }));
}

Object call_with_keywords(PyObject* callable, PyObject* positional, PyObject* keywords) {
  return Object::take(
      in_interpreter([&] { return PyObject_Call(callable, positional, keywords); }));
}

bool truth(PyObject* object) {
  if (object == Py_True) return true;
  if (object == Py_False || object == Py_None) return false;
  const int result = in_interpreter([&] { return PyObject_IsTrue(object); });
  check(result);
  return result != 0;
}

Py_ssize_t length(PyObject* object) {
  const Py_ssize_t result = in_interpreter([&] { return PyObject_Size(object); });
  if (result < 0) throw PythonError{};
  return result;
}

Object item(PyObject* owner, PyObject* key) {
  return Object::take(in_interpreter([&] { return PyObject_GetItem(owner, key); }));
}

Object item_if_any(PyObject* dict, PyObject* key) {
  PyObject* const found = in_interpreter([&] { return PyDict_GetItemWithError(dict, key); });
  if (found == nullptr && PyErr_Occurred() != nullptr) throw PythonError{};
  return Object::share_if_any(found);
}

Object iterator(PyObject* object) {
  return Object::take(in_interpreter([&] { return PyObject_GetIter(object); }));
}

Object next(PyObject* iterator) {
  PyObject* const found = in_interpreter([&] { return PyIter_Next(iterator); });
  if (found == nullptr && PyErr_Occurred() != nullptr) throw PythonError{};
  return Object::take_if_any(found);
}

bool compare(PyObject* one, PyObject* other, int operation) {
  const Object result =
      Object::take(in_interpreter([&] { return PyObject_RichCompare(one, other, operation); }));
  return truth(result.get());
}

bool is_instance(PyObject* object, PyObject* type) {
  const int result = in_interpreter([&] { return PyObject_IsInstance(object, type); });
  check(result);
  return result != 0;
}

Object text_of(PyObject* object) {
  return Object::take(in_interpreter([&] { return PyObject_Str(object); }));
}

Object formatted(PyObject* object) {
  return Object::take(in_interpreter([&] { return PyObject_Format(object, nullptr); }));
}

Object imported_module(const Name& name) {
  PyObject* const key = name.get();
  Object module = Object::take_if_any(in_interpreter([&] { return PyImport_GetModule(key); }));
  if (!module && PyErr_Occurred() != nullptr) throw PythonError{};
  return module.is(Py_None) ? Object() : module;
}

bool pending_matches(PyObject* type) {
  if (!is_exception_filter(type)) {
    PyObject* const pending = PyErr_GetRaisedException();
    PyErr_SetString(PyExc_TypeError,
                    "catching classes that do not inherit from BaseException is not allowed");
    add_context(pending);
    throw PythonError{};
  }
  return pending_is(type);
}

void clear_error() noexcept {
  in_interpreter([] { PyErr_Clear(); });
}

void check_signals() {
  check(in_interpreter([] { return PyErr_CheckSignals(); }));
}

}  // namespace python
