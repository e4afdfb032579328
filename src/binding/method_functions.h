// The methods as ordinary Python function objects.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace binding {

inline constexpr char kModuleName[] = "zentrope_anpr.zentrope_anpr_server_db";
inline constexpr char kClassName[] = "ANPRDatabase";

// Adds a function for each method of the table to a class namespace, in
// the table's order, with its name, defaults, annotations and docstring;
// `globals` becomes its __globals__, `staticmethod` wraps the static ones.
void add_method_functions(const python::Object& class_namespace, PyObject* globals,
                          PyObject* staticmethod);

}  // namespace binding
