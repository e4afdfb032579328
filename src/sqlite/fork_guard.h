// What a fork does to the engine, and what the child may still do with it.
//
// A child made by fork() gets a copy of the engine's memory, with the mutexes that other threads
// held and with notes of file locks that only its parent has: it would wait for ever, or read
// another process's half-written transaction without a lock. So
// - a fork waits until no thread of ours is inside the engine, up to 5 seconds;
//   a thread that sleeps there until another connection lets a lock go counts
//   as outside. Calls that begin meanwhile wait for the fork. Neither side
//   needs the GIL for it, which the forking thread holds as a rule.
// - a file that one of our connections had locked at the fork (a transaction was open) is refused
//   in the child, and everything where the 5 seconds were not enough. Python's own sqlite3 and
//   other libraries call the same engine unseen.
#pragma once

#include <sys/types.h>

#include <sqlite3.h>

namespace sqlite {

// Stands around an engine call; they nest. Needs no GIL.
class InsideEngine {
 public:
  InsideEngine() noexcept;
  ~InsideEngine() { leave(); }
  InsideEngine(const InsideEngine&) = delete;
  InsideEngine& operator=(const InsideEngine&) = delete;

  // The call is over; nothing of the engine may follow.
  void leave() noexcept;

 private:
  bool inside_ = true;
};

// Stands around a wait in the middle of an engine call,
// in which the thread holds no mutex and changes nothing.
class AsleepInEngine {
 public:
  AsleepInEngine() noexcept;
  ~AsleepInEngine();
  AsleepInEngine(const AsleepInEngine&) = delete;
  AsleepInEngine& operator=(const AsleepInEngine&) = delete;
};

// A database file that this process has open; lives in the file's own memory, which a child never
// frees for its parent. Between `opened` and `closed`, both inside the engine, it must not move.
class OpenFile {
 public:
  // `name` as SQLite gave it: valid until the file is closed.
  void opened(const char* name, sqlite3_file* file) noexcept;
  void closed() noexcept;

 private:
  friend class OpenFiles;

  const char* name_ = nullptr;  // null: not in the list
  sqlite3_file* file_ = nullptr;
  OpenFile* previous_ = nullptr;
  OpenFile* next_ = nullptr;
  // In a child: which file it is, if its lock is the parent's.
  bool lost_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

// From now on forks are noticed. Throws std::bad_alloc.
void watch_forks();

// Why this process must not open the file; null if it may.
const char* refusal_after_fork(const char* path) noexcept;

// Changes in each child that is made after watch_forks().
unsigned forks_before_this_process() noexcept;

}  // namespace sqlite
