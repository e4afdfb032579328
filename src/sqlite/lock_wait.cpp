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

// How often the first writer looks whether another process still has the lock: a system call.
constexpr auto kBetweenLooks = std::chrono::milliseconds(2);

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
  if (counted_ == counted_.zero()) {
    began_ = now;
    next_question_ = now + kBetweenQuestions;
  }
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
    // Nobody calls for a holder in another process: the engine looks again as often as it likes,
    // and the first writer looks in between, so that it has the GIL when it takes the lock.
    const bool polls = !place.will_be_called();
    const WaitClock::time_point look = WaitClock::now() + kBetweenLooks;
    const WaitClock::time_point until =
        !polls ? deadline : (for_writing ? std::min(look, next_try) : next_try);
    const Heard heard = listen(watch, until);
    if (heard == Heard::kStop) return;
    const WaitClock::time_point now = WaitClock::now();
    if (for_writing) {
      const bool first = !place.will_be_called();
      if (first && (heard == Heard::kCall || file.write_lock_is_free())) {
        watch.turn_has_come();
        return;
      }
    } else if (heard == Heard::kCall && file.try_again(wanted_)) {
      // Taken here, where a try in vain is not counted by the engine. It asks again and has it.
      return;
    }
    if (now >= deadline || (now >= next_try && !place.will_be_called())) return;
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
    const Bell::Heard heard = wait_for_bell(std::min(next_question_, until));
    if (heard == Bell::Heard::kRing) return Heard::kCall;
    const WaitClock::time_point now = WaitClock::now();
    if (heard == Bell::Heard::kSignal || now >= next_question_) {
      next_question_ = now + kBetweenQuestions;
      if (watch.stop_waiting()) {
        stopped_ = true;
        return Heard::kStop;
      }
    }
    if (now >= until) return Heard::kNothing;
  }
}

}  // namespace sqlite
