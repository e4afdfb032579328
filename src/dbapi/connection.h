// The store's own connection to a database file. To Python code it behaves as a sqlite3.Connection
// does, errors included, as far as it goes: it has no user functions, hooks, blobs, backup or dump.
#pragma once

#include <Python.h>

#include <memory>
#include <vector>

#include "dbapi/statement_cache.h"
#include "python/object.h"
#include "sqlite/database.h"
#include "sqlite/statement.h"

namespace dbapi {

// What Python reads and writes of it directly.
struct ConnectionFields {
  PyObject_HEAD
  python::Object row_factory;
};

struct Connection : ConnectionFields {
  std::unique_ptr<sqlite::Database> database;  // null when closed
  unsigned long thread = 0;                    // the only one that may use it
  const char* isolation_level = "";            // what follows BEGIN; null: no implicit transactions
  StatementCache statements;
  bool in_call = false;
  // Statements dropped while the connection was in a call or on
  // another thread, waiting for the next call's end. There is room for
  // every share that is out, so that dropping one needs no memory.
  std::vector<std::shared_ptr<sqlite::Statement>> leftovers;
  std::size_t shares = 0;

  PyObject* object() noexcept { return reinterpret_cast<PyObject*>(this); }
  static Connection& of(PyObject* self) noexcept {
    return *static_cast<Connection*>(reinterpret_cast<ConnectionFields*>(self));
  }
};

// Opens the file as sqlite3.connect(path) does: `path` is a text or path-like
// object. Raises the audit events sqlite3.connect and sqlite3.connect/handle,
// and the engine's error if the file cannot be opened.
python::Object open_connection(PyObject* path);

// ProgrammingError if this is not the connection's thread, if it is closed, or if the process that
// opened it has made this one by fork().
void check_thread(const Connection& connection);
void check_open(const Connection& connection);
void check_process(const Connection& connection);

// COMMIT and ROLLBACK; nothing when no transaction is open.
void commit(Connection& connection);
void rollback(Connection& connection);

// A share of the prepared statement for an SQL text: of one kept
// from before, if no cursor has it. Give it back to `discard`.
std::shared_ptr<sqlite::Statement> prepare(Connection& connection, PyObject* sql);

// Begins a transaction if the statement needs one and none is open.
void begin_if_needed(Connection& connection, const sqlite::Statement& statement);

// Takes a share back; resets the statement if it is running.
// From any thread, and while the connection is in a call.
void discard(Connection& connection, std::shared_ptr<sqlite::Statement> statement) noexcept;

}  // namespace dbapi
