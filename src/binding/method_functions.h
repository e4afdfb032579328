// The methods as ordinary Python function objects.
#pragma once

#include <Python.h>

#include "python/object.h"
#include "store/anpr_database.h"

namespace binding {

using store::kClassName;
using store::kModuleName;

// Adds a function for each method of the table to a class namespace, in
// the table's order, with its name, defaults, annotations and docstring;
// `globals` becomes its __globals__, `staticmethod` wraps the static ones.
void add_method_functions(const python::Object& class_namespace, PyObject* globals,
                          PyObject* staticmethod);

}  // namespace binding
