// The built-in objects that operations use, as they were when the module was imported.
#pragma once

#include <Python.h>

namespace python {

// Kept for the life of the process; borrowed from here.
struct Builtins {
  PyObject* staticmethod = nullptr;
  PyObject* round = nullptr;
  PyObject* type_error = nullptr;
  PyObject* sorted = nullptr;
};

const Builtins& builtins() noexcept;

// Takes the objects from the module `builtins`. NameError if one is missing.
void remember_builtins(PyObject* module);

}  // namespace python
