// Who wants to know what the engine is about to do on this thread.
#pragma once

#include <chrono>

#include "sqlite/lock_wait.h"

namespace sqlite {

// While one of these exists, the VFS shim tells the thread's innermost one what the engine does.
// They nest: each must be destroyed on the thread that made it, in reverse order.
class CallWatch {
 public:
  CallWatch(const CallWatch&) = delete;
  CallWatch& operator=(const CallWatch&) = delete;

  // The engine is about to sleep until another connection lets a lock go, or to sync a file of
  // which it is not known how long that takes.
  virtual void about_to_wait() noexcept = 0;
  // The engine is about to sync a file, which lately took that long on average.
  virtual void about_to_sync(std::chrono::nanoseconds usual) noexcept = 0;
  // The turn of this thread has come: when this returns, it tries for the lock.
  virtual void turn_has_come() noexcept = 0;
  // Asked while the thread waits, when a signal's handler has run on it and every now and then.
  // True ends the wait, and the engine call with SQLITE_BUSY.
  virtual bool stop_waiting() noexcept = 0;
  // The engine is at work: a file operation, or a thousand steps of a statement.
  virtual void tick() noexcept = 0;

  // The innermost one of this thread, or null.
  static CallWatch* current() noexcept;

  // Which of the thread's statements this is: the engine call's only one, or one of a script.
  static unsigned long statement() noexcept;
  static void begin_statement() noexcept;

  // What the engine call waits for.
  LockWait lock_wait;

 protected:
  CallWatch() noexcept;
  ~CallWatch();

 private:
  CallWatch* outer_;
};

}  // namespace sqlite
