#include "dbapi/engine_call.h"

#include <unistd.h>
#include <utility>

#include "python/hang_thread.h"

namespace dbapi {

namespace {

// Only there does Python run the handlers of signals.
bool is_main_thread() noexcept { return gettid() == getpid(); }

}  // namespace

EngineCall::~EngineCall() {
  lock_wait.leave();
  take_back();
}

void EngineCall::take_back() noexcept {
  if (thread_ == nullptr) return;
  try {
    PyEval_RestoreThread(std::exchange(thread_, nullptr));
  } catch (...) {
    // The interpreter exits, and this thread with it: nobody shall wait behind it.
    lock_wait.leave();
    python::hang_thread();
  }
  python::GilSlice::begin_again();
}

bool EngineCall::stop_waiting() noexcept {
  if (!is_main_thread()) return false;
  take_back();
  // Where an exception is on its way already (an object is being dropped), the next one can wait.
  const bool stop = PyErr_Occurred() == nullptr &&
                    python::in_interpreter([] { return PyErr_CheckSignals(); }) != 0;
  let_go();
  return stop;
}

}  // namespace dbapi
