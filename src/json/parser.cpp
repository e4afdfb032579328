#include "json/parser.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "json/number_text.h"
#include "json/standard_json.h"
#include "json/text_cache.h"
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

// Integers of up to this many digits are added up in 64 bits.
constexpr std::ptrdiff_t kShortIntegerDigits = 18;

// Whether a quote, a backslash or a control character may be among these eight. A character from
// 0x80 up may look like one of the last: then each is looked at by itself.
bool needs_attention(const Py_UCS1* eight) noexcept {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kEach;
  std::uint64_t word = 0;
  std::memcpy(&word, eight, sizeof word);
  // The high bit of a byte comes up where taking away borrows: from zero, or below a bound.
  const std::uint64_t quote = (word ^ ('"' * kEach)) - kEach;
  const std::uint64_t backslash = (word ^ ('\\' * kEach)) - kEach;
  const std::uint64_t control = word - 0x20 * kEach;
  return ((quote | backslash | control | word) & kHighBits) != 0;
}

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
  const bool is_negative = *at == '-';
  if (is_negative) ++at;
  if (at == end_ || !is_digit(*at)) expect_value(start);
  const Char* const digits = at;
  std::uint64_t sum = *at - '0';
  // A leading zero stands alone. The sum of too many digits is not used.
  if (*at++ != '0') {
    for (; at != end_ && is_digit(*at); ++at) sum = sum * 10 + (*at - '0');
  }
  const Char* const whole_end = at;
  if (end_ - at >= 2 && *at == '.' && is_digit(at[1])) {
    at = std::find_if_not(at + 2, end_, is_digit<Char>);
  }
  if (end_ - at >= 2 && (*at == 'e' || *at == 'E')) {
    const Char* exponent = at + 1;
    if (end_ - exponent >= 2 && (*exponent == '-' || *exponent == '+')) ++exponent;
    if (is_digit(*exponent)) at = std::find_if_not(exponent, end_, is_digit<Char>);
  }
  at_ = at;
  const bool is_integer = at == whole_end;
  if (is_integer && at - digits <= kShortIntegerDigits) {
    const auto value = static_cast<long long>(sum);
    return python::integer(is_negative ? -value : value);
  }
  const auto convert = [is_integer](std::string_view spelt) {
    return is_integer ? read_integer(spelt) : read_real(spelt);
  };
  if constexpr (sizeof(Char) == 1) {
    return convert({reinterpret_cast<const char*>(start), static_cast<std::size_t>(at - start)});
  } else {
    return convert(std::string(start, at));
  }
}

template <typename Char>
Object Parser<Char>::read_list() {
  std::vector<Object>& items = memory_.items;
  const std::size_t first = items.size();
  skip_white_space();
  if (!at(']')) {
    while (true) {
      items.push_back(read_value());
      skip_white_space();
      if (at(']')) break;
      if (!at(',')) fail("Expecting ',' delimiter", at_);
      ++at_;
      skip_white_space();
    }
  }
  ++at_;
  const std::size_t count = items.size() - first;
  Object list = Object::take(PyList_New(static_cast<Py_ssize_t>(count)));
  for (std::size_t i = 0; i < count; ++i) {
    PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), items[first + i].release());
  }
  items.resize(first);
  return list;
}

template <typename Char>
Object Parser<Char>::read_mapping() {
  std::vector<Object>& items = memory_.items;
  const std::size_t first = items.size();
  skip_white_space();
  if (at('}')) {
    ++at_;
    return python::dict();
  }
  const Entries read = read_expected_entries();
  if (read == Entries::kAll) {
    Object mapping = memory_.expected.make(std::span(items).subspan(first));
    items.resize(first);
    return mapping;
  }
  Object mapping = python::dict();
  for (std::size_t i = 0; first + i < items.size(); ++i) {
    python::set_item(mapping, memory_.expected.keys()[i].get(), items[first + i]);
  }
  items.resize(first);
  if (read == Entries::kSome) read_entries(mapping);
  memory_.expected.learn(mapping.get());
  expected_version_ = memory_.expected.version();
  return mapping;
}

