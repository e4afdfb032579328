// The module's namespace as its operations see it: looked up
// at each use, so that a name replaced there takes effect.
#pragma once

#include <Python.h>

#include "python/name.h"
#include "python/object.h"

namespace python {

// The dict that global names are looked up in; borrowed, null while the module is not loaded.
PyObject* module_namespace() noexcept;

// Kept until the next call; pass null when the module is forgotten.
void set_module_namespace(PyObject* names) noexcept;

// NameError, with the name as its attribute, from which tracebacks make suggestions.
[[noreturn]] void raise_undefined(const Name& name);

// The object of that name: from the namespace, else from the built-ins; NameError if there is none.
Object global(const Name& name);

// Whether `except module.error` would catch the pending error, which stays pending. The names are
// looked up only now, as Python does; an error of that takes the pending one as its context.
bool caught_by(const Name& module, const Name& error);

}  // namespace python
