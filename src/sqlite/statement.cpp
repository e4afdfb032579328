#include "sqlite/statement.h"

#include "sqlite/sql_text.h"

namespace sqlite {

void Statement::reset_if_own() noexcept {
  if (is_this_process(handle_.get_deleter().prepared_in)) reset();
}

Statement::Statement(const Database& database, const char* sql) {
  const char* rest = sql;
  handle_ = prepare(database.handle(), rest);
  more_follows_ = first_statement(rest) != nullptr;
  changes_rows_ = sqlite::changes_rows(sql);
}

const char* Statement::column_name(int column) const {
  const char* const name = sqlite3_column_name(handle(), column);
  if (name == nullptr) throw Error(SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM));
  return name;
}

void Statement::bind_text(int position, std::string_view utf8) {
  check(sqlite3_bind_text(handle(), position, utf8.data(), static_cast<int>(utf8.size()),
                          SQLITE_TRANSIENT));
}

void Statement::bind_blob(int position, const void* bytes, std::size_t size) {
  // A null pointer would bind NULL; an empty value is still a value.
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
