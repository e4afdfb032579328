#include "sqlite/database.h"

#include <cstring>
#include <string>
#include <unistd.h>

#include "sqlite/call_watch.h"
#include "sqlite/prepared.h"
#include "sqlite/vfs_shim.h"

namespace sqlite {

namespace {

constexpr int kOpenFlags =
    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;

// Virtual-machine instructions between two calls of the progress handler, which is how a statement
// ticks that reads and writes nothing.
constexpr int kStepsPerTick = 1000;

int on_progress(void*) noexcept {
  if (CallWatch* const watch = CallWatch::current()) watch->tick();
  return 0;
}

// Steps through the statement, leaving out its rows.
void run_to_end(sqlite3* database, const Prepared& statement) {
  if (!statement) return;
  CallWatch::begin_statement();
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement.get());
  if (code != SQLITE_DONE) throw Error::latest(database);
}

// SQLite may be built to read names that begin so as URIs.
std::string plain_file_name(const char* path) {
  const bool reads_as_uri = std::strncmp(path, "file:", 5) == 0;
  return reads_as_uri ? std::string("./") + path : std::string(path);
}

}  // namespace

bool is_this_process(pid_t opened_in) noexcept { return getpid() == opened_in; }

void Database::Close::operator()(sqlite3* handle) const noexcept {
  if (is_this_process(opened_in)) sqlite3_close_v2(handle);
}

Database::Database(const char* path, int busy_timeout_ms) {
  watch_forks();
  const std::string name = plain_file_name(path);
  if (const char* const refusal = refusal_after_fork(name.c_str())) {
    throw Error(SQLITE_CANTOPEN, refusal);
  }
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &opened, kOpenFlags, vfs_shim_over_default());
  handle_ = {opened, Close{getpid()}};
  if (code != SQLITE_OK) throw Error::latest(opened);
  sqlite3_busy_timeout(opened, busy_timeout_ms);
  tell_busy_timeout(opened, std::chrono::milliseconds(busy_timeout_ms));
  sqlite3_progress_handler(opened, kStepsPerTick, on_progress, nullptr);
}

void Database::run(const char* sql) { run_first(sql); }

const char* Database::run_first(const char* sql) {
  run_to_end(handle(), prepare(handle(), sql));
  return sql;
}

}  // namespace sqlite
