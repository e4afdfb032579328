// The store object: a path, and the promise that every
// operation opens, uses and releases a connection of its own.
//
// What every operation keeps:
// - Nothing is kept between calls but `db_path`. The database file is
//   the only state, shared by threads, objects and processes; SQLite's
//   file locks with a wait of up to 5 seconds are the only coordination.
// - An operation is at most one transaction. An error
//   rolls it back and reaches the caller as it was raised.
// - Operations reach the database only through `self._get_conn()`, and each other through the
//   object, so a subclass or a patched method takes effect everywhere.
// - When a call has returned or failed, its connection is closed.
#pragma once

#include <Python.h>

#include <array>

#include "python/object.h"

namespace store {

inline constexpr char kModuleName[] = "zentrope_anpr.zentrope_anpr_server_db";
inline constexpr char kClassName[] = "ANPRDatabase";

// What tracebacks call a method of the class. It fits: names are the table's own, and making it
// cannot fail, since an error is on its way.
inline std::array<char, 128> full_name(const char* method) noexcept {
  std::array<char, 128> name{};
  PyOS_snprintf(name.data(), name.size(), "%s.%s.%s", kModuleName, kClassName, method);
  return name;
}

// __init__(db_path): keeps the path, makes the file's directory, calls self._init_schema().
python::Object init(PyObject* self, PyObject* db_path);

// _get_conn(): a new connection to the file, whose rows can be read by column name.
python::Object get_conn(PyObject* self);

}  // namespace store