template <typename Char>
void Parser<Char>::read_entries(const Object& mapping) {
  if (!expected_claimed_) claim_expected_keys();
  while (true) {
    if (!at('"')) fail("Expecting property name enclosed in double quotes", at_);
    ++at_;
    const Object key = read_key();
    skip_to_value_of_key();
    const Object value = read_value_of_key();
    python::set_item(mapping, key.get(), value);
    if (!skip_to_next_key()) return;
  }
}

template <typename Char>
auto Parser<Char>::read_expected_entries() -> Entries {
  if (memory_.expected.version() != expected_version_) return Entries::kSome;
  const std::span<const Object> keys = memory_.expected.keys();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const Char* const before_key = at_;
    if (!take_expected_key(keys[i].get())) return Entries::kSome;
    skip_to_value_of_key();
    if (at('{') || at('[')) {
      // Reading it may change what is expected.
      at_ = before_key;
      return Entries::kSome;
    }
    memory_.items.push_back(read_value_of_key());
    if (!skip_to_next_key()) return i + 1 == keys.size() ? Entries::kAll : Entries::kTooFew;
  }
  return Entries::kSome;
}

template <typename Char>
bool Parser<Char>::take_expected_key(PyObject* key) noexcept {
  if constexpr (sizeof(Char) == 1) {
    const Py_ssize_t length = PyUnicode_GET_LENGTH(key);
    if (end_ - at_ < length + 2 || *at_ != '"' || at_[length + 1] != '"') return false;
    if (std::memcmp(at_ + 1, PyUnicode_DATA(key), static_cast<std::size_t>(length)) != 0)
      return false;
    at_ += length + 2;
    return true;
  } else {
    return false;
  }
}

template <typename Char>
Object Parser<Char>::read_value_of_key() {
  if (!at('"')) return read_value();
  ++at_;
  if constexpr (sizeof(Char) == 1) {
    const Char* const special = plain_run_end(at_);
    if (is_ascii_ && special != end_ && *special == '"') {
      const std::string_view characters = characters_of(at_, special);
      at_ = special + 1;
      return memory_.values.text(characters);
    }
  }
  return read_string();
}

template <typename Char>
void Parser<Char>::skip_to_value_of_key() {
  skip_white_space();
  if (!at(':')) fail("Expecting ':' delimiter", at_);
  ++at_;
  skip_white_space();
}

template <typename Char>
bool Parser<Char>::skip_to_next_key() {
  skip_white_space();
  const bool another = !at('}');
  if (another && !at(',')) fail("Expecting ',' delimiter", at_);
  ++at_;
  if (another) skip_white_space();
  return another;
}

template <typename Char>
Object Parser<Char>::read_key() {
  if constexpr (sizeof(Char) == 1) {
    const Char* const special = plain_run_end(at_);
    const bool is_short = special - at_ <= static_cast<std::ptrdiff_t>(TextCache::kLongest);
    if (is_ascii_ && is_short && special != end_ && *special == '"') {
      const std::string_view characters = characters_of(at_, special);
      at_ = special + 1;
      TextCache::Place& place = memory_.keys.place(characters);
      if (place.text && is_ascii_text(place.text.get(), characters)) {
        place.document = memory_.documents;
        return place.text;
      }
      return key_of_document(place, ascii_text(characters));
    }
  }
  const Object key = read_string();
  // Spelt with escapes, or in a document that is not ASCII: it may be in its place all the same.
  const auto length = static_cast<std::size_t>(PyUnicode_GET_LENGTH(key.get()));
  if (PyUnicode_IS_ASCII(key.get()) && length <= TextCache::kLongest) {
    const std::string_view characters(static_cast<const char*>(PyUnicode_DATA(key.get())), length);
    TextCache::Place& place = memory_.keys.place(characters);
    if (!place.text || !is_ascii_text(place.text.get(), characters)) {
      return key_of_document(place, key);
    }
    place.document = memory_.documents;
    return place.text;
  }
  return key_out_of_place(key);
}

// A key takes the place that it falls into, unless another key of this document has it.
template <typename Char>
Object Parser<Char>::key_of_document(TextCache::Place& place, Object key) {
  if (place.document == memory_.documents) return key_out_of_place(key);
  place.document = memory_.documents;
  place.text = key;
  return key;
}

