// The connection scope: the one road of every operation to the database.
#pragma once

#include <Python.h>

#include "python/calls.h"
#include "python/object.h"
#include "python/values.h"

namespace store {

// What an operation does with the connection that it was given: our own, or whatever somebody's
// `_get_conn` returned. Only the methods that stand here are ever called on it and its cursors. An
// error that a signal's handler raises (Ctrl-C during a wait for a lock) comes out of the next of
// them, and never once the commit has begun: an operation that raises has changed nothing.
class ScopeConnection {
 public:
  explicit ScopeConnection(python::Object connection) : connection_(std::move(connection)) {}

  // Runs one statement; the cursor it gave. A statement that is always the same is kept as a name.
  python::Object execute(const python::Name& sql) const;
  python::Object execute(const python::Name& sql, const python::Object& parameters) const;
  python::Object execute(const python::Object& sql, const python::Object& parameters) const;
  // Runs a statement that is expected to fail, which unwinding
  // would make dear: false, with the error pending, if it does.
  bool try_execute(const python::Name& sql) const;
  void commit() const;

 private:
  python::Object connection_;
};

python::Object fetchone(const python::Object& cursor);
python::Object fetchall(const python::Object& cursor);
python::Object lastrowid(const python::Object& cursor);
python::Object rowcount(const python::Object& cursor);
// cursor.rowcount > 0
bool changed_rows(const python::Object& cursor);

// `with self._get_conn() as connection:`, with one difference: an error of the block reaches the
// caller whatever __exit__ returns. The connection is held as long as this object lives, so that an
// operation which declares it first drops the connection when it returns.
class Scope {
 public:
  // `operation` is the method's name, for tracebacks: that of the function which opens the scope.
  // It stays with the scope: which operation a thread runs may change whenever Python code runs,
  // since greenlets switch there.
  explicit Scope(PyObject* self, const char* operation = __builtin_FUNCTION());

  // Runs `body` with the connection and leaves the scope:
  // __exit__ commits, or gets the error and rolls back.
  template <typename Body>
  python::Object run(Body body) {
    python::Object result;
    try {
      result = body(connection_);
    } catch (...) {
      leave_with_error();
    }
    leave();
    return result;
  }

 private:
  Scope(const python::Object& manager, const char* operation);

  void leave() const;
  // Makes the C++ exception that is being handled the
  // pending error, shows it to __exit__, and throws it.
  [[noreturn]] void leave_with_error() const;

  const char* operation_;
  python::Object exit_;
  ScopeConnection connection_;
};

// The scope of an operation that does all its work in it.
template <typename Body>
python::Object in_scope(PyObject* self, Body body, const char* operation = __builtin_FUNCTION()) {
  Scope scope(self, operation);
  return scope.run(body);
}

}  // namespace store
