// The names that the module takes from Python's standard library.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace binding {

// The built-ins that the operations use. NameError if one is missing.
struct Builtins {
  explicit Builtins(PyObject* builtins);

  python::Object staticmethod;
  python::Object round;
  python::Object type_error;
  python::Object sorted;
};

// import sqlite3, json; from datetime import datetime, timedelta; from typing import List,
// Optional, Dict; from pathlib import Path. Each name is bound in `globals` as it arrives.
void import_names(PyObject* globals);

}  // namespace binding
