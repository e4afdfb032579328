// From the arguments of a Python call to the parameters of a method.
#pragma once

#include <Python.h>

#include <array>
#include <span>
#include <string_view>

#include "binding/method.h"
#include "python/arguments.h"
#include "python/object.h"

namespace binding {

// The names of a method's parameters, as texts to compare with keywords and to look arguments up
// by.
struct ParameterNames {
  explicit ParameterNames(const Method& method);

  std::array<std::string_view, python::Arguments::kMost> texts{};
  std::array<PyObject*, python::Arguments::kMost> interned{};  // live as long as the process
  std::size_t count;
};

// Positional arguments fill the parameters from the left, then keywords by name, then `defaults` (a
// tuple or None) from the right. TypeError, in this order: too many positional arguments; a keyword
// that is no text, names no parameter or one that is filled; a required parameter left empty.
// `arguments` and `keywords` are those of a vectorcall; the result borrows from them and from
// `defaults`.
python::Arguments bind(const char* method, const ParameterNames& names, PyObject* const* arguments,
                       std::size_t count, PyObject* keywords, PyObject* defaults);

}  // namespace binding
