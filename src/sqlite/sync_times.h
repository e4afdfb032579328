// How long a sync takes where a file lies.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <sys/types.h>

namespace sqlite {

// The average of a device's last syncs in this process. Kept for a few devices: two of them may
// share one, and then see each other's syncs.
class SyncTimes {
 public:
  static SyncTimes& of(dev_t device) noexcept;

  // Longer than anything until there has been one.
  std::chrono::nanoseconds usual() const noexcept {
    return std::chrono::nanoseconds(average_ns_.load(std::memory_order_relaxed));
  }
  void add(std::chrono::nanoseconds took) noexcept;

 private:
  // Without a sync yet: an hour.
  static constexpr std::int64_t kUnknown = 3'600'000'000'000;

  std::atomic<std::int64_t> average_ns_{kUnknown};
};

}  // namespace sqlite
