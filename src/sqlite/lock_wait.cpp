#include "sqlite/lock_wait.h"

#include <algorithm>
#include <utility>

#include "sqlite/call_watch.h"
#include "sqlite/file_lock.h"
#include "sqlite/fork_guard.h"

namespace sqlite {

namespace {

// A signal that comes to another thread, or just before a wait begins, is noticed this much later.
constexpr auto kBetweenQuestions = std::chrono::milliseconds(100);

}  // namespace

void LockWait::begin_statement() noexcept {
  leave();
  refused_by_ = nullptr;
  counted_ = counted_.zero();
}

void LockWait::refused(FileLock* file, For lock) noexcept {
  refused_by_ = file;
  wanted_ = lock;
}

void LockWait::leave() noexcept {
  news_.leave();
  turn_.leave();
}

void LockWait::sleep(CallWatch& watch, int microseconds) noexcept {
  if (stopped_) return;
  const WaitClock::time_point now = WaitClock::now();
  const std::chrono::microseconds asked(microseconds);
  if (counted_ == counted_.zero()) began_ = now;
  counted_ += asked;
  FileLock* const file = std::exchange(refused_by_, nullptr);
  if (file == nullptr) {
    watch.about_to_wait();
    just_sleep(watch, now + asked);
    return;
  }
  const WaitClock::time_point deadline = began_ + file->busy_timeout();
  if (now >= deadline) {
    leave();
    return;
  }
  watch.about_to_wait();
  const WaitClock::time_point next_try = std::max(began_ + counted_, now + asked);
  stand_and_wait(watch, *file, std::min(next_try, deadline), deadline);
  news_.leave();
  if (stopped_) leave();
}

void LockWait::just_sleep(CallWatch& watch, WaitClock::time_point until) noexcept {
  while (listen(watch, until) == Heard::kCall) {
  }
}

// Returns when the engine shall try again.
void LockWait::stand_and_wait(CallWatch& watch, FileLock& file, WaitClock::time_point next_try,
                              WaitClock::time_point deadline) noexcept {
  const FileId* const id = file.id();
  if (id == nullptr) {
    just_sleep(watch, next_try);
    return;
  }
  const bool for_writing = wanted_ == For::kWriteLock;
  FileLine::Place& place = for_writing ? turn_ : news_;
  if (for_writing) {
    place.stand(*id, FileLine::Role::kWriter);
  } else {
    place.stand(*id,
                wanted_ == For::kReadLock ? FileLine::Role::kReader : FileLine::Role::kCommitter);
  }
  while (true) {
    // Nobody calls for a holder in another process: the engine looks again as often as it likes.
    const bool polls = !place.will_be_called();
    const WaitClock::time_point until = polls ? next_try : deadline;
    const Heard heard = listen(watch, until);
    if (heard == Heard::kStop) return;
    if (heard == Heard::kNothing) {
      // The one before us may have gone meanwhile without calling: then we are to look.
      if (WaitClock::now() >= deadline || !place.will_be_called()) return;
      continue;
    }
    if (for_writing) {
      if (!place.is_first()) continue;
      watch.turn_has_come();
      return;
    }
    // Taken here, where a try in vain is not counted by the engine. It asks again and has it.
    if (file.try_again(wanted_)) return;
  }
}

// A fork does not wait for this thread meanwhile.
Bell::Heard LockWait::wait_for_bell(WaitClock::time_point until) noexcept {
  const AsleepInEngine asleep;
  return bell_.wait(until);
}

// Until the time given; asks the watch whether to go on when a signal has come, and now and then.
LockWait::Heard LockWait::listen(CallWatch& watch, WaitClock::time_point until) noexcept {
  while (true) {
    const WaitClock::time_point question = WaitClock::now() + kBetweenQuestions;
    const bool asks = question < until;
    const Bell::Heard heard = wait_for_bell(asks ? question : until);
    if (heard == Bell::Heard::kRing) return Heard::kCall;
    if (heard == Bell::Heard::kSilence && !asks) return Heard::kNothing;
    if (watch.stop_waiting()) {
      stopped_ = true;
      return Heard::kStop;
    }
  }
}

}  // namespace sqlite
