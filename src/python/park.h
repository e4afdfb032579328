// What a thread does when the interpreter exits under it.
#pragma once

namespace python {

// Stops this thread until the process ends. At exit CPython 3.12 ends a daemon thread by unwinding
// it out of any call that takes the interpreter lock; our destructors would then drop Python
// objects without the lock.
[[noreturn]] void park() noexcept;

// Runs `body`, which may run Python code or take the interpreter lock, and parks the thread if it
// is unwound out of it. C API calls report errors by their result, so nothing else can be thrown
// here.
template <typename Body>
auto in_interpreter(Body body) noexcept {
  try {
    return body();
  } catch (...) {
    park();
  }
}

}  // namespace python
