// JSON as the module's namespace has it: `json.dumps` and `json.loads` are looked up there at each
// use.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace store {

// json.dumps(value): by our own writer while the name leads to the standard function, else by
// whatever somebody has put there.
python::Object json_dumps(PyObject* value);

// json.loads in the same way, for a run of texts. Reading a str runs no Python code, so while our
// own reader serves, the name is looked up once for them all.
class JsonLoads {
 public:
  python::Object operator()(PyObject* text);

 private:
  bool standard_ = false;
};

// Whether `except json.JSONDecodeError` would catch the pending error.
bool is_json_decode_error();

}  // namespace store
