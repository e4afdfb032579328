// What taking the GIL back costs, and when other Python threads last had their turn: measured all
// the time, over all threads of the process.
#pragma once

#include <chrono>
#include <cstdint>

namespace python {

// Engine calls that keep the GIL could do without it. So the time for which they kept it is not
// counted as part of the price: what one call waits for another is the store's own doing, and ends
// as soon as all let it go early. What remains is what threads cost that cannot give way. Needs no
// GIL; figures of different threads may be a little out of step.
class GilPrice {
 public:
  using Clock = std::chrono::steady_clock;

  // A moment to count from.
  struct Mark {
    Clock::time_point time;
    std::int64_t kept_ns;
  };
  static Mark mark() noexcept;

  // An engine call has kept the GIL for so long.
  static void kept_by_engine(Clock::duration time) noexcept;
  // This thread took the GIL back, which it asked for at the mark.
  static void taken_back(const Mark& asked, Clock::duration switch_interval) noexcept;
  // This thread has the GIL again or still, and was last seen at the mark.
  static void back_again(const Mark& seen, Clock::duration switch_interval) noexcept;

  // What it has lately cost, halved for each tenth of a second since it was last paid: the less a
  // wrong guess costs, the sooner the price is tried again.
  static Clock::duration now() noexcept;
  // When others were last seen to have had a turn of their own: a thread that spins is asked to
  // give way only after a switch interval.
  static Clock::time_point others_ran() noexcept;
};

}  // namespace python
