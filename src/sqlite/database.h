// One open database file.
#pragma once

#include <cstdint>
#include <memory>
#include <sys/types.h>

#include <sqlite3.h>

#include "sqlite/error.h"
#include "sqlite/fork_guard.h"

namespace sqlite {

// Owns a connection of SQLite's. For one thread at a time: it is opened without the engine's own
// locking. Everything that can touch the file throws Error on failure.
class Database {
 public:
  // Opens the file read-write and creates it if it is missing. `path` is a plain file name, never a
  // URI; ":memory:" gives a private database in memory. Statements wait `busy_timeout_ms` for other
  // connections' locks. Refused in a child made by fork() that would not see the file's locks.
  Database(const char* path, int busy_timeout_ms);

  sqlite3* handle() const noexcept { return handle_.get(); }

  // False in a child made by fork(), which must not use it: its locks are the parent's.
  bool is_own() const noexcept { return forks_before_ == forks_before_this_process(); }

  // True while no transaction is open.
  bool autocommit() const noexcept { return sqlite3_get_autocommit(handle()) != 0; }
  // Rows changed by the latest INSERT, UPDATE or DELETE, and by all of them.
  int changes() const noexcept { return sqlite3_changes(handle()); }
  int total_changes() const noexcept { return sqlite3_total_changes(handle()); }
  std::int64_t last_insert_rowid() const noexcept { return sqlite3_last_insert_rowid(handle()); }
  // The longest SQL text that the engine takes, in bytes.
  int longest_sql() const noexcept { return sqlite3_limit(handle(), SQLITE_LIMIT_SQL_LENGTH, -1); }

  // Runs one statement that takes no parameters and gives no rows.
  void run(const char* sql);

  // Runs the first statement of a text, leaving out its rows; the text behind it, empty at the end.
  const char* run_first(const char* sql);

 private:
  // Closes at once, or as soon as the last statement is finalised.
  struct Close {
    pid_t opened_in;
    void operator()(sqlite3* handle) const noexcept;
  };

  std::unique_ptr<sqlite3, Close> handle_;
  unsigned forks_before_ = forks_before_this_process();
};

// True in the process that `opened_in` names. A child made by fork() must leave its parent's
// connections alone: closing one would roll back the transaction that the parent has open.
bool is_this_process(pid_t opened_in) noexcept;

}  // namespace sqlite
