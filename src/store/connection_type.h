// The connection as a Python type.
#pragma once

#include <Python.h>

namespace store {

// Borrowed; null until make_connection_type() was called.
PyTypeObject* connection_type() noexcept;

}  // namespace store
