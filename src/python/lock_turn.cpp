#include "python/lock_turn.h"

#include <Python.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "python/calls.h"

namespace python {

namespace {

using Clock = std::chrono::steady_clock;

constinit PyObject* get_switch_interval = nullptr;

struct Turn {
  Clock::time_point end;
  Clock::duration length = std::chrono::milliseconds(5);
  int entries = 0;
  bool signals_due = false;  // a turn has ended since they were looked at
};

constinit thread_local Turn turn;

// Longer than any turn needs to be, and short enough to count in nanoseconds.
constexpr double kLongestTurnSeconds = 1e6;

// Asked anew for every turn, since a program may change it; when the answer is unusable the last
// one holds.
void ask_interval() noexcept {
  if (get_switch_interval == nullptr) return;
  PyObject* const pending = PyErr_GetRaisedException();
  PyObject* const answer = PyObject_CallNoArgs(get_switch_interval);
  if (answer != nullptr) {
    const double seconds = std::min(PyFloat_AsDouble(answer), kLongestTurnSeconds);
    turn.length =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    Py_DECREF(answer);
  }
  PyErr_SetRaisedException(pending);
}

// How much longer than the switch interval a turn lasts. A thread that wants the lock asks for it
// one interval after it began to wait, or was woken in vain; only one that has asked is sure to get
// a lock that is let go and taken back soon. To let it go before that would wake the thread in
// vain, and do so for ever.
Clock::duration grace() noexcept { return turn.length / 4 + std::chrono::microseconds(200); }

}  // namespace

LockTurn::Entry::Entry() noexcept {
  if (turn.entries++ > 0) return;
  ask_interval();
  begin();
}

LockTurn::Entry::~Entry() { --turn.entries; }

void LockTurn::begin() noexcept { turn.end = Clock::now() + turn.length + grace(); }

bool LockTurn::used_up() noexcept { return Clock::now() >= turn.end; }

void LockTurn::begin_again() noexcept {
  begin();
  turn.signals_due = true;
}

void LockTurn::offer() {
  if (used_up()) {
    in_interpreter([] {
      PyThreadState* const thread = PyEval_SaveThread();
      PyEval_RestoreThread(thread);
    });
    begin_again();
  }
  if (std::exchange(turn.signals_due, false)) check_signals();
}

void LockTurn::read_interval_from_sys() {
  PyObject* const function = PySys_GetObject("getswitchinterval");
  if (function == nullptr || PyCFunction_Check(function) == 0) return;
  Py_XSETREF(get_switch_interval, Py_NewRef(function));
}

}  // namespace python
