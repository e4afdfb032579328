// Python values as the parameters of a statement.
#pragma once

#include <Python.h>

#include "sqlite/statement.h"

namespace dbapi {

// Binds a sequence by position or a dict by name, as Python's sqlite3 does: registered adapters and
// __conform__ are asked first; ProgrammingError for a wrong number of values, a missing name or a
// type that the engine does not have; OverflowError for an integer of more than 64 bits. May run
// Python code, so the statement must be the caller's own.
void bind_parameters(sqlite::Statement& statement, PyObject* parameters);

}  // namespace dbapi
