// From the arguments of a Python call to the parameters of a method.
#pragma once

#include <Python.h>

#include <array>
#include <cstddef>

#include "binding/method.h"
#include "python/object.h"

namespace binding {

// The names of a method's parameters, as texts to compare with keywords.
struct ParameterNames {
  explicit ParameterNames(const Method& method);

  std::array<PyObject*, kMostParameters> interned{};  // live as long as the process
  std::size_t count;
};

// Positional arguments fill the parameters from the left, then keywords by name, then `defaults` (a
// tuple or None) from the right. TypeError, in this order: too many positional arguments; a keyword
// that is no text, names no parameter or one that is filled; a required parameter left empty.
// `arguments` and `keywords` are those of a vectorcall. The result owns its objects, as a Python
// function owns its arguments: the caller may drop what it passed, and somebody may set other
// defaults, while the call runs.
using Arguments = std::array<python::Object, kMostParameters>;
Arguments bind(const char* method, const ParameterNames& names, PyObject* const* arguments,
               std::size_t count, PyObject* keywords, PyObject* defaults);

}  // namespace binding
