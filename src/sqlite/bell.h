// What a waiting thread listens for.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace sqlite {

using WaitClock = std::chrono::steady_clock;

// One thread waits, any thread rings. A ring that comes before the wait is not lost. Unlike a
// condition variable it tells that a signal's handler has run on the waiting thread, and it needs
// no mutex, so a child made by fork() finds nothing locked.
class Bell {
 public:
  enum class Heard { kRing, kSilence, kSignal };

  void ring() noexcept;
  // Waits for a ring until the time given and takes it; kSilence
  // when that time has come, kSignal when a handler has run.
  Heard wait(WaitClock::time_point until) noexcept;
  // Takes a ring without waiting.
  bool take() noexcept { return rung_.exchange(0, std::memory_order_acquire) != 0; }

 private:
  std::atomic<std::uint32_t> rung_{0};
};

}  // namespace sqlite
