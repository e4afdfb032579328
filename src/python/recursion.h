// The interpreter's recursion limit around one level of nesting or calling.
#pragma once

#include <Python.h>

#include "python/errors.h"

namespace python {

// One level, as every call of a Python function takes one.
class RecursionLevel {
 public:
  // `where` ends the text of the RecursionError that a level too deep throws.
  explicit RecursionLevel(const char* where) {
    if (Py_EnterRecursiveCall(where) != 0) throw PythonError{};
  }
  ~RecursionLevel() { Py_LeaveRecursiveCall(); }
  RecursionLevel(const RecursionLevel&) = delete;
  RecursionLevel& operator=(const RecursionLevel&) = delete;
};

// The words that end the error where a call is one too deep.
inline constexpr char kWhileCalling[] = " while calling a Python object";

}  // namespace python
