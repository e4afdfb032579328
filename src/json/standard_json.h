// Objects of Python's json module that our reader and writer share with it.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace json {

// Kept for the life of the process, once the module has been imported;
// borrowed from here. Null are `dumps` and `loads` if somebody had put others
// in their places by then, and with `loads` all that the reader needs.
struct StandardJson {
  PyObject* dumps = nullptr;
  PyObject* loads = nullptr;
  PyObject* decode_error = nullptr;  // json.JSONDecodeError
  PyObject* nan = nullptr;           // the floats that json.loads gives for its three words
  PyObject* infinity = nullptr;
  PyObject* minus_infinity = nullptr;
};

const StandardJson& standard_json() noexcept;

// Takes the objects from the imported module `json`.
void remember_standard_json(PyObject* module);

}  // namespace json
