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
constexpr std::array<char, 128> kAscii = [] {
  std::array<char, 128> upper{};
  for (unsigned char c = 0; c < upper.size(); ++c) {
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

template <typename View>
bool either_holds(View one, View other) {
  return one.size() < other.size() ? other.find(one) != View::npos : one.find(other) != View::npos;
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
    narrow_.clear();
    wide_.clear();
    with_characters(plate, [&](const auto* characters, Py_ssize_t length) {
      append_normalised(wide_, characters, length);
    });
    return;
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
  object_ = Object();
  is_text_ = true;
  wide_.clear();
  narrow_.resize(plate.size());
  char* end = narrow_.data();
  for (const char character : plate) {
    // Written over by the next one if it is left out.
    *end = kAscii[static_cast<unsigned char>(character)];
    if (!is_left_out(static_cast<unsigned char>(character))) ++end;
  }
  narrow_.resize(static_cast<std::size_t>(end - narrow_.data()));
}

bool NormalisedPlate::matches(const NormalisedPlate& watched) const {
  if (is_text_ && watched.is_text_ && size() * watched.size() <= kSearchedHere) {
    if (wide_.empty() && watched.wide_.empty()) {
      return either_holds<std::string_view>(narrow_, watched.narrow_);
    }
    return either_holds<std::u32string_view>(widened(), watched.widened());
  }
  const Object detected = as_object();
  const Object entry = watched.as_object();
  return python::compare(detected.get(), entry.get(), Py_EQ) ||
         contains(detected.get(), entry.get()) || contains(entry.get(), detected.get());
}

void NormalisedPlate::assign_characters(PyObject* text) {
  narrow_.clear();
  wide_.clear();
  with_characters(text, [&](const auto* characters, Py_ssize_t length) {
    wide_.assign(characters, characters + length);
  });
}

std::u32string NormalisedPlate::widened() const {
  return wide_.empty() ? std::u32string(narrow_.begin(), narrow_.end()) : wide_;
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
