#include "watchlist/plate_matching.h"

#include <algorithm>
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
constexpr std::array<char, 128> kAscii = [] {
  std::array<char, 128> upper{};
  for (char32_t c = 0; c < upper.size(); ++c) {
    const bool lower = c >= 'a' && c <= 'z';
    upper[c] = static_cast<char>(is_left_out(c) ? 0 : (lower ? c - 'a' + 'A' : c));
  }
  return upper;
}();

// U+0000 is no character that is left out, though kAscii has 0 for it.
template <typename Char>
void append_normalised(std::u32string& out, const Char* characters, Py_ssize_t length) {
  for (const Char* at = characters; at != characters + length; ++at) {
    const char32_t character = *at;
    if (character < kAscii.size()) {
      if (!is_left_out(character)) out.push_back(static_cast<char32_t>(kAscii[character]));
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

bool holds(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}
template <typename Part>
bool holds(const std::u32string& text, const Part& part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end()) != text.end() ||
         part.empty();
}

bool is_ascii(const std::u32string& characters) {
  return std::all_of(characters.begin(), characters.end(), [](char32_t c) { return c < 0x80; });
}

bool contains(PyObject* container, PyObject* part) {
  const int found = python::in_interpreter([&] { return PySequence_Contains(container, part); });
  python::check(found);
  return found != 0;
}

}  // namespace

void NormalisedPlate::assign(PyObject* plate) {
  object_ = Object();
  is_text_ = true;
  if (PyUnicode_CheckExact(plate)) {
    if (PyUnicode_IS_ASCII(plate)) {
      return assign_ascii({static_cast<const char*>(PyUnicode_DATA(plate)),
                           static_cast<std::size_t>(PyUnicode_GET_LENGTH(plate))});
    }
    wide_.clear();
    with_characters(plate, [&](const auto* characters, Py_ssize_t length) {
      append_normalised(wide_, characters, length);
    });
    return narrow_if_ascii();
  }
  const Object upper = python::call_method(plate, kUpper);
  const Object without_blanks =
      python::call_method(upper.get(), kReplace, kBlank.get(), kNothing.get());
  Object normalised =
      python::call_method(without_blanks.get(), kReplace, kHyphen.get(), kNothing.get());
  is_text_ = PyUnicode_CheckExact(normalised.get());
  if (is_text_) assign_characters(normalised.get());
  object_ = std::move(normalised);
}

void NormalisedPlate::assign_ascii(std::string_view plate) {
  if (object_) object_ = Object();
  is_text_ = true;
  wide_.clear();
  if (room_.size() < plate.size()) room_.resize(plate.size());
  char* end = room_.data();
  for (const char character : plate) {
    // Written over by the next one if it is left out.
    *end = kAscii[static_cast<unsigned char>(character)];
    end += is_left_out(static_cast<unsigned char>(character)) ? 0 : 1;
  }
  narrow_ = {room_.data(), static_cast<std::size_t>(end - room_.data())};
}

bool NormalisedPlate::matches(const NormalisedPlate& watched) const {
  if (is_text_ && watched.is_text_ && size() * watched.size() <= kSearchedHere) {
    const bool longer = size() >= watched.size();
    const NormalisedPlate& text = longer ? *this : watched;
    const NormalisedPlate& part = longer ? watched : *this;
    if (text.wide_.empty()) return part.wide_.empty() && holds(text.narrow_, part.narrow_);
    return part.wide_.empty() ? holds(text.wide_, part.narrow_) : holds(text.wide_, part.wide_);
  }
  const Object& detected = as_object();
  const Object& entry = watched.as_object();
  return python::compare(detected.get(), entry.get(), Py_EQ) ||
         contains(detected.get(), entry.get()) || contains(entry.get(), detected.get());
}

void NormalisedPlate::assign_characters(PyObject* text) {
  with_characters(text, [&](const auto* characters, Py_ssize_t length) {
    wide_.assign(characters, characters + length);
  });
  narrow_if_ascii();
}

void NormalisedPlate::narrow_if_ascii() {
  narrow_ = {};
  if (!is_ascii(wide_)) return;
  room_.assign(wide_.begin(), wide_.end());
  narrow_ = room_;
  wide_.clear();
}

const python::Object& NormalisedPlate::as_object() const {
  if (!object_) {
    object_ = Object::take(wide_.empty()
                               ? PyUnicode_FromKindAndData(PyUnicode_1BYTE_KIND, narrow_.data(),
                                                           static_cast<Py_ssize_t>(narrow_.size()))
                               : PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, wide_.data(),
                                                           static_cast<Py_ssize_t>(wide_.size())));
  }
  return object_;
}

}  // namespace watchlist
