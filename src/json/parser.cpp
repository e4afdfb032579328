#include "json/parser.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "json/number_text.h"
#include "json/standard_json.h"
#include "python/calls.h"
#include "python/recursion.h"
#include "python/values.h"

namespace json {

namespace {

using python::Object;

constexpr char kMappingTooDeep[] = " while decoding a JSON object from a unicode string";
constexpr char kListTooDeep[] = " while decoding a JSON array from a unicode string";

template <typename Char>
bool is_digit(Char c) noexcept {
  return c >= '0' && c <= '9';
}

// Room for the items of a list of boxes, taken at once instead of by and by.
constexpr std::size_t kUsualItems = 16;

constexpr Py_UCS4 kNoEscape = 0xffffffff;

// What a backslash with this character behind it stands for.
Py_UCS4 simple_escape(Py_UCS4 character) noexcept {
  switch (character) {
    case '"':
    case '\\':
    case '/':
      return character;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return kNoEscape;
  }
}

}  // namespace

template <typename Char>
Object Parser<Char>::read_document() {
  skip_white_space();
  Object value = read_only_value();
  skip_white_space();
  if (!at_end()) fail("Extra data", at_);
  return value;
}

template <typename Char>
Object Parser<Char>::read_only_value() {
  try {
    return read_value();
  } catch (const NoValue& missing) {
    fail("Expecting value", missing.where);
  }
}

template <typename Char>
Object Parser<Char>::read_value() {
  if (at_end()) expect_value(at_);
  switch (*at_) {
    case '"':
      ++at_;
      return read_string();
    case '{': {
      const python::RecursionLevel level(kMappingTooDeep);
      ++at_;
      return read_mapping();
    }
    case '[': {
      const python::RecursionLevel level(kListTooDeep);
      ++at_;
      return read_list();
    }
    default:
      return read_word_or_number();
  }
}

template <typename Char>
Object Parser<Char>::read_word_or_number() {
  const StandardJson& standard = standard_json();
  switch (*at_) {
    case 'n':
      if (take_word("null")) return python::none();
      break;
    case 't':
      if (take_word("true")) return python::boolean(true);
      break;
    case 'f':
      if (take_word("false")) return python::boolean(false);
      break;
    case 'N':
      if (take_word("NaN")) return Object::share(standard.nan);
      break;
    case 'I':
      if (take_word("Infinity")) return Object::share(standard.infinity);
      break;
    case '-':
      if (take_word("-Infinity")) return Object::share(standard.minus_infinity);
      break;
    default:
      break;
  }
  return read_number();
}

template <typename Char>
Object Parser<Char>::read_number() {
  const Char* const start = at_;
  const Char* at = at_;
  if (*at == '-') ++at;
  if (at == end_ || !is_digit(*at)) expect_value(start);
  // A leading zero stands alone.
  if (*at++ != '0') at = std::find_if_not(at, end_, is_digit<Char>);
  bool is_real = false;
  if (end_ - at >= 2 && *at == '.' && is_digit(at[1])) {
    is_real = true;
    at = std::find_if_not(at + 2, end_, is_digit<Char>);
  }
  if (end_ - at >= 2 && (*at == 'e' || *at == 'E')) {
    const Char* exponent = at + 1;
    if (end_ - exponent >= 2 && (*exponent == '-' || *exponent == '+')) ++exponent;
    if (is_digit(*exponent)) {
      is_real = true;
      at = std::find_if_not(exponent, end_, is_digit<Char>);
    }
  }
  at_ = at;
  const auto convert = [is_real](std::string_view digits) {
    return is_real ? read_real(digits) : read_integer(digits);
  };
  if constexpr (sizeof(Char) == 1) {
    return convert({reinterpret_cast<const char*>(start), static_cast<std::size_t>(at - start)});
  } else {
    return convert(std::string(start, at));
  }
}

template <typename Char>
Object Parser<Char>::read_list() {
  const std::size_t first = items_.size();
  if (items_.capacity() == 0) items_.reserve(kUsualItems);
  skip_white_space();
  if (!at(']')) {
    while (true) {
      items_.push_back(read_value());
      skip_white_space();
      if (at(']')) break;
      if (!at(',')) fail("Expecting ',' delimiter", at_);
      ++at_;
      skip_white_space();
    }
  }
  ++at_;
  const std::size_t count = items_.size() - first;
  Object list = Object::take(PyList_New(static_cast<Py_ssize_t>(count)));
  for (std::size_t i = 0; i < count; ++i) {
    PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), items_[first + i].release());
  }
  items_.resize(first);
  return list;
}

template <typename Char>
Object Parser<Char>::read_mapping() {
  ++mappings_;
  Object mapping = python::dict();
  skip_white_space();
  if (!at('}')) {
    while (true) {
      if (!at('"')) fail("Expecting property name enclosed in double quotes", at_);
      ++at_;
      const Object key = read_key();
      skip_white_space();
      if (!at(':')) fail("Expecting ':' delimiter", at_);
      ++at_;
      skip_white_space();
      const Object value = read_value();
      python::set_item(mapping, key.get(), value);
      skip_white_space();
      if (at('}')) break;
      if (!at(',')) fail("Expecting ',' delimiter", at_);
      ++at_;
      skip_white_space();
    }
  }
  ++at_;
  return mapping;
}

