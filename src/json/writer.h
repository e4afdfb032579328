// The JSON text writer: what Python's json.dumps writes with
// its settings at their defaults, character for character.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace json {

// The JSON text of `value`, a new Python text of ASCII characters only. Throws what json.dumps
// raises: TypeError for a value or key of a type that JSON does not have, ValueError for a
// container that holds itself or an integer with too many digits, RecursionError for one that is
// nested too deep. Subclasses of the built-in types may run Python code.
python::Object dumps(PyObject* value);

}  // namespace json
