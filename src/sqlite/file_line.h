// The line of those in this process who wait for one file.
#pragma once

#include <sys/types.h>

#include "sqlite/bell.h"

namespace sqlite {

// A file, whatever its name.
struct FileId {
  dev_t device;
  ino_t inode;
  bool operator==(const FileId&) const = default;
};

// Who of this process holds a file's write lock, and who waits for what:
// - writers wait for the write lock, in the order in which they came. When it is given back the
//   first one is called; only that one may try for it, and it stays the first until it has it.
// - readers wait for a writer that has shut them out, and are all called when it is done;
// - a committer is the holder itself and waits for the readers to leave. Each that does calls it. A
//   line exists while it has a holder or somebody who waits, and is found by its file. It orders
//   those of this process and never decides who has a lock: the file's own locks do. Who is in the
//   wrong line, or is called for nothing, loses time and nothing else.
//
// A child made by fork() starts without any line. Needs no GIL, takes no other lock.
class FileLine {
 public:
  enum class Role { kWriter, kReader, kCommitter };

  // A waiter's place. It is called by its bell, and must not be moved while it stands.
  class Place {
   public:
    explicit Place(Bell& bell) noexcept : bell_(bell) {}
    ~Place() { leave(); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    // Comes behind all who wait for the same, but before a place of its own thread: whoever calls
    // this file from within a wait, out of a signal's handler, would wait for itself. Stays where
    // it stands when it stands there already. Without memory it stands nowhere.
    void stand(const FileId& file, Role role) noexcept;
    bool stands() const noexcept;
    // When it was the first and nobody of this process holds the lock, calls the next one.
    void leave() noexcept;
    // True for the first writer, and for who stands nowhere.
    bool is_first() const noexcept;
    // True if somebody of this process holds the write lock, so that a call will come.
    bool will_be_called() const noexcept;

   private:
    friend class FileLine;
    friend struct Lines;
    Bell& bell_;
    FileLine* line_ = nullptr;
    Place* next_ = nullptr;
    Role role_ = Role::kWriter;
    const void* thread_ = nullptr;
    unsigned fork_ = 0;
  };

  // Whether one who stands at `place` (or nowhere: null)
  // may try for the write lock: nobody waits before it.
  static bool may_write(const FileId& file, const Place* place) noexcept;
  // `holder` has the write lock now, or has had it and keeps it.
  static void write_locked(const FileId& file, const void* holder) noexcept;
  // `holder` holds it no longer: calls the first writer and all readers.
  static void write_unlocked(const FileId& file, const void* holder) noexcept;
  // A connection of this process reads the file no longer: calls the committer.
  static void reader_left(const FileId& file) noexcept;

  // Whether any writer, or any committer, waits for any file. Quick.
  static bool anybody_writes_next() noexcept;
  static bool anybody_commits_next() noexcept;

  // How many lines there are, and how many places stand in them; for tests.
  static int lines() noexcept;
  static int waiters() noexcept;

 private:
  friend struct Lines;
  explicit FileLine(const FileId& file) noexcept : file_(file) {}

  Place*& queue(Role role) noexcept { return queues_[static_cast<int>(role)]; }
  void call_all(Role role) noexcept;
  void call_first_writer() noexcept;
  bool empty() const noexcept;

  FileId file_;
  const void* holder_ = nullptr;
  Place* queues_[3] = {};
  FileLine* next_ = nullptr;
};

}  // namespace sqlite
