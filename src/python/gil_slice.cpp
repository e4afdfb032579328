#include "python/gil_slice.h"

#include <Python.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "python/calls.h"
#include "python/kept.h"
#include "python/object.h"

namespace python {

namespace {

using Clock = std::chrono::steady_clock;

constinit PyObject* get_switch_interval = nullptr;

struct Slice {
  Clock::time_point end;
  Clock::duration length = std::chrono::milliseconds(5);
  int entries = 0;
  bool signals_due = false;  // a slice has ended since they were looked at
};

constinit thread_local Slice slice;

// Longer than any slice needs to be, and short enough to count in nanoseconds.
constexpr double kLongestSliceSeconds = 1e6;

// Asked anew for every slice, since a program may change
// it; when the answer is unusable the last one holds.
void ask_interval() noexcept {
  if (get_switch_interval == nullptr) return;
  PyObject* const pending = PyErr_GetRaisedException();
  if (const Object answer = Object::take_if_any(PyObject_CallNoArgs(get_switch_interval))) {
    const double seconds = std::min(PyFloat_AsDouble(answer.get()), kLongestSliceSeconds);
    slice.length =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }
  PyErr_SetRaisedException(pending);
}

// How much longer than the switch interval a slice lasts. A thread that wants the
// GIL asks for it one interval after it began to wait, or was woken in vain; only
// one that has asked is sure to get a GIL that is let go and taken back soon. To
// let it go before that would wake the thread in vain, and do so for ever.
Clock::duration grace() noexcept { return slice.length / 4 + std::chrono::microseconds(200); }

}  // namespace

GilSlice::Entry::Entry() noexcept {
  if (slice.entries++ > 0) return;
  ask_interval();
  begin();
}

GilSlice::Entry::~Entry() { --slice.entries; }

void GilSlice::begin() noexcept { slice.end = Clock::now() + slice.length + grace(); }

bool GilSlice::used_up() noexcept { return Clock::now() >= slice.end; }

void GilSlice::begin_again() noexcept {
  begin();
  slice.signals_due = true;
}

void GilSlice::checkpoint() {
  if (used_up()) {
    in_interpreter([] {
      PyThreadState* const thread = PyEval_SaveThread();
      PyEval_RestoreThread(thread);
    });
    begin_again();
  }
  if (std::exchange(slice.signals_due, false)) check_signals();
}

void GilSlice::read_interval_from_sys() {
  PyObject* const function = PySys_GetObject("getswitchinterval");
  if (function == nullptr || PyCFunction_Check(function) == 0) return;
  keep(get_switch_interval, Object::share(function));
}

}  // namespace python