template <typename Char>
Object Parser<Char>::key_out_of_place(const Object& key) {
  if (!keys_out_of_place_) keys_out_of_place_ = python::dict();
  return Object::share(PyDict_SetDefault(keys_out_of_place_.get(), key.get(), key.get()));
}

// So far this document may have used the expected keys without
// looking for their places; from now on keys are found there.
template <typename Char>
void Parser<Char>::claim_expected_keys() {
  expected_claimed_ = true;
  for (const Object& key : memory_.expected.keys()) {
    const std::string_view characters(static_cast<const char*>(PyUnicode_DATA(key.get())),
                                      static_cast<std::size_t>(PyUnicode_GET_LENGTH(key.get())));
    key_of_document(memory_.keys.place(characters), key);
  }
}

template <typename Char>
Object Parser<Char>::read_string() {
  const Char* const start = at_;
  const Char* const special = plain_run_end(start);
  if (special == end_ || *special != '"') return read_string_with_escapes(start);
  at_ = special + 1;
  return text_of(start, special);
}

// Walks twice, so that the text is made once, at its own width.
template <typename Char>
Object Parser<Char>::read_string_with_escapes(const Char* start) {
  Py_ssize_t length = 0;
  Py_UCS4 bits = 0;  // of all characters: no more of them than the widest one has
  walk_string(
      start,
      [&](const Char* from, const Char* to) {
        length += to - from;
        for (; from != to; ++from) bits |= *from;
      },
      [&](Py_UCS4 character) {
        ++length;
        bits |= character;
      });
  if (length < 2) return Object::take(PyUnicode_FromOrdinal(static_cast<int>(bits)));
  constexpr Py_UCS4 kWidest = 0x10ffff;
  Object text = Object::take(PyUnicode_New(length, std::min(bits, kWidest)));
  const auto fill = [&](auto* to) {
    using Wide = std::remove_pointer_t<decltype(to)>;
    walk_string(
        start, [&](const Char* from, const Char* end) { to = std::copy(from, end, to); },
        [&](Py_UCS4 character) { *to++ = static_cast<Wide>(character); });
  };
  switch (PyUnicode_KIND(text.get())) {
    case PyUnicode_1BYTE_KIND:
      fill(PyUnicode_1BYTE_DATA(text.get()));
      break;
    case PyUnicode_2BYTE_KIND:
      fill(PyUnicode_2BYTE_DATA(text.get()));
      break;
    default:
      fill(PyUnicode_4BYTE_DATA(text.get()));
      break;
  }
  return text;
}

template <typename Char>
template <typename Run, typename Character>
void Parser<Char>::walk_string(const Char* start, Run run, Character character) {
  const Char* const opening_quote = start - 1;
  at_ = start;
  while (true) {
    const Char* const special = plain_run_end(at_);
    run(at_, special);
    at_ = special;
    if (at_end()) fail("Unterminated string starting at", opening_quote);
    if (*at_ == '"') break;
    if (*at_ != '\\') fail("Invalid control character at", at_);
    ++at_;
    character(read_escape(opening_quote));
  }
  ++at_;
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
  if constexpr (sizeof(Char) == 1) {
    while (end_ - from >= 8 && !needs_attention(from)) from += 8;
  }
  while (from != end_ && *from >= 0x20 && *from != '"' && *from != '\\') ++from;
  return from;
}

template <typename Char>
std::string_view Parser<Char>::characters_of(const Char* from, const Char* to) noexcept {
  return {reinterpret_cast<const char*>(from), static_cast<std::size_t>(to - from)};
}

template <typename Char>
Object Parser<Char>::text_of(const Char* from, const Char* to) const {
  if (is_ascii_) return ascii_text(characters_of(from, to));
  return Object::take(PyUnicode_FromKindAndData(sizeof(Char), from, to - from));
}

template <typename Char>
void Parser<Char>::fail(const char* message, const Char* where) const {
  const Object document = document_ ? document_ : text_of(begin_, end_);
  const Object error = python::call(standard_json().decode_error, python::text(message), document,
                                    python::integer(where - begin_));
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), error.get());
  throw python::PythonError{};
}

template class Parser<Py_UCS1>;
template class Parser<Py_UCS2>;
template class Parser<Py_UCS4>;

}  // namespace json
