// The cursor as a Python type.
#pragma once

#include <Python.h>

namespace dbapi {

// Makes the type; called once, at import.
void make_cursor_type();

// Borrowed; null until the type was made.
PyTypeObject* cursor_type() noexcept;

// True for cursors of this type, subclasses included.
bool is_cursor(PyObject* object) noexcept;

}  // namespace dbapi
