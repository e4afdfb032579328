// The arguments of one method call, by the names of its parameters.
#pragma once

#include <Python.h>

#include <array>
#include <cassert>
#include <cstddef>
#include <span>
#include <string_view>

namespace python {

// Objects borrowed for the call: the caller keeps what it passed, the call keeps the defaults.
class Arguments {
 public:
  static constexpr std::size_t kMost = 16;

  explicit Arguments(std::span<const std::string_view> names) : names_(names) {}

  // The argument of a parameter that the method has.
  PyObject* operator[](std::string_view name) const noexcept {
    std::size_t position = 0;
    while (names_[position] != name) {
      ++position;
      assert(position < names_.size());
    }
    return objects_[position];
  }

  PyObject*& at(std::size_t position) noexcept { return objects_[position]; }

 private:
  std::span<const std::string_view> names_;
  std::array<PyObject*, kMost> objects_{};
};

}  // namespace python
