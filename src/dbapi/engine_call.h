// One engine call and the GIL.
#pragma once

#include <Python.h>

#include "python/gil_slice.h"
#include "sqlite/call_watch.h"

namespace dbapi {

// Stands around every engine call that can open, lock, read or write a file; made with the GIL
// held. The GIL is kept while the call is short, let go when the engine is about to wait or the
// thread has had it long enough, and taken back at the end, outside the engine, or before that when
// the call's turn for a file's lock has come. While it is let go no Python object is touched,
// copied or dropped.
class EngineCall final : public sqlite::CallWatch {
 public:
  EngineCall() = default;
  ~EngineCall();
  EngineCall(const EngineCall&) = delete;
  EngineCall& operator=(const EngineCall&) = delete;

  void about_to_wait() noexcept override { let_go(); }
  void turn_has_come() noexcept override { take_back(); }
  bool stop_waiting() noexcept override;
  void tick() noexcept override {
    if (thread_ == nullptr && python::GilSlice::used_up()) let_go();
  }

 private:
  void let_go() noexcept {
    if (thread_ == nullptr) thread_ = PyEval_SaveThread();
  }
  void take_back() noexcept;

  python::GilSlice::Entry entry_;
  PyThreadState* thread_ = nullptr;
};

}  // namespace dbapi
