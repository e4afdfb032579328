// One prepared statement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <sqlite3.h>

#include "sqlite/database.h"
#include "sqlite/prepared.h"

namespace sqlite {

// Owns a prepared statement. The text may hold nothing but blanks and
// comments: then there is nothing to run, and step() says so. Destroying it
// can read and write the file, as every call here can that is not noexcept.
class Statement {
 public:
  // Prepares the first statement of `sql`; whether more follows is the caller's to ask.
  Statement(const Database& database, const char* sql);

  sqlite3_stmt* handle() const noexcept { return handle_.get(); }

  // True if the text held no statement.
  bool empty() const noexcept { return handle() == nullptr; }
  // True if another statement follows in the text.
  bool more_follows() const noexcept { return more_follows_; }
  bool changes_rows() const noexcept { return changes_rows_; }
  bool read_only() const noexcept { return sqlite3_stmt_readonly(handle()) != 0; }
  // True between a step that gave a row and the end of the rows, or reset().
  bool busy() const noexcept { return sqlite3_stmt_busy(handle()) != 0; }
  int parameter_count() const noexcept { return sqlite3_bind_parameter_count(handle()); }
  // The name of a parameter with its prefix, null for a
  // plain `?`. Positions count from 1, here and below.
  const char* parameter_name(int position) const noexcept {
    return sqlite3_bind_parameter_name(handle(), position);
  }
  int column_count() const noexcept { return sqlite3_column_count(handle()); }
  const char* column_name(int column) const;

  // Begins to bind a new set of values.
  void begin_binding() noexcept { longest_value_ = 0; }
  void bind_null(int position) { check(sqlite3_bind_null(handle(), position)); }
  void bind_integer(int position, std::int64_t value) {
    check(sqlite3_bind_int64(handle(), position, value));
  }
  void bind_real(int position, double value) {
    check(sqlite3_bind_double(handle(), position, value));
  }
  // The bytes are copied: the statement may run after the caller has dropped them.
  void bind_text(int position, std::string_view utf8);
  void bind_blob(int position, const void* bytes, std::size_t size);

  // True if a bound value is so long that a step may take long, without a tick: LIKE compares each
  // character of a stored text with up to all of its pattern.
  bool may_step_long() const noexcept;

  enum class Step { kRow, kDone, kNothingToRun };
  // A statement that has ended or failed is reset, so that it can be bound and run again.
  Step step();

  // Makes it ready to run again. A failed step's error
  // was thrown by step(), so none comes from here.
  void reset() noexcept { sqlite3_reset(handle()); }
  // The same for a statement that is dropped: a child made by fork() leaves its parent's alone.
  void reset_if_own() noexcept;

 private:
  void check(int code) const;
  sqlite3* database() const noexcept { return sqlite3_db_handle(handle()); }

  Prepared handle_;
  bool more_follows_ = false;
  bool changes_rows_ = false;
  std::size_t longest_value_ = 0;  // in bytes, of the bound texts and blobs
};

}  // namespace sqlite
