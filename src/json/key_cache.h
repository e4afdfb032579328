// Texts of mapping keys seen in one document, so that a
// list of like mappings does not make each key again.
#pragma once

#include <Python.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "python/object.h"

namespace json {

// Holds one text a slot; a key that falls into a slot taken by another one replaces it.
class KeyCache {
 public:
  // The text of these ASCII characters.
  python::Object text(std::string_view characters) {
    python::Object& slot = slots_[hash(characters) % slots_.size()];
    if (slot && holds(slot.get(), characters)) return slot;
    python::Object made =
        python::Object::take(PyUnicode_New(static_cast<Py_ssize_t>(characters.size()), 127));
    std::copy(characters.begin(), characters.end(), static_cast<char*>(PyUnicode_DATA(made.get())));
    slot = made;
    return made;
  }

 private:
  static std::size_t hash(std::string_view characters) noexcept {
    std::size_t sum = characters.size();
    for (const char c : characters) sum = sum * 31 + static_cast<unsigned char>(c);
    return sum;
  }
  static bool holds(PyObject* text, std::string_view characters) noexcept {
    const auto length = static_cast<std::size_t>(PyUnicode_GET_LENGTH(text));
    return characters == std::string_view(static_cast<const char*>(PyUnicode_DATA(text)), length);
  }

  std::array<python::Object, 64> slots_;
};

}  // namespace json
