// One engine call and the GIL.
#pragma once

#include <Python.h>

#include "python/errors.h"
#include "python/gil_slice.h"
#include "sqlite/call_watch.h"
#include "sqlite/fork_guard.h"

namespace dbapi {

// Stands around every engine call that can open, lock, read or write a file; made
// with the GIL held. The GIL is kept while the call is short, let go when the
// engine is about to wait or the thread has kept it long enough, and taken back at
// the end, outside the engine, or before that when the call's turn for a file's
// lock has come. While it is let go no Python object is touched, copied or dropped.
class EngineCall final : public sqlite::CallWatch {
 public:
  EngineCall() noexcept : kept_since_(python::GilPrice::Clock::now()) {}
  ~EngineCall();
  EngineCall(const EngineCall&) = delete;
  EngineCall& operator=(const EngineCall&) = delete;

  void about_to_wait() noexcept override { let_go(); }
  void about_to_sync(std::chrono::nanoseconds usual) noexcept override;
  // Takes the GIL back first: the file's lock shall not be held while waiting for the GIL. Other
  // engine calls that hold no lock let it go for this one.
  void turn_has_come() noexcept override;
  bool stop_waiting() noexcept override;
  void tick() noexcept override {
    if (!without_gil() && can_do_without()) let_go();
  }

 private:
  bool without_gil() const noexcept { return thread_ != nullptr; }
  bool can_do_without() const noexcept;
  void let_go() noexcept;
  void take_back() noexcept;

  sqlite::InsideEngine inside_;
  python::GilSlice::Entry entry_;
  PyThreadState* thread_ = nullptr;
  python::GilPrice::Clock::time_point kept_since_;  // while the GIL is not let go
};

// For after an engine call: throws what a signal's handler raised while the call waited for a lock.
// As a rule the engine fails too, but a checkpoint, for one, only says that it was not done.
inline void throw_what_ended_a_wait() {
  if (PyErr_Occurred() != nullptr) throw python::PythonError{};
}

}  // namespace dbapi
