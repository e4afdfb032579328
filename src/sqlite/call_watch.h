// Who wants to know what the engine is about to do on this thread.
#pragma once

namespace sqlite {

// While one of these exists, the file layer tells the thread's innermost one what the engine does.
// They nest: each must be destroyed on the thread that made it, in reverse order.
class CallWatch {
 public:
  CallWatch(const CallWatch&) = delete;
  CallWatch& operator=(const CallWatch&) = delete;

  // The engine is about to sleep until another connection
  // lets a lock go, or to sync a file to disk.
  virtual void about_to_wait() noexcept = 0;
  // The engine is at work: a file operation, or a thousand steps of a statement.
  virtual void tick() noexcept = 0;

  // The innermost one of this thread, or null.
  static CallWatch* current() noexcept;

 protected:
  CallWatch() noexcept;
  ~CallWatch();

 private:
  CallWatch* outer_;
};

}  // namespace sqlite
