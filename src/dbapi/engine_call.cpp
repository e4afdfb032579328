#include "dbapi/engine_call.h"

#include <atomic>
#include <unistd.h>
#include <utility>

#include <sqlite3.h>

#include "python/hang_thread.h"

namespace dbapi {

namespace {

using python::GilPrice;
using python::GilSlice;

// How many threads have their turn for a file and want the GIL to take it.
constinit std::atomic<int> called_up{0};

// Only there does Python run the handlers of signals.
bool is_main_thread() noexcept { return gettid() == getpid(); }

}  // namespace

EngineCall::~EngineCall() {
  lock_wait.leave();
  // Before the GIL is taken back: a thread that forks holds it and waits until this one has left.
  inside_.leave();
  if (without_gil()) {
    take_back();
  } else {
    GilPrice::kept_by_engine(GilPrice::Clock::now() - kept_since_);
  }
}

bool EngineCall::can_do_without() const noexcept {
  const int level = lock_wait.held_level();
  // Others wait for what this call holds.
  if (level >= SQLITE_LOCK_RESERVED) return GilSlice::used_up();
  if (level == SQLITE_LOCK_NONE && called_up.load(std::memory_order_relaxed) > 0) return true;
  return GilSlice::rent_is_due();
}

void EngineCall::about_to_sync(std::chrono::nanoseconds usual) noexcept {
  if (!without_gil() && !GilSlice::worth_keeping_for(usual)) let_go();
}

void EngineCall::turn_has_come() noexcept {
  ++called_up;
  take_back();
  --called_up;
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

void EngineCall::let_go() noexcept {
  if (without_gil()) return;
  GilPrice::kept_by_engine(GilPrice::Clock::now() - kept_since_);
  thread_ = PyEval_SaveThread();
}

void EngineCall::take_back() noexcept {
  if (!without_gil()) return;
  const GilPrice::Mark asked = GilPrice::mark();
  // In the middle of the engine a fork must not wait for this thread, which waits for its GIL.
  const sqlite::AsleepInEngine asleep;
  try {
    PyEval_RestoreThread(std::exchange(thread_, nullptr));
  } catch (...) {
    // The interpreter exits, and this thread with it: nobody shall wait behind it.
    lock_wait.leave();
    python::hang_thread();
  }
  GilSlice::begin_again(asked);
  kept_since_ = GilPrice::Clock::now();
}

}  // namespace dbapi
