// The names that the module takes from Python's standard library.
#pragma once

#include <Python.h>

namespace binding {

// import sqlite3, json; from datetime import datetime, timedelta; from typing import List,
// Optional, Dict; from pathlib import Path. Each name is bound in `globals` as it arrives.
void import_names(PyObject* globals);

}  // namespace binding
