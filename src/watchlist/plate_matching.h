// When a recognised plate is one that is watched: ignoring
// case, blanks and hyphens, and either text may hold the other.
#pragma once

#include <Python.h>

#include <string>
#include <string_view>

#include "python/object.h"

namespace watchlist {

// A plate in the form in which plates are compared: upper case, without U+0020 and U+002D.
class NormalisedPlate {
 public:
  NormalisedPlate() = default;
  NormalisedPlate(const NormalisedPlate&) = delete;
  NormalisedPlate& operator=(const NormalisedPlate&) = delete;

  // plate.upper().replace(" ", "").replace("-", "") Exactly str is normalised here, without making
  // a text of it; anything else by its own methods, errors included.
  void assign(PyObject* plate);
  // The same for the text of these ASCII characters.
  void assign_ascii(std::string_view plate);

  // Whether the two are equal or one holds the other.
  bool matches(const NormalisedPlate& watched) const;

 private:
  void assign_characters(PyObject* text);
  std::size_t size() const noexcept { return narrow_.size() + wide_.size(); }
  void narrow_if_ascii();
  // As a Python object, for comparing with a plate that is no text, or long.
  const python::Object& as_object() const;

  // The characters: the first if all of them are ASCII, else the second.
  std::string_view narrow_;
  std::u32string wide_;
  std::string room_;  // where narrow_ stands; not given back from plate to plate
  // What its methods gave, if that is not exactly str;
  // else made from the characters when asked for.
  mutable python::Object object_;
  bool is_text_ = true;
};

}  // namespace watchlist
