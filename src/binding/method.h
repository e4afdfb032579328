// How a method of the class is described.
#pragma once

#include <Python.h>

#include <cstddef>
#include <span>
#include <utility>

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

// Room for the arguments of any method; one with more parameters does not compile.
inline constexpr std::size_t kMostParameters = 16;

struct Method {
  const char* name;
  std::span<const Parameter> parameters;  // `self` included
  const char* returns;                    // its annotation; null: none
  // Calls the operation with its arguments, one a parameter.
  python::Object (*run)(std::span<const python::Object> arguments);
  const char* doc;
  bool is_static = false;
};

namespace detail {

template <typename... Parameters>
consteval std::size_t arity(python::Object (*)(Parameters...)) {
  return sizeof...(Parameters);
}

template <auto Operation>
python::Object run(std::span<const python::Object> arguments) {
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return Operation(arguments[I].get()...);
  }(std::make_index_sequence<arity(Operation)>());
}

}  // namespace detail

// The method that runs `Operation`, a function that takes one PyObject* a parameter.
template <auto Operation, std::size_t Count>
consteval Method method(const char* name, const Parameter (&parameters)[Count], const char* returns,
                        const char* doc, bool is_static = false) {
  static_assert(detail::arity(Operation) == Count,
                "the operation takes another number of parameters than the table lists");
  static_assert(Count <= kMostParameters, "raise kMostParameters");
  return {name, parameters, returns, detail::run<Operation>, doc, is_static};
}

}  // namespace binding
