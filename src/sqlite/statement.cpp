#include "sqlite/statement.h"

#include <algorithm>

#include "sqlite/sql_text.h"

namespace sqlite {

namespace {

// The values of statements that only read are patterns, times and numbers: a plate has some ten
// characters, a pattern for a vehicle's model some forty. A pattern of this length takes up to 0.4
// ms for a stored text of a hundred plates (2 KB), and about as long as Python code may keep the
// GIL (5 ms) for one of 20 KB; one of 20,000 characters, 0.3 s.
constexpr std::size_t kLongPattern = 128;
// What is written is a row as a rule, which is only copied: dozens of boxes in its longest text.
constexpr std::size_t kLongRowValue = 4096;

}  // namespace

bool Statement::may_step_long() const noexcept {
  return longest_value_ >= kLongPattern && (longest_value_ >= kLongRowValue || read_only());
}

void Statement::reset_if_own() noexcept {
  if (is_this_process(handle_.get_deleter().prepared_in)) reset();
}

Statement::Statement(const Database& database, const char* sql) {
  const char* rest = sql;
  handle_ = prepare(database.handle(), rest);
  more_follows_ = !from_first_statement(rest).empty();
  changes_rows_ = sqlite::changes_rows(sql);
}

const char* Statement::column_name(int column) const {
  const char* const name = sqlite3_column_name(handle(), column);
  if (name == nullptr) throw Error(SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM));
  return name;
}

void Statement::bind_text(int position, std::string_view utf8) {
  longest_value_ = std::max(longest_value_, utf8.size());
  check(sqlite3_bind_text(handle(), position, utf8.data(), static_cast<int>(utf8.size()),
                          SQLITE_TRANSIENT));
}

void Statement::bind_blob(int position, const void* bytes, std::size_t size) {
  // A null pointer would bind NULL; an empty value is still a value.
  longest_value_ = std::max(longest_value_, size);
  const void* const start = bytes == nullptr ? "" : bytes;
  check(sqlite3_bind_blob(handle(), position, start, static_cast<int>(size), SQLITE_TRANSIENT));
}

Statement::Step Statement::step() {
  if (empty()) return Step::kNothingToRun;
  const int code = sqlite3_step(handle());
  if (code == SQLITE_ROW) return Step::kRow;
  if (code == SQLITE_DONE) {
    reset();
    return Step::kDone;
  }
  const Error failure = Error::latest(database());
  reset();
  throw Error(failure);
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) throw Error::latest(database());
}

}  // namespace sqlite
