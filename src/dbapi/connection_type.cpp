#include "dbapi/connection_type.h"

#include <array>

#include "dbapi/connection.h"
#include "dbapi/connection_call.h"
#include "dbapi/cursor.h"
#include "dbapi/cursor_type.h"
#include "dbapi/exception_translation.h"
#include "python/compat.h"
#include "python/kept.h"
#include "python/native_type.h"
#include "python/positional.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit PyTypeObject* type = nullptr;

// What isolation_level may be set to; it follows BEGIN as it stands here.
constexpr std::array<const char*, 4> kIsolationLevels = {"", "DEFERRED", "IMMEDIATE", "EXCLUSIVE"};

void check_usable(const Connection& connection) {
  check_thread(connection);
  check_open(connection);
  check_process(connection);
}

Object new_cursor(PyObject* self) {
  Connection& connection = Connection::of(self);
  check_usable(connection);
  Object cursor = make_cursor(connection);
  Cursor::of(cursor.get()).row_factory = connection.row_factory;
  return cursor;
}

PyObject* cursor_method(PyObject* self, PyObject* positional, PyObject* keywords) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    static const char* names[] = {"factory", nullptr};
    PyObject* factory = nullptr;
    if (PyArg_ParseTupleAndKeywords(positional, keywords, "|O:cursor", const_cast<char**>(names),
                                    &factory) == 0) {
      throw python::PythonError{};
    }
    if (factory == nullptr) return new_cursor(self).release();
    check_usable(Connection::of(self));
    const Object kept = Object::share(self);
    Object cursor = python::call(Object::share(factory).get(), self);
    if (!is_cursor(cursor.get())) {
      python::raise_formatted(PyExc_TypeError, "factory must return a cursor, not %.100s",
                              Py_TYPE(cursor.get())->tp_name);
    }
    const Object& row_factory = Connection::of(self).row_factory;
    if (row_factory && !row_factory.is(Py_None)) Cursor::of(cursor.get()).row_factory = row_factory;
    return cursor.release();
  });
}

PyObject* execute_method(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("execute", count, 1, 2);
    python::check_text("execute", "argument 1", arguments[0]);
    Object cursor = new_cursor(self);
    execute(Cursor::of(cursor.get()), Object::share(arguments[0]),
            Object::share_if_any(count == 2 ? arguments[1] : nullptr));
    return cursor.release();
  });
}

PyObject* executemany_method(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("executemany", count, 2, 2);
    python::check_text("executemany", "argument 1", arguments[0]);
    Object cursor = new_cursor(self);
    executemany(Cursor::of(cursor.get()), Object::share(arguments[0]), Object::share(arguments[1]));
    return cursor.release();
  });
}

PyObject* executescript_method(PyObject* self, PyObject* script) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    Object cursor = new_cursor(self);
    executescript(Cursor::of(cursor.get()), Object::share(script));
    return cursor.release();
  });
}

PyObject* commit_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    check_usable(Connection::of(self));
    commit(Connection::of(self));
    return python::none().release();
  });
}

PyObject* rollback_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    check_usable(Connection::of(self));
    rollback(Connection::of(self));
    return python::none().release();
  });
}

PyObject* close_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    Connection& connection = Connection::of(self);
    check_thread(connection);
    {
      const ConnectionCall call(connection);
      // Taken out first: while they are dropped, other threads may look at the connection.
      const std::unique_ptr<sqlite::Database> database = std::move(connection.database);
      const StatementCache statements = std::move(connection.statements);
    }
    throw_what_ended_a_wait();
    return python::none().release();
  });
}

PyObject* enter_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    check_open(Connection::of(self));
    check_process(Connection::of(self));
    return Py_NewRef(self);
  });
}

// A transaction that cannot be committed is rolled back, so that it does not keep the file locked.
void commit_or_roll_back(Connection& connection) {
  try {
    check_usable(connection);
    commit(connection);
  } catch (...) {
    set_error_from_exception();
    Object failure = Object::take(PyErr_GetRaisedException());
    try {
      check_usable(connection);
      rollback(connection);
    } catch (...) {
      set_error_from_exception();
      python::add_context(failure.release());
      throw python::PythonError{};
    }
    PyErr_SetRaisedException(failure.release());
    throw python::PythonError{};
  }
}

PyObject* exit_method(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("__exit__", count, 3, 3);
    const Object kept = Object::share(self);
    Connection& connection = Connection::of(self);
    const bool normally =
        arguments[0] == Py_None && arguments[1] == Py_None && arguments[2] == Py_None;
    if (normally) {
      commit_or_roll_back(connection);
    } else {
      check_usable(connection);
      rollback(connection);
    }
    return python::boolean(false).release();
  });
}

PyObject* get_isolation_level(PyObject* self, void*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    const Connection& connection = Connection::of(self);
    check_open(connection);
    if (connection.isolation_level == nullptr) return python::none().release();
    return python::text(connection.isolation_level).release();
  });
}

const char* known_isolation_level(PyObject* value) {
  if (!PyUnicode_Check(value))
    python::raise(PyExc_TypeError, "isolation_level must be str or None");
  const python::Utf8 asked = python::utf8_of(value);
  if (asked.holds_nul()) python::raise(PyExc_ValueError, "embedded null character");
  for (const char* const level : kIsolationLevels) {
    if (sqlite3_stricmp(asked.bytes, level) == 0) return level;
  }
  python::raise(PyExc_ValueError,
                "isolation_level string must be '', 'DEFERRED', 'IMMEDIATE', or 'EXCLUSIVE'");
}

