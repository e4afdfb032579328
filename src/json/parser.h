// Reading one JSON document, character by character.
#pragma once

#include <Python.h>

#include <memory>
#include <vector>

#include "json/key_cache.h"
#include "python/object.h"

namespace json {

// Reads the text `document` that holds characters of type Char (its storage width). Positions in
// errors are character indexes.
template <typename Char>
class Parser {
 public:
  explicit Parser(PyObject* document)
      : document_(document),
        begin_(static_cast<const Char*>(PyUnicode_DATA(document))),
        end_(begin_ + PyUnicode_GET_LENGTH(document)),
        at_(begin_) {}

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
  python::Object read_key();
  // Both stand behind the opening quote and move behind the closing one.
  python::Object read_string();
  python::Object read_string_with_escapes(const Char* opening_quote, const Char* first_special);
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
  python::Object text_of(const Char* from, const Char* to) const;
  [[noreturn]] void expect_value(const Char* where) const;
  [[noreturn]] void fail(const char* message, const Char* where) const;

  PyObject* document_;
  const Char* begin_;
  const Char* end_;
  const Char* at_;
  std::vector<python::Object> items_;  // of the lists that are being read, outermost first
  int mappings_ = 0;
  std::unique_ptr<KeyCache> keys_;  // from the second mapping on: a single one has no key twice
};

extern template class Parser<Py_UCS1>;
extern template class Parser<Py_UCS2>;
extern template class Parser<Py_UCS4>;

}  // namespace json
