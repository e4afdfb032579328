#include "python/namespace.h"

#include "python/calls.h"
#include "python/kept.h"

namespace python {

namespace {

constinit PyObject* names_of_module = nullptr;

constinit Name kName{"name"};

}  // namespace

PyObject* module_namespace() noexcept { return names_of_module; }

void set_module_namespace(PyObject* names) noexcept {
  keep(names_of_module, Object::share_if_any(names));
}

void raise_undefined(const Name& name) {
  const Object message = Object::take(PyUnicode_FromFormat("name '%U' is not defined", name.get()));
  const Object error = call(PyExc_NameError, message);
  set_attribute(error.get(), kName, name.get());
  PyErr_SetObject(PyExc_NameError, error.get());
  throw PythonError{};
}

Object global(const Name& name) {
  if (Object found = item_if_any(names_of_module, name.get())) return found;
  if (Object found = item_if_any(PyEval_GetBuiltins(), name.get())) return found;
  raise_undefined(name);
}

bool caught_by(const Name& module, const Name& error) {
  Object pending = Object::take(PyErr_GetRaisedException());
  Object filter;
  try {
    filter = attribute(global(module).get(), error);
  } catch (const PythonError&) {
    add_context(pending.release());
    throw;
  }
  PyErr_SetRaisedException(pending.release());
  return pending_matches(filter.get());
}

}  // namespace python
