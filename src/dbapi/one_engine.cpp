#include "dbapi/one_engine.h"

#include <Python.h>

#include <dlfcn.h>
#include <memory>
#include <utility>

#include <sqlite3.h>

#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit python::Name kModule{"_sqlite3"};
constinit python::Name kFile{"__file__"};
constinit python::Name kClose{"close"};

constexpr char kWarning[] =
    "Python's sqlite3 and the detection store call two copies of SQLite in this process. Each "
    "undoes "
    "the other's file locks: once both have touched the same database file, it can lose "
    "transactions "
    "and be damaged. Do not open the store's file with sqlite3 here, or use a Python and a build "
    "of "
    "the store that share the system's libsqlite3.so.0 (pip install --no-binary, no bundled copy).";

// Whether the dynamic linker gives Python's own module the function that
// it gives us. That answers for a Python whose module is linked to the
// shared library, which is nearly every one; else nothing is known yet.
bool linked_alike() {
  const Object module = python::item_if_any(PyImport_GetModuleDict(), kModule.get());
  const Object file = module ? python::attribute_if_any(module.get(), kFile.get()) : Object();
  if (!file || !PyUnicode_Check(file.get())) return false;
  const char* const path = PyUnicode_AsUTF8(file.get());
  if (path == nullptr) {
    python::clear_error();
    return false;
  }
  const auto close = [](void* library) { dlclose(library); };
  const std::unique_ptr<void, decltype(close)> library(dlopen(path, RTLD_LAZY | RTLD_NOLOAD),
                                                       close);
  if (!library) return false;
  return dlsym(library.get(), "sqlite3_open_v2") == reinterpret_cast<void*>(&sqlite3_open_v2);
}

// Set when a copy of SQLite opens a connection on
// this thread while our entry is registered with it.
constinit thread_local bool entered = false;

int note_entry(sqlite3*, char**, const void*) noexcept {
  entered = true;
  return SQLITE_OK;
}

// Asks SQLite itself: what we register with our copy is called for a connection that Python's
// module opens, if its copy is ours.
bool answers_alike() {
  const auto entry = reinterpret_cast<void (*)()>(note_entry);
  entered = false;
  if (sqlite3_auto_extension(entry) != SQLITE_OK) return true;  // no memory to find out
  const auto cancel = [entry](const void*) { sqlite3_cancel_auto_extension(entry); };
  const std::unique_ptr<const void, decltype(cancel)> registered(&entered, cancel);
  const Object connection = python::call(standard_sqlite3().connect, python::text(":memory:"));
  python::call_method(connection.get(), kClose);
  return entered;
}

}  // namespace

void warn_of_second_engine() {
  static constinit bool asked = false;
  if (std::exchange(asked, true) || linked_alike() || answers_alike()) return;
  python::check(
      python::in_interpreter([] { return PyErr_WarnEx(PyExc_RuntimeWarning, kWarning, 1); }));
}

}  // namespace dbapi
