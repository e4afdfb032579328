// How long this thread may keep the GIL, and letting others have it when
// that is long enough. The whole policy stands here: when a slice begins
// and ends, and how often work of which cost looks whether it has.
#pragma once

#include <chrono>

#include "python/gil_price.h"

namespace python {

// A slice lasts about as long as Python code may keep the GIL: the interpreter's switch interval
// and a little more. It is counted per thread from the moment when our code was entered or took the
// GIL back, across engine calls and the making of objects.
class GilSlice {
 public:
  // Stands at every entry from Python that may work for long; the outermost one begins a slice.
  class Entry {
   public:
    Entry() noexcept;
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
  };

  // Called after this thread let the GIL go and took it back, which it asked for at the mark.
  static void begin_again(const GilPrice::Mark& asked) noexcept;

  // True when the slice is over. Needs no GIL.
  static bool used_up() noexcept;

  // For work that can do without the GIL: true when this thread has kept it
  // for as long as taking it back would cost, and so pays at most twice what
  // it would if it knew what comes; and when the threads that call the store
  // have had it for a slice together since others had a turn. Needs no GIL.
  static bool rent_is_due() noexcept;
  // Whether to keep the GIL through something that takes so long and could do without: while that
  // is much less than taking it back costs, and fits into the slice, the common one too.
  static bool worth_keeping_for(std::chrono::nanoseconds usual) noexcept;

  // What the interpreter does between two byte codes: lets other threads run if the slice is over,
  // and looks at pending signals after each slice; throws what a signal's handler raised. Any
  // Python code may have run when it returns, so call it with complete state in hand.
  static void checkpoint();

  // A loop of work with the GIL held: a checkpoint every so many steps, so that looking at the
  // clock (some 25 ns) costs little beside the steps.
  template <unsigned StepsPerCheckpoint>
  class Loop {
   public:
    void step() {
      if (++steps_ % StepsPerCheckpoint == 0) checkpoint();
    }

   private:
    Entry entry_;
    unsigned steps_ = 0;
  };
  using LongSteps = Loop<1>;  // a statement; a list of unknown length
  using Records = Loop<8>;    // some microseconds: a record and its JSON
  using Rows = Loop<16>;      // around a microsecond
  using Items = Loop<64>;     // tens of nanoseconds: an item, a comparison

  // Names the function that tells the interpreter's switch interval; called once, at import.
  static void read_interval_from_sys();

 private:
  static void begin() noexcept;
  static GilPrice::Clock::time_point common_end() noexcept;
};

}  // namespace python
