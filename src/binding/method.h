// How a method of the class is described.
#pragma once

#include <Python.h>

#include <span>

#include "python/arguments.h"
#include "python/object.h"

namespace binding {

// The object that stands in for an argument that was not given.
struct Default {
  enum class Kind { kRequired, kNone, kTrue, kInteger, kEmptyText };
  Kind kind = Kind::kRequired;
  long integer = 0;
};

struct Parameter {
  const char* name;
  const char* annotation = nullptr;  // null: none
  Default otherwise = {};
};

struct Method {
  const char* name;
  std::span<const Parameter> parameters;  // `self` included
  const char* returns;                    // its annotation; null: none
  python::Object (*run)(PyObject* self, const python::Arguments& given);
  const char* doc;
  bool is_static = false;
};

}  // namespace binding
