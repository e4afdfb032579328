#include "sqlite/sync_times.h"

#include <array>

namespace sqlite {

namespace {

// The newest sync counts for an eighth.
constexpr std::int64_t kWeight = 8;

constinit std::array<SyncTimes, 16> devices;

}  // namespace

SyncTimes& SyncTimes::of(dev_t device) noexcept { return devices[device % devices.size()]; }

void SyncTimes::add(std::chrono::nanoseconds took) noexcept {
  const std::int64_t before = average_ns_.load(std::memory_order_relaxed);
  const std::int64_t after =
      before == kUnknown ? took.count() : before + (took.count() - before) / kWeight;
  average_ns_.store(after, std::memory_order_relaxed);
}

}  // namespace sqlite