int set_isolation_level(PyObject* self, PyObject* value, void*) {
  return translate_exceptions(-1, [&] {
    Connection& connection = Connection::of(self);
    if (value == nullptr) python::raise(PyExc_AttributeError, "cannot delete attribute");
    if (value == Py_None) {
      connection.isolation_level = nullptr;
      // Back to where every statement is a transaction of its own.
      check_usable(connection);
      commit(connection);
    } else {
      connection.isolation_level = known_isolation_level(value);
    }
    return 0;
  });
}

PyObject* get_total_changes(PyObject* self, void*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    check_open(Connection::of(self));
    return python::integer(Connection::of(self).database->total_changes()).release();
  });
}

PyObject* get_in_transaction(PyObject* self, void*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    check_open(Connection::of(self));
    return python::boolean(!Connection::of(self).database->autocommit()).release();
  });
}

int traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(Py_TYPE(self));
  Py_VISIT(Connection::of(self).row_factory.get());
  return 0;
}

int clear(PyObject* self) {
  Connection::of(self).row_factory = Object();
  return 0;
}

void close_file(Connection& connection) noexcept {
  const EngineCall closing;
  connection.statements.clear();
  connection.leftovers.clear();
  connection.database.reset();
}

void deallocate(PyObject* self) {
  PyObject_GC_UnTrack(self);
  PyObject_ClearWeakRefs(self);
  PyObject* const pending = PyErr_GetRaisedException();
  close_file(Connection::of(self));
  python::free_instance<Connection>(self);
  PyErr_SetRaisedException(pending);
}

PyMethodDef methods[] = {
    {"close", close_method, METH_NOARGS,
     PyDoc_STR("close($self, /)\n--\n\nClose the file. An open transaction is not committed.")},
    {"commit", commit_method, METH_NOARGS,
     PyDoc_STR("commit($self, /)\n--\n\nCommit the open transaction, if there is one.")},
    {"cursor", python::method_entry(cursor_method), METH_VARARGS | METH_KEYWORDS,
     PyDoc_STR("cursor($self, /, factory=None)\n--\n\nReturn a new cursor; factory(connection) "
               "makes it if given.")},
    {"execute", python::method_entry(execute_method), METH_FASTCALL,
     PyDoc_STR("execute($self, sql, parameters=(), /)\n--\n\nRun one SQL statement and return its "
               "cursor.")},
    {"executemany", python::method_entry(executemany_method), METH_FASTCALL,
     PyDoc_STR("executemany($self, sql, parameters, /)\n--\n\n"
               "Run one INSERT, UPDATE, DELETE or REPLACE for each item of parameters.")},
    {"executescript", executescript_method, METH_O,
     PyDoc_STR("executescript($self, sql_script, /)\n--\n\nRun all SQL statements of a text, "
               "committing first.")},
    {"rollback", rollback_method, METH_NOARGS,
     PyDoc_STR("rollback($self, /)\n--\n\nRoll the open transaction back, if there is one.")},
    {"__enter__", enter_method, METH_NOARGS,
     PyDoc_STR("__enter__($self, /)\n--\n\nReturn the connection.")},
    {"__exit__", python::method_entry(exit_method), METH_FASTCALL,
     PyDoc_STR("__exit__($self, type, value, traceback, /)\n--\n\nCommit, or roll back if there is "
               "an error.")},
    {nullptr, nullptr, 0, nullptr},
};

PyMemberDef members[] = {
    {"row_factory", python::compat::kObjectOrNone, offsetof(ConnectionFields, row_factory), 0,
     PyDoc_STR("What makes a row of (cursor, tuple); None for plain tuples.")},
    {nullptr, 0, 0, 0, nullptr},
};

PyGetSetDef attributes[] = {
    {"in_transaction", get_in_transaction, nullptr, PyDoc_STR("Whether a transaction is open."),
     nullptr},
    {"isolation_level", get_isolation_level, set_isolation_level,
     PyDoc_STR("What follows BEGIN in implicit transactions; None for none."), nullptr},
    {"total_changes", get_total_changes, nullptr,
     PyDoc_STR("How many rows were changed since the file was opened."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyType_Slot slots[] = {
    {Py_tp_doc, const_cast<char*>(
                    "A connection to the store's database file, for the thread that opened it.")},
    {Py_tp_dealloc, python::slot_entry(deallocate)},
    {Py_tp_traverse, python::slot_entry(traverse)},
    {Py_tp_clear, python::slot_entry(clear)},
    {Py_tp_methods, methods},
    {Py_tp_members, members},
    {Py_tp_getset, attributes},
    {0, nullptr},
};

PyType_Spec spec = {
    .name = "zentrope_anpr.zentrope_anpr_server_db.Connection",
    .basicsize = sizeof(Connection),
    .itemsize = 0,
    .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_IMMUTABLETYPE |
             Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_MANAGED_WEAKREF,
    .slots = slots,
};

}  // namespace

PyTypeObject* connection_type() noexcept { return type; }

void make_connection_type() {
  if (type != nullptr) return;
  python::keep(type, Object::take(PyType_FromSpec(&spec)));
}

}  // namespace dbapi
