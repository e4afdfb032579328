// Adapters: Python code that turns an object into one that the engine can store.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace dbapi {

// What takes the object's place as a parameter: what the adapter registered for its type gives,
// else its own __conform__, else the object itself.
python::Object adapted(PyObject* value);

}  // namespace dbapi
