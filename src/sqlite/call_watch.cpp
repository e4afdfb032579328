#include "sqlite/call_watch.h"

namespace sqlite {

namespace {

constinit thread_local CallWatch* innermost = nullptr;
constinit thread_local unsigned long statements = 0;

}  // namespace

CallWatch::CallWatch() noexcept : outer_(innermost) {
  innermost = this;
  ++statements;
}

CallWatch::~CallWatch() { innermost = outer_; }

CallWatch* CallWatch::current() noexcept { return innermost; }

unsigned long CallWatch::statement() noexcept { return statements; }

void CallWatch::begin_statement() noexcept {
  ++statements;
  if (innermost != nullptr) innermost->lock_wait.begin_statement();
}

}  // namespace sqlite
