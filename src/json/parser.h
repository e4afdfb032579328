// Reading one JSON document, character by character.
#pragma once

#include <Python.h>

#include <cstdint>
#include <string_view>

#include "json/memory.h"
#include "python/object.h"

namespace json {

// Reads a text whose characters have the type Char. Positions in errors are character indexes.
template <typename Char>
class Parser {
 public:
  // Of the text `document`, whose storage width is Char's.
  explicit Parser(PyObject* document)
      : document_(python::Object::share(document)),
        begin_(static_cast<const Char*>(PyUnicode_DATA(document))),
        end_(begin_ + PyUnicode_GET_LENGTH(document)),
        at_(begin_),
        is_ascii_(PyUnicode_IS_ASCII(document)) {}
  // Of ASCII characters, for Py_UCS1.
  explicit Parser(std::string_view ascii)
      : begin_(reinterpret_cast<const Char*>(ascii.data())),
        end_(begin_ + ascii.size()),
        at_(begin_),
        is_ascii_(true) {}

  // The whole document: one value with white space around it.
  python::Object read_document();

  // Where a value was expected and none began. Raised as an error only outside the nesting, where
  // the interpreter's recursion limit leaves room to make it.
  struct NoValue {
    const Char* where;
  };

 private:
  python::Object read_only_value();
  python::Object read_value();
  python::Object read_word_or_number();
  python::Object read_number();
  python::Object read_list();
  python::Object read_mapping();
  // Reads entries as long as their keys are the expected ones and their values no lists or
  // mappings, and puts the values on the memory's items. All, or too few of them, make the whole
  // mapping; with some it goes on at another key.
  enum class Entries { kAll, kTooFew, kSome };
  Entries read_expected_entries();
  bool take_expected_key(PyObject* key) noexcept;
  void read_entries(const python::Object& mapping);
  void skip_to_value_of_key();
  python::Object read_value_of_key();
  // Moves behind the comma and returns true, or behind the mapping's end.
  bool skip_to_next_key();
  python::Object read_key();
  python::Object key_of_document(TextCache::Place& place, python::Object key);
  python::Object key_out_of_place(const python::Object& key);
  void claim_expected_keys();
  // Both stand behind the opening quote and move behind the closing one.
  python::Object read_string();
  python::Object read_string_with_escapes(const Char* start);
  // Calls `run` with the ends of each run of plain
  // characters and `character` with each escaped one.
  template <typename Run, typename Character>
  void walk_string(const Char* start, Run run, Character character);
  Py_UCS4 read_escape(const Char* opening_quote);
  Py_UCS4 read_code_unit(const Char* digits, const Char* error_at) const;

  bool at_end() const noexcept { return at_ == end_; }
  bool at(char c) const noexcept { return at_ != end_ && *at_ == static_cast<Char>(c); }
  void skip_white_space() noexcept {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\t' || *at_ == '\n' || *at_ == '\r')) ++at_;
  }
  // Moves behind `word` if it stands here.
  bool take_word(std::string_view word) noexcept;
  // The end of the run of characters that need no attention within a string.
  const Char* plain_run_end(const Char* from) const noexcept;
  static std::string_view characters_of(const Char* from, const Char* to) noexcept;
  python::Object text_of(const Char* from, const Char* to) const;
  [[noreturn]] void expect_value(const Char* where) const;
  [[noreturn]] void fail(const char* message, const Char* where) const;

  python::Object document_;  // made when an error has to show it
  const Char* begin_;
  const Char* end_;
  const Char* at_;
  bool is_ascii_;

  BorrowedMemory borrowed_;
  Memory& memory_ = *borrowed_;
  // Equal keys of one document are one object. Each is in its place in the memory, or here.
  python::Object keys_out_of_place_;
  // The expected keys of this version are, or can be made, this document's.
  std::uint64_t expected_version_ = memory_.expected.version();
  bool expected_claimed_ = false;
};

extern template class Parser<Py_UCS1>;
extern template class Parser<Py_UCS2>;
extern template class Parser<Py_UCS4>;

}  // namespace json