template <typename Char>
Object Parser<Char>::read_key() {
  if constexpr (sizeof(Char) == 1) {
    const Char* const special = plain_run_end(at_);
    const bool ascii = std::all_of(at_, special, [](Char c) { return c < 0x80; });
    if (mappings_ > 1 && ascii && special != end_ && *special == '"') {
      if (!keys_) keys_ = std::make_unique<KeyCache>();
      const std::string_view key(reinterpret_cast<const char*>(at_),
                                 static_cast<std::size_t>(special - at_));
      at_ = special + 1;
      return keys_->text(key);
    }
  }
  return read_string();
}

template <typename Char>
Object Parser<Char>::read_string() {
  const Char* const start = at_;
  const Char* const special = plain_run_end(start);
  if (special == end_ || *special != '"') return read_string_with_escapes(start - 1, special);
  at_ = special + 1;
  return text_of(start, special);
}

template <typename Char>
Object Parser<Char>::read_string_with_escapes(const Char* opening_quote,
                                              const Char* first_special) {
  std::vector<Py_UCS4> characters(opening_quote + 1, first_special);
  at_ = first_special;
  while (true) {
    if (at_end()) fail("Unterminated string starting at", opening_quote);
    if (*at_ == '"') break;
    if (*at_ != '\\') fail("Invalid control character at", at_);
    ++at_;
    characters.push_back(read_escape(opening_quote));
    const Char* const special = plain_run_end(at_);
    characters.insert(characters.end(), at_, special);
    at_ = special;
  }
  ++at_;
  return Object::take(PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, characters.data(),
                                                static_cast<Py_ssize_t>(characters.size())));
}

// Stands behind the backslash; moves behind the escape, or behind both halves of a surrogate pair.
template <typename Char>
Py_UCS4 Parser<Char>::read_escape(const Char* opening_quote) {
  if (at_end()) fail("Unterminated string starting at", opening_quote);
  const Char* const letter = at_;
  if (*letter != 'u') {
    const Py_UCS4 meant = simple_escape(*letter);
    if (meant == kNoEscape) fail("Invalid \\escape", letter - 1);
    ++at_;
    return meant;
  }
  const Py_UCS4 first = read_code_unit(letter + 1, letter);
  at_ = letter + 5;
  const bool pair_may_follow =
      Py_UNICODE_IS_HIGH_SURROGATE(first) && end_ - at_ > 6 && at_[0] == '\\' && at_[1] == 'u';
  if (!pair_may_follow) return first;
  const Py_UCS4 second = read_code_unit(at_ + 2, at_ + 1);
  if (!Py_UNICODE_IS_LOW_SURROGATE(second)) return first;
  at_ += 6;
  return Py_UNICODE_JOIN_SURROGATES(first, second);
}

// Four hexadecimal digits, with something behind them: at least the closing quote is due.
template <typename Char>
Py_UCS4 Parser<Char>::read_code_unit(const Char* digits, const Char* error_at) const {
  constexpr char kMessage[] = "Invalid \\uXXXX escape";
  if (end_ - digits <= 4) fail(kMessage, error_at);
  Py_UCS4 unit = 0;
  for (const Char* digit = digits; digit != digits + 4; ++digit) {
    const Py_UCS4 c = *digit;
    const Py_UCS4 lower = c | 0x20;
    unit <<= 4;
    if (c >= '0' && c <= '9') {
      unit |= c - '0';
    } else if (c < 0x80 && lower >= 'a' && lower <= 'f') {
      unit |= lower - 'a' + 10;
    } else {
      fail(kMessage, error_at);
    }
  }
  return unit;
}

template <typename Char>
void Parser<Char>::expect_value(const Char* where) const {
  // Python's reader tells this with a StopIteration, and to make one takes a level more.
  const python::RecursionLevel level(python::kWhileCalling);
  throw NoValue{where};
}

template <typename Char>
bool Parser<Char>::take_word(std::string_view word) noexcept {
  if (static_cast<std::size_t>(end_ - at_) < word.size()) return false;
  const bool stands_here = std::equal(word.begin(), word.end(), at_, [](char expected, Char c) {
    return c == static_cast<Char>(expected);
  });
  if (stands_here) at_ += word.size();
  return stands_here;
}

template <typename Char>
const Char* Parser<Char>::plain_run_end(const Char* from) const noexcept {
  while (from != end_ && *from >= 0x20 && *from != '"' && *from != '\\') ++from;
  return from;
}

template <typename Char>
Object Parser<Char>::text_of(const Char* from, const Char* to) const {
  return Object::take(PyUnicode_FromKindAndData(sizeof(Char), from, to - from));
}

template <typename Char>
void Parser<Char>::fail(const char* message, const Char* where) const {
  const Object error = python::call(standard_json().decode_error, python::text(message),
                                    Object::share(document_), python::integer(where - begin_));
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), error.get());
  throw python::PythonError{};
}

template class Parser<Py_UCS1>;
template class Parser<Py_UCS2>;
template class Parser<Py_UCS4>;

}  // namespace json
