// Many dicts with the same keys, made fast and kept small.
#pragma once

#include <Python.h>

#include <span>

#include "python/object.h"

namespace python {

// Makes dicts of one sequence of keys. They share one table of the keys where the interpreter can
// do that, as it does for the attributes of a class's objects: such a dict takes half the memory.
// It behaves as any other dict, and gets a table of its own when its keys change.
class LikeDicts {
 public:
  LikeDicts() = default;
  // The keys are texts, exactly str, and no two are equal.
  explicit LikeDicts(std::span<const Object> keys);

  explicit operator bool() const noexcept { return static_cast<bool>(pattern_); }

  // Whether these are the same objects as its keys, in the same order.
  bool has_keys(std::span<PyObject* const> keys) const noexcept;

  // A new dict of all keys, in their order. Takes the values over, which are as many.
  Object make(std::span<Object> values) const;

 private:
  Object keys_;     // a tuple
  Object pattern_;  // a dict of the keys, to be copied
  bool shares_keys_ = false;
};

}  // namespace python
