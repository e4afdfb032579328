#include "watchlist/plate_matching.h"

#include <array>
#include <string_view>

#include "python/calls.h"
#include "python/values.h"
#include "watchlist/upper_case.h"

namespace watchlist {

namespace {

using python::Object;

constinit python::Name kUpper{"upper"};
constinit python::Name kReplace{"replace"};
constinit python::Name kBlank{" "};
constinit python::Name kHyphen{"-"};
constinit python::Name kNothing{""};

constexpr bool is_left_out(char32_t character) { return character == U' ' || character == U'-'; }

// The upper case of each ASCII character; 0 for those that are left out.
constexpr std::array<char32_t, 128> kAscii = [] {
  std::array<char32_t, 128> upper{};
  for (char32_t c = 0; c < upper.size(); ++c) {
    const bool lower = c >= U'a' && c <= U'z';
    upper[c] = is_left_out(c) ? 0 : (lower ? c - U'a' + U'A' : c);
  }
  return upper;
}();

// U+0000 is no character that is left out, though kAscii has 0 for it.
template <typename Char>
void append_normalised(std::u32string& out, const Char* characters, Py_ssize_t length) {
  for (const Char* at = characters; at != characters + length; ++at) {
    const char32_t character = *at;
    if (character < kAscii.size()) {
      if (!is_left_out(character)) out.push_back(kAscii[character]);
      continue;
    }
    const UpperCase& upper = upper_case(character);
    out.append(upper.characters.data(), upper.count);
  }
}

// Calls `use(characters, length)` with the text's characters at their storage width.
template <typename Use>
void with_characters(PyObject* text, Use use) {
  const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
  switch (PyUnicode_KIND(text)) {
    case PyUnicode_1BYTE_KIND:
      return use(PyUnicode_1BYTE_DATA(text), length);
    case PyUnicode_2BYTE_KIND:
      return use(PyUnicode_2BYTE_DATA(text), length);
    default:
      return use(PyUnicode_4BYTE_DATA(text), length);
  }
}

// The plain search below takes up to this many steps for two
// texts; beyond it Python's own, which is linear, is faster.
constexpr std::size_t kSearchedHere = 1 << 14;

bool holds(std::u32string_view text, std::u32string_view part) {
  return part.size() <= text.size() && text.find(part) != std::u32string_view::npos;
}

bool contains(PyObject* container, PyObject* part) {
  const int found = python::in_interpreter([&] { return PySequence_Contains(container, part); });
  python::check(found);
  return found != 0;
}

}  // namespace

void NormalisedPlate::assign(PyObject* plate) {
  characters_.clear();
  other_ = Object();
  if (PyUnicode_CheckExact(plate)) {
    with_characters(plate, [&](const auto* characters, Py_ssize_t length) {
      append_normalised(characters_, characters, length);
    });
    return;
  }
  const Object upper = python::call_method(plate, kUpper);
  const Object without_blanks =
      python::call_method(upper.get(), kReplace, kBlank.get(), kNothing.get());
  const Object normalised =
      python::call_method(without_blanks.get(), kReplace, kHyphen.get(), kNothing.get());
  if (PyUnicode_CheckExact(normalised.get())) {
    assign_characters(normalised.get());
  } else {
    other_ = normalised;
  }
}

bool NormalisedPlate::matches(const NormalisedPlate& watched) const {
  if (!other_ && !watched.other_ &&
      characters_.size() * watched.characters_.size() <= kSearchedHere) {
    return holds(characters_, watched.characters_) || holds(watched.characters_, characters_);
  }
  const Object detected = as_object();
  const Object entry = watched.as_object();
  return python::compare(detected.get(), entry.get(), Py_EQ) ||
         contains(detected.get(), entry.get()) || contains(entry.get(), detected.get());
}

void NormalisedPlate::assign_characters(PyObject* text) {
  with_characters(text, [&](const auto* characters, Py_ssize_t length) {
    characters_.assign(characters, characters + length);
  });
}

python::Object NormalisedPlate::as_object() const {
  if (other_) return other_;
  return Object::take(PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, characters_.data(),
                                                static_cast<Py_ssize_t>(characters_.size())));
}

}  // namespace watchlist
