#include "sqlite/bell.h"

#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sqlite {

namespace {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// The clock of FUTEX_WAIT_BITSET is CLOCK_MONOTONIC, which is what steady_clock reads.
timespec monotonic(WaitClock::time_point time) noexcept {
  const auto since_start = time.time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_start);
  const std::chrono::nanoseconds rest = since_start - seconds;
  return {.tv_sec = static_cast<time_t>(seconds.count()),
          .tv_nsec = static_cast<long>(rest.count())};
}

}  // namespace

void Bell::ring() noexcept {
  if (rung_.exchange(1, std::memory_order_release) != 0) return;
  syscall(SYS_futex, &rung_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

Bell::Heard Bell::wait(WaitClock::time_point until) noexcept {
  const timespec end = monotonic(until);
  while (!take()) {
    const long result = syscall(SYS_futex, &rung_, FUTEX_WAIT_BITSET_PRIVATE, 0, &end, nullptr,
                                FUTEX_BITSET_MATCH_ANY);
    if (result == 0) continue;
    if (errno == ETIMEDOUT) return take() ? Heard::kRing : Heard::kSilence;
    if (errno == EINTR) return take() ? Heard::kRing : Heard::kSignal;
  }
  return Heard::kRing;
}

}  // namespace sqlite
