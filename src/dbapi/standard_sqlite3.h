// Objects of Python's sqlite3 module that the store shares with it: its exception classes, its
// adapters, the names that stand for our own connection and rows while nobody has replaced them.
#pragma once

#include <Python.h>

#include "sqlite/error.h"

namespace dbapi {

// Kept for the life of the process, once the module has been imported; borrowed from here.
struct StandardSqlite3 {
  PyObject* connect = nullptr;
  PyObject* row = nullptr;
  PyObject* adapters = nullptr;          // (type, PrepareProtocol) to function
  PyObject* prepare_protocol = nullptr;  // sqlite3.PrepareProtocol
  PyObject* database_error = nullptr;
  PyObject* data_error = nullptr;
  PyObject* integrity_error = nullptr;
  PyObject* interface_error = nullptr;
  PyObject* internal_error = nullptr;
  PyObject* operational_error = nullptr;
  PyObject* programming_error = nullptr;
};

const StandardSqlite3& standard_sqlite3() noexcept;

// Takes the objects from the module that `sqlite3` itself takes them from, once that was imported.
// Where it is missing they stay null: then no name leads to our own connection, and whatever
// `sqlite3` is serves every call.
void remember_standard_sqlite3();

// Makes the pending error of the class that Python's sqlite3 has for the
// code, with the engine's message, `sqlite_errorcode` and `sqlite_errorname`.
// Throws if that fails, with the pending error that says why.
void set_error(const sqlite::Error& error);

}  // namespace dbapi
