// What the process keeps of an interpreter: objects in static pointers, and names.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace python {

// Makes `place`, a pointer that lives as long as the process, own `object` instead of what it held.
void keep(PyObject*& place, Object object) noexcept;
void keep(PyTypeObject*& place, Object type) noexcept;

// Empties every such place, and every Name, without dropping what they held: the interpreter that
// it belongs to is another one, and may be gone.
void forget_everything_kept() noexcept;

}  // namespace python
