// How one engine call waits for a file's locks.
#pragma once

#include "sqlite/bell.h"
#include "sqlite/file_line.h"

namespace sqlite {

class CallWatch;
class FileLock;

// Belongs to the CallWatch of an engine call. A file that refuses a lock notes it here; when the
// engine then sleeps, it is for that lock, and the call stands in the file's line until it has the
// lock or ends. The engine asks its busy handler, and so sleeps, only where waiting cannot lock
// anybody out for ever; where it does not ask, nobody stands in a line.
//
// The engine counts the time that it asks to sleep, not the time that passes, and gives up when its
// count is full (some sixty tries for 5 seconds). So a sleep may last until the turn comes, up to
// the busy timeout in real time, behind which all further sleeps return at once; and a sleep that
// ended early, called in vain, is made up for by the next.
class LockWait {
 public:
  enum class For { kReadLock, kWriteLock, kReadersToLeave };

  LockWait() noexcept : turn_(bell_), news_(bell_) {}
  LockWait(const LockWait&) = delete;
  LockWait& operator=(const LockWait&) = delete;

  // A new statement begins: it may wait for the whole busy timeout again.
  void begin_statement() noexcept;

  // The file has refused this lock; null: one that no line is for.
  void refused(FileLock* file, For lock) noexcept;
  // This call has come to hold a file at this level of SQLite's locks, or has gone back to it.
  void holds(FileLock* file, int level) noexcept {
    held_file_ = file;
    held_level_ = level;
  }
  // The file is gone.
  void closed(const FileLock* file) noexcept {
    if (held_file_ == file) holds(nullptr, 0);
    if (refused_by_ == file) refused_by_ = nullptr;
  }
  FileLock* held_file() const noexcept { return held_file_; }
  int held_level() const noexcept { return held_level_; }
  // The file's write lock is ours.
  void have_write_lock() noexcept { turn_.leave(); }
  // Our place among the file's writers.
  const FileLine::Place& turn() const noexcept { return turn_; }

  // What the engine asks for when a lock was refused to it.
  void sleep(CallWatch& watch, int microseconds) noexcept;

  // True once the watch has ended a wait: no lock is
  // to be had any more, so that the engine gives up.
  bool stopped() const noexcept { return stopped_; }

  // Waits for nothing any more.
  void leave() noexcept;

 private:
  enum class Heard { kCall, kNothing, kStop };
  Bell::Heard wait_for_bell(WaitClock::time_point until) noexcept;
  Heard listen(CallWatch& watch, WaitClock::time_point until) noexcept;
  void stand_and_wait(CallWatch& watch, FileLock& file, WaitClock::time_point next_try,
                      WaitClock::time_point deadline) noexcept;
  void just_sleep(CallWatch& watch, WaitClock::time_point until) noexcept;

  Bell bell_;
  FileLine::Place turn_;  // among the writers, from the first sleep until the lock is ours
  FileLine::Place news_;  // among the readers or as the committer, for the length of one sleep
  FileLock* refused_by_ = nullptr;
  For wanted_ = For::kReadLock;
  WaitClock::time_point began_;
  WaitClock::time_point next_question_;  // whether to go on
  WaitClock::duration counted_{0};       // what the engine has asked to sleep since then
  bool stopped_ = false;
  FileLock* held_file_ = nullptr;
  int held_level_ = 0;
};

}  // namespace sqlite
