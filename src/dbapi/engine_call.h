// One engine call and the GIL.
#pragma once

#include <Python.h>

#include "python/gil_slice.h"
#include "python/hang_thread.h"
#include "sqlite/call_watch.h"
#include "sqlite/fork_guard.h"

namespace dbapi {

// Stands around every engine call that can open, lock, read or write a file; made with the GIL
// held. The GIL is kept while the call is short, let go at most once, when the engine is about to
// wait or the thread's slice is used up, and taken back at the end, outside the engine. From the
// moment when it is let go no Python object is touched, copied or dropped.
class EngineCall final : public sqlite::CallWatch {
 public:
  EngineCall() = default;
  ~EngineCall() {
    // First: a thread that forks holds the GIL and waits until this one is out of the engine.
    inside_.leave();
    if (thread_ == nullptr) return;
    python::in_interpreter([this] { PyEval_RestoreThread(thread_); });
    python::GilSlice::begin_again();
  }
  EngineCall(const EngineCall&) = delete;
  EngineCall& operator=(const EngineCall&) = delete;

  void about_to_wait() noexcept override { let_go(); }
  void tick() noexcept override {
    if (thread_ == nullptr && python::GilSlice::used_up()) let_go();
  }

 private:
  void let_go() noexcept {
    if (thread_ == nullptr) thread_ = PyEval_SaveThread();
  }

  sqlite::InsideEngine inside_;
  python::GilSlice::Entry entry_;
  PyThreadState* thread_ = nullptr;
};

}  // namespace dbapi
