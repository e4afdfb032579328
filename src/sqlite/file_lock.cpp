#include "sqlite/file_lock.h"

#include <cstdlib>
#include <sys/stat.h>

#include "sqlite/call_watch.h"

namespace sqlite {

namespace {

// The locks in a WAL's shared memory, as SQLite's file
// format has them: to write, and from the fourth on to read.
constexpr int kWalWriteLock = 0;
constexpr int kFirstWalReadLock = 3;

bool is_busy(int code) noexcept { return (code & 0xff) == SQLITE_BUSY; }

LockWait* wait_of_this_call() noexcept {
  CallWatch* const watch = CallWatch::current();
  return watch == nullptr ? nullptr : &watch->lock_wait;
}

void refused(FileLock* file, LockWait::For lock) noexcept {
  if (LockWait* const wait = wait_of_this_call()) wait->refused(file, lock);
}

void holds(FileLock* file, int level) noexcept {
  if (LockWait* const wait = wait_of_this_call()) wait->holds(file, level);
}

// An engine call that has been told to stop waiting gets no lock any more.
bool stopped() noexcept {
  const LockWait* const wait = wait_of_this_call();
  return wait != nullptr && wait->stopped();
}

}  // namespace

const FileId* FileLock::id() noexcept {
  if (!looked_up_) {
    looked_up_ = true;
    struct stat found = {};
    int moved = 0;
    const bool same =
        name_ != nullptr && stat(name_, &found) == 0 &&
        below_->pMethods->xFileControl(below_, SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
        moved == 0;
    if (same) id_ = FileId{found.st_dev, found.st_ino};
  }
  return id_ ? &*id_ : nullptr;
}

bool FileLock::may_write() noexcept {
  if (!FileLine::anybody_writes_next()) return true;
  const LockWait* const wait = wait_of_this_call();
  if (wait == nullptr || reads_since_ != CallWatch::statement()) return true;
  return id() == nullptr || FileLine::may_write(*id(), &wait->turn());
}

void FileLock::have_write_lock() noexcept {
  if (id() != nullptr) FileLine::write_locked(*id(), this);
  if (LockWait* const wait = wait_of_this_call()) wait->have_write_lock();
}

void FileLock::gave_write_lock_back() noexcept {
  if (id() != nullptr) FileLine::write_unlocked(*id(), this);
}

int FileLock::lock(int level) noexcept {
  if (level > level_ && stopped()) return SQLITE_BUSY;
  const int before = level_;
  const bool shut_out = level == SQLITE_LOCK_RESERVED && before < level && !may_write();
  const int code = shut_out ? SQLITE_BUSY : below_->pMethods->xLock(below_, level);
  if (code == SQLITE_OK) {
    if (before == SQLITE_LOCK_NONE) reads_since_ = CallWatch::statement();
    if (level > before) level_ = level;
    holds(this, level_);
    if (before < SQLITE_LOCK_RESERVED && level >= SQLITE_LOCK_RESERVED) have_write_lock();
  } else if (is_busy(code)) {
    if (level == SQLITE_LOCK_SHARED) {
      refused(this, LockWait::For::kReadLock);
    } else if (level == SQLITE_LOCK_RESERVED) {
      refused(this, LockWait::For::kWriteLock);
    } else if (before >= SQLITE_LOCK_RESERVED) {
      refused(this, LockWait::For::kReadersToLeave);
    } else {
      // It was to roll back what a dead process left, and gives up its SHARED lock first.
      refused(nullptr, LockWait::For::kReadLock);
    }
  }
  return code;
}

bool FileLock::try_again(LockWait::For wanted) noexcept {
  const bool reads = wanted == LockWait::For::kReadLock;
  const int level = reads ? SQLITE_LOCK_SHARED : SQLITE_LOCK_EXCLUSIVE;
  if (below_->pMethods->xLock(below_, level) != SQLITE_OK) return false;
  if (reads) reads_since_ = CallWatch::statement();
  level_ = level;
  holds(this, level);
  return true;
}

bool FileLock::write_lock_is_free() noexcept {
  int held = 1;
  if (level_ != SQLITE_LOCK_NONE) return false;  // as with a WAL, whose lock is another one
  const int code = below_->pMethods->xCheckReservedLock(below_, &held);
  return code == SQLITE_OK && held == 0;
}

int FileLock::unlock(int level) noexcept {
  const int code = below_->pMethods->xUnlock(below_, level);
  const int before = level_;
  if (level < level_) level_ = level;
  if (before >= SQLITE_LOCK_RESERVED && level < SQLITE_LOCK_RESERVED) gave_write_lock_back();
  const bool stopped_reading = before >= SQLITE_LOCK_SHARED && level == SQLITE_LOCK_NONE;
  if (stopped_reading && FileLine::anybody_commits_next() && id() != nullptr) {
    FileLine::reader_left(*id());
  }
  holds(this, level_);
  if (CallWatch* const watch = CallWatch::current()) watch->tick();
  return code;
}

int FileLock::shm_lock(int offset, int count, int flags) noexcept {
  const bool locks = (flags & SQLITE_SHM_LOCK) != 0;
  const bool to_write = offset == kWalWriteLock && (flags & SQLITE_SHM_EXCLUSIVE) != 0;
  const bool to_read = offset >= kFirstWalReadLock && (flags & SQLITE_SHM_SHARED) != 0;
  // A recovery takes the write lock too, before anybody reads: it does not stand in the line.
  const bool transaction = to_write && wal_reads_ > 0;
  if (locks && stopped()) return SQLITE_BUSY;
  const bool shut_out = locks && transaction && !may_write();
  const int code =
      shut_out ? SQLITE_BUSY : below_->pMethods->xShmLock(below_, offset, count, flags);
  if (locks && is_busy(code)) {
    refused(transaction ? this : nullptr, LockWait::For::kWriteLock);
    return code;
  }
  if (code != SQLITE_OK) return code;
  if (to_read && locks && wal_reads_++ == 0) reads_since_ = CallWatch::statement();
  if (to_read && !locks) --wal_reads_;
  if (to_write) {
    writes_wal_ = locks;
    holds(this, locks ? SQLITE_LOCK_RESERVED : SQLITE_LOCK_NONE);
    if (locks) {
      have_write_lock();
    } else {
      gave_write_lock_back();
    }
  }
  return code;
}

void FileLock::closed() noexcept {
  const bool wrote = holds_write_lock();
  const bool read = level_ >= SQLITE_LOCK_SHARED;
  level_ = SQLITE_LOCK_NONE;
  writes_wal_ = false;
  if (LockWait* const wait = wait_of_this_call()) wait->closed(this);
  if (wrote) gave_write_lock_back();
  if (read && FileLine::anybody_commits_next() && id_) FileLine::reader_left(*id_);
}

void FileLock::pragma(const char* name, const char* value) noexcept {
  if (value == nullptr || sqlite3_stricmp(name, "busy_timeout") != 0) return;
  set_busy_timeout(std::chrono::milliseconds(std::strtol(value, nullptr, 10)));
}

}  // namespace sqlite
