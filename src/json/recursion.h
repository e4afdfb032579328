// The interpreter's recursion limit around one level of nesting.
#pragma once

#include <Python.h>

#include "python/errors.h"

namespace json {

class RecursionLevel {
 public:
  // `where` ends the text of the RecursionError that a level too deep throws.
  explicit RecursionLevel(const char* where) {
    if (Py_EnterRecursiveCall(where) != 0) throw python::PythonError{};
  }
  ~RecursionLevel() { Py_LeaveRecursiveCall(); }
  RecursionLevel(const RecursionLevel&) = delete;
  RecursionLevel& operator=(const RecursionLevel&) = delete;
};

}  // namespace json
