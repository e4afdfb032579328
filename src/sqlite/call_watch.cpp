#include "sqlite/call_watch.h"

namespace sqlite {

namespace {

constinit thread_local CallWatch* innermost = nullptr;

}  // namespace

CallWatch::CallWatch() noexcept : outer_(innermost) { innermost = this; }

CallWatch::~CallWatch() { innermost = outer_; }

CallWatch* CallWatch::current() noexcept { return innermost; }

}  // namespace sqlite
