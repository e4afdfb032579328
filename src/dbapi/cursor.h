// A cursor over the store's own connection: runs statements and hands their rows out. To Python
// code it behaves as a sqlite3.Cursor does, errors included.
#pragma once

#include <Python.h>

#include <memory>
#include <optional>

#include "dbapi/connection.h"
#include "python/object.h"
#include "sqlite/error.h"
#include "sqlite/row_batch.h"
#include "sqlite/statement.h"

namespace dbapi {

// What Python reads and writes of it directly.
struct CursorFields {
  PyObject_HEAD
  python::Object connection;
  python::Object description;
  python::Object lastrowid;
  python::Object row_factory;
  int arraysize = 1;
  long rowcount = -1;
};

struct Cursor : CursorFields {
  bool closed = false;
  bool locked = false;  // Python code that a call of its runs must not come back to it

  // The rows of the statement that was run last: first those that were copied out of the engine,
  // then the one that the statement stands on and those behind it.
  std::shared_ptr<sqlite::Statement> statement;
  python::Object shape;
  sqlite::SharedBatch batch;  // none until the first row is copied
  std::size_t next_in_batch = 0;
  std::size_t batches = 0;  // that were made for this result
  bool on_row = false;
  std::optional<sqlite::Error> failure;  // met behind the last row of the batch

  PyObject* object() noexcept { return reinterpret_cast<PyObject*>(this); }
  Connection& connected() const noexcept { return Connection::of(connection.get()); }
  static Cursor& of(PyObject* self) noexcept {
    return *static_cast<Cursor*>(reinterpret_cast<CursorFields*>(self));
  }
};

// Stands around what may run Python code that must not come back to the cursor.
class Locked {
 public:
  explicit Locked(Cursor& cursor) : cursor_(cursor) { cursor.locked = true; }
  ~Locked() { cursor_.locked = false; }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Cursor& cursor_;
};

python::Object make_cursor(Connection& connection);

// Ties a cursor to a connection of this thread, as if it were new.
void connect(Cursor& cursor, python::Object connection);

// ProgrammingError if the cursor is in use further up, closed, without connection, or if its
// connection cannot be used here.
void check_usable(const Cursor& cursor);
void check_not_locked(const Cursor& cursor);

// These let the GIL go and run Python code, in which the caller's own references may be dropped: so
// they own what they are given, and the caller owns the cursor.

// Runs one statement up to its first row. `parameters` may be nothing.
void execute(Cursor& cursor, const python::Object& sql, const python::Object& parameters);
// Runs one statement that changes rows once for each item of `parameters`.
void executemany(Cursor& cursor, const python::Object& sql, const python::Object& parameters);
// Commits and runs all statements of a text.
void executescript(Cursor& cursor, const python::Object& script);

// Lets the rows go that were copied out of the engine.
void forget_batch(Cursor& cursor) noexcept;

// Lets the statement go, with the rows that are left.
void forget_rows(Cursor& cursor) noexcept;

}  // namespace dbapi
