#include "python/gil_price.h"

#include <algorithm>
#include <atomic>

namespace python {

namespace {

using Clock = GilPrice::Clock;

constinit std::atomic<std::int64_t> kept_ns{0};
constinit std::atomic<std::int64_t> average_ns{0};
constinit std::atomic<std::int64_t> paid_at_ns{0};
constinit std::atomic<std::int64_t> others_ran_at_ns{0};

constexpr std::chrono::nanoseconds kHalfLife = std::chrono::milliseconds(100);
constexpr std::int64_t kMostHalvings = 40;
// The newest of the payments counts for a quarter of the average.
constexpr std::int64_t kWeight = 4;

std::int64_t nanoseconds(Clock::time_point time) noexcept {
  return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

// What threads that cannot give way have taken since the mark.
std::int64_t others_took_ns(const GilPrice::Mark& since, const GilPrice::Mark& until) noexcept {
  const std::int64_t passed = std::chrono::nanoseconds(until.time - since.time).count();
  return std::max<std::int64_t>(0, passed - (until.kept_ns - since.kept_ns));
}

}  // namespace

GilPrice::Mark GilPrice::mark() noexcept {
  return {Clock::now(), kept_ns.load(std::memory_order_relaxed)};
}

void GilPrice::kept_by_engine(Clock::duration time) noexcept {
  kept_ns.fetch_add(std::chrono::nanoseconds(time).count(), std::memory_order_relaxed);
}

void GilPrice::taken_back(const Mark& asked, Clock::duration switch_interval) noexcept {
  const Mark here = mark();
  const std::int64_t before = average_ns.load(std::memory_order_relaxed);
  const std::int64_t paid = others_took_ns(asked, here);
  average_ns.store(before + (paid - before) / kWeight, std::memory_order_relaxed);
  paid_at_ns.store(nanoseconds(here.time), std::memory_order_relaxed);
  back_again(asked, switch_interval);
}

void GilPrice::back_again(const Mark& seen, Clock::duration switch_interval) noexcept {
  const Mark here = mark();
  if (std::chrono::nanoseconds(others_took_ns(seen, here)) < switch_interval * 7 / 8) return;
  others_ran_at_ns.store(nanoseconds(here.time), std::memory_order_relaxed);
}

Clock::duration GilPrice::now() noexcept {
  const std::int64_t age = nanoseconds(Clock::now()) - paid_at_ns.load(std::memory_order_relaxed);
  const std::int64_t halvings = std::clamp<std::int64_t>(age / kHalfLife.count(), 0, kMostHalvings);
  return std::chrono::nanoseconds(average_ns.load(std::memory_order_relaxed) >> halvings);
}

Clock::time_point GilPrice::others_ran() noexcept {
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
      std::chrono::nanoseconds(others_ran_at_ns.load(std::memory_order_relaxed))));
}

}  // namespace python
