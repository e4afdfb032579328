// Traceback entries for native code: an error that leaves an operation names it, as it would a
// Python function.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace python {

// The file name that native code objects carry. Angle brackets keep debuggers and linecache from
// looking for it.
inline constexpr char kNativeFile[] = "<zentrope_anpr.zentrope_anpr_server_db>";

// Puts an entry named `name` on top of the pending error's traceback; `globals` is the namespace
// that debuggers show for it.
void add_traceback_entry(const char* name, PyObject* globals) noexcept;

// The operation that this thread is running, for errors that are shown to Python code before they
// leave it.
class TracedCall {
 public:
  // `name` and `globals` outlive the object.
  TracedCall(const char* name, PyObject* globals) noexcept;
  ~TracedCall();
  TracedCall(const TracedCall&) = delete;
  TracedCall& operator=(const TracedCall&) = delete;

  // Gives the pending error this operation's entry, once however often it is asked for.
  void record() noexcept;

  // The innermost one of this thread, or null.
  static TracedCall* current() noexcept;

 private:
  const char* name_;
  PyObject* globals_;
  TracedCall* outer_;
  Object recorded_;  // the error that has the entry already
};

}  // namespace python
