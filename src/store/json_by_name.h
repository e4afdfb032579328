// JSON as the module's namespace has it: `json.dumps`
// and `json.loads` are looked up there at each use.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace store {

// json.dumps(value): by our own writer while the name leads to the standard function, else by
// whatever somebody has put there.
python::Object json_dumps(PyObject* value);

// json.loads in the same way, for the texts of one row. Reading a str runs no Python code, nor does
// looking into a module, so once our own reader has served one, the name is not looked up again.
class JsonLoads {
 public:
  python::Object operator()(PyObject* text);
  // Whether it is our own reader that reads the next text. Looks the name up for it, once: a text
  // that is read otherwise is to be given to the operator next.
  bool serves_texts();

 private:
  static python::Object looked_up(bool* in_module);

  python::Object found_;  // for the next text
  bool standard_ = false;
};

// Whether `except json.JSONDecodeError` would catch the pending error.
bool is_json_decode_error();

}  // namespace store
