// The locks of one open database file, as the VFS shim sees them asked for and given.
#pragma once

#include <chrono>
#include <optional>

#include <sqlite3.h>

#include "sqlite/file_line.h"
#include "sqlite/lock_wait.h"

namespace sqlite {

// Forwards each request to the file of the VFS below and tells the file's line who has its write
// lock, and the engine call's LockWait what was refused. RESERVED is the write lock with a rollback
// journal, the first of the locks in shared memory with a WAL.
class FileLock {
 public:
  // `name` as SQLite gave it for a database file, which stays valid until the file is closed; null
  // for any other file, which has no line. The file below must outlive this.
  FileLock(sqlite3_file* below, const char* name) noexcept : below_(below), name_(name) {}

  int lock(int level) noexcept;
  int unlock(int level) noexcept;
  int shm_lock(int offset, int count, int flags) noexcept;
  // The file below was closed, and so has given back what it held.
  void closed() noexcept;
  // A PRAGMA that sets the busy timeout is on its way to the engine.
  void pragma(const char* name, const char* value) noexcept;

  void set_busy_timeout(std::chrono::milliseconds timeout) noexcept { busy_timeout_ = timeout; }
  std::chrono::milliseconds busy_timeout() const noexcept { return busy_timeout_; }
  // Which file it is, or null if its name leads to another one by now.
  const FileId* id() noexcept;
  // Takes a lock that was refused to the engine before. True if it is there.
  bool try_again(LockWait::For wanted) noexcept;
  // True if nobody has the write lock of a file with a rollback journal. Asked without any lock.
  bool write_lock_is_free() noexcept;
  bool holds_write_lock() const noexcept { return level_ >= SQLITE_LOCK_RESERVED || writes_wal_; }

 private:
  // Whether it is this connection's turn. One that reads already must not wait for a writer, who
  // may be waiting for it: the engine gives up at once, so it may try in any case.
  bool may_write() noexcept;
  void have_write_lock() noexcept;
  void gave_write_lock_back() noexcept;

  sqlite3_file* below_;
  const char* name_;
  std::optional<FileId> id_;
  bool looked_up_ = false;
  std::chrono::milliseconds busy_timeout_{0};
  int level_ = SQLITE_LOCK_NONE;
  int wal_reads_ = 0;
  bool writes_wal_ = false;
  unsigned long reads_since_ = 0;  // the statement that began to read
};

}  // namespace sqlite
