// Short texts that were read before, so that a page of like documents makes each of them once.
#pragma once

#include <Python.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "python/object.h"

namespace json {

// The text of ASCII characters; the shortest ones are shared by the whole interpreter.
inline python::Object ascii_text(std::string_view characters) {
  const auto length = static_cast<Py_ssize_t>(characters.size());
  if (length < 2) {
    return python::Object::take(
        PyUnicode_FromKindAndData(PyUnicode_1BYTE_KIND, characters.data(), length));
  }
  python::Object made = python::Object::take(PyUnicode_New(length, 127));
  std::memcpy(PyUnicode_DATA(made.get()), characters.data(), characters.size());
  return made;
}

// Whether `text`, of ASCII characters, is these.
inline bool is_ascii_text(PyObject* text, std::string_view characters) noexcept {
  return static_cast<std::size_t>(PyUnicode_GET_LENGTH(text)) == characters.size() &&
         std::memcmp(PyUnicode_DATA(text), characters.data(), characters.size()) == 0;
}

// Holds one text a place; one that falls into a place taken by another replaces it.
class TextCache {
 public:
  struct Place {
    python::Object text;
    std::uint64_t document = 0;  // in which it was last asked for
  };

  Place& place(std::string_view characters) noexcept {
    return places_[hash(characters) % places_.size()];
  }

  // The text of these ASCII characters.
  python::Object text(std::string_view characters) {
    if (characters.size() > kLongest) return ascii_text(characters);
    python::Object& held = place(characters).text;
    if (!held || !is_ascii_text(held.get(), characters)) held = ascii_text(characters);
    return held;
  }

  // Longer texts do not repeat often enough to be worth their memory.
  static constexpr std::size_t kLongest = 64;

 private:
  static std::size_t hash(std::string_view characters) noexcept {
    std::uint64_t sum = characters.size();
    const char* at = characters.data();
    for (std::size_t left = characters.size(); left > 0;) {
      const std::size_t taken = left < 8 ? left : 8;
      std::uint64_t word = 0;
      std::memcpy(&word, at, taken);
      sum = (sum ^ word) * 0x9e3779b97f4a7c15;
      sum ^= sum >> 32;
      at += taken;
      left -= taken;
    }
    return sum;
  }

  std::array<Place, 256> places_;
};

}  // namespace json
