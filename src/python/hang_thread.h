// What a thread does when the interpreter exits under it.
#pragma once

namespace python {

// Stops this thread until the process ends. At exit CPython 3.12 and 3.13 end a daemon thread by
// unwinding it out of any call that takes the GIL; our destructors would then drop Python objects
// without it. 3.14 stops the thread in that call by itself (PyThread_hang_thread).
[[noreturn]] void hang_thread() noexcept;

// Runs `body`, which may run Python code or take the GIL, and hangs the thread if it is unwound out
// of it. C API calls report errors by their result, so nothing else can be thrown here.
template <typename Body>
auto in_interpreter(Body body) noexcept {
  try {
    return body();
  } catch (...) {
    hang_thread();
  }
}

}  // namespace python
