// Traceback entries for native code: an error that leaves
// an operation names it, as it would a Python function.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace python {

// The file name that native code objects carry. Angle
// brackets keep debuggers and linecache from looking for it.
inline constexpr char kNativeFile[] = "<zentrope_anpr.zentrope_anpr_server_db>";

// Puts an entry named `name` on top of the pending error's
// traceback; `globals` is the namespace that debuggers show for it.
void add_traceback_entry(const char* name, PyObject* globals) noexcept;

// The same, unless the entry stands on top already: errors
// are shown to Python code before they leave the operation.
void add_traceback_entry_once(const char* name, PyObject* globals) noexcept;

}  // namespace python
