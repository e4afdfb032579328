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

using Clock = GilPrice::Clock;

constinit PyObject* get_switch_interval = nullptr;

struct Slice {
  Clock::time_point begin;
  Clock::time_point end;
  GilPrice::Mark left = {};  // when our code was last left
  Clock::duration length = std::chrono::milliseconds(5);
  int entries = 0;
  bool signals_due = false;  // a slice has ended since they were looked at
};

constinit thread_local Slice slice;

// Longer than any slice needs to be, and short enough to count in nanoseconds.
constexpr double kLongestSliceSeconds = 1e6;

// The GIL is kept for this part of the switch interval in any case, 50 us unless a program has set
// another one: to let it go and take it back costs some microseconds, and most calls are done by
// then. Who sets a longer interval wants fewer changes.
constexpr int kShortestRent = 100;

// How much less than taking the GIL back something must take to keep the GIL through it. It is
// known only how long it took before.
constexpr int kMuchLess = 8;

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
  GilPrice::back_again(slice.left, slice.length);
  begin();
}

GilSlice::Entry::~Entry() {
  if (--slice.entries == 0) slice.left = GilPrice::mark();
}

void GilSlice::begin() noexcept {
  slice.begin = Clock::now();
  slice.end = slice.begin + slice.length + grace();
}

Clock::time_point GilSlice::common_end() noexcept {
  return GilPrice::others_ran() + slice.length + grace();
}

bool GilSlice::used_up() noexcept { return Clock::now() >= slice.end; }

bool GilSlice::rent_is_due() noexcept {
  const Clock::time_point now = Clock::now();
  const Clock::duration kept = now - slice.begin;
  if (kept < slice.length / kShortestRent) return false;
  return kept >= GilPrice::now() || now >= slice.end || now >= common_end();
}

bool GilSlice::worth_keeping_for(std::chrono::nanoseconds usual) noexcept {
  const Clock::time_point end = Clock::now() + usual;
  return usual * kMuchLess <= GilPrice::now() && end < slice.end && end < common_end();
}

void GilSlice::begin_again(const GilPrice::Mark& asked) noexcept {
  GilPrice::taken_back(asked, slice.length);
  begin();
  slice.signals_due = true;
}

void GilSlice::checkpoint() {
  if (used_up()) {
    const GilPrice::Mark asked = GilPrice::mark();
    in_interpreter([] {
      PyThreadState* const thread = PyEval_SaveThread();
      PyEval_RestoreThread(thread);
    });
    begin_again(asked);
  }
  if (std::exchange(slice.signals_due, false)) check_signals();
}

void GilSlice::read_interval_from_sys() {
  PyObject* const function = PySys_GetObject("getswitchinterval");
  if (function == nullptr || PyCFunction_Check(function) == 0) return;
  keep(get_switch_interval, Object::share(function));
}

}  // namespace python
