// When a recognised plate is one that is watched: ignoring
// case, blanks and hyphens, and either text may hold the other.
#pragma once

#include <Python.h>

#include <string>

#include "python/object.h"

namespace watchlist {

// A plate in the form in which plates are compared: upper case, without U+0020 and U+002D.
class NormalisedPlate {
 public:
  // plate.upper().replace(" ", "").replace("-", "") Exactly str is normalised here, without making
  // a text of it; anything else by its own methods, errors included.
  void assign(PyObject* plate);

  // Whether the two are equal or one holds the other.
  bool matches(const NormalisedPlate& watched) const;

 private:
  void assign_characters(PyObject* text);
  // As a Python object, for comparing with a plate that is no text.
  python::Object as_object() const;

  std::u32string characters_;
  python::Object other_;  // what its methods gave, if that is not exactly str
};

}  // namespace watchlist
