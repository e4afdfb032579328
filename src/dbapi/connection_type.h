// The connection as a Python type.
#pragma once

#include <Python.h>

namespace dbapi {

// Makes the type; called once, at import.
void make_connection_type();

// Borrowed; null until the type was made.
PyTypeObject* connection_type() noexcept;

}  // namespace dbapi
