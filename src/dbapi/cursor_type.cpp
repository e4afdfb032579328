#include "dbapi/cursor_type.h"

#include <climits>

#include "dbapi/connection_type.h"
#include "dbapi/cursor.h"
#include "dbapi/cursor_rows.h"
#include "dbapi/engine_call.h"
#include "dbapi/exception_translation.h"
#include "dbapi/standard_sqlite3.h"
#include "python/compat.h"
#include "python/kept.h"
#include "python/native_type.h"
#include "python/positional.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit PyTypeObject* type = nullptr;

PyObject* new_cursor(PyTypeObject* made, PyObject*, PyObject*) {
  return translate_exceptions<PyObject*>(
      nullptr, [&] { return python::make_instance<Cursor>(made).object(); });
}

int initialise(PyObject* self, PyObject* positional, PyObject* keywords) {
  return translate_exceptions(-1, [&] {
    if (keywords != nullptr && PyDict_GET_SIZE(keywords) > 0) {
      python::raise(PyExc_TypeError, "Cursor() takes no keyword arguments");
    }
    PyObject* connection = nullptr;
    if (PyArg_UnpackTuple(positional, "Cursor", 1, 1, &connection) == 0)
      throw python::PythonError{};
    if (!PyObject_TypeCheck(connection, connection_type())) {
      python::raise_formatted(PyExc_TypeError,
                              "Cursor() argument 1 must be sqlite3.Connection, not %.50s",
                              python::shown_type(connection));
    }
    Cursor& cursor = Cursor::of(self);
    check_not_locked(cursor);
    if (cursor.connection) check_thread(cursor.connected());
    check_thread(Connection::of(connection));
    const Object kept = Object::share(self);
    connect(cursor, Object::share(connection));
    return 0;
  });
}

PyObject* execute_method(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("execute", count, 1, 2);
    python::check_text("execute", "argument 1", arguments[0]);
    Object kept = Object::share(self);
    execute(Cursor::of(self), Object::share(arguments[0]),
            Object::share_if_any(count == 2 ? arguments[1] : nullptr));
    return kept.release();
  });
}

PyObject* executemany_method(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("executemany", count, 2, 2);
    python::check_text("executemany", "argument 1", arguments[0]);
    Object kept = Object::share(self);
    executemany(Cursor::of(self), Object::share(arguments[0]), Object::share(arguments[1]));
    return kept.release();
  });
}

PyObject* executescript_method(PyObject* self, PyObject* script) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    Object kept = Object::share(self);
    executescript(Cursor::of(self), Object::share(script));
    return kept.release();
  });
}

PyObject* next_or_end(PyObject* self) {
  return translate_exceptions<PyObject*>(nullptr,
                                         [&] { return next_row(Cursor::of(self), 1).release(); });
}

PyObject* fetchone_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    Object row = next_row(Cursor::of(self), 1);
    return (row ? std::move(row) : python::none()).release();
  });
}

// As CPython converts to a C int: __index__ is asked, and what does not fit is refused.
int int_of(PyObject* number) {
  int overflow = 0;
  const long value =
      python::in_interpreter([&] { return PyLong_AsLongAndOverflow(number, &overflow); });
  if (value == -1 && PyErr_Occurred() != nullptr) throw python::PythonError{};
  if (overflow != 0 || value < INT_MIN || value > INT_MAX) {
    python::raise(PyExc_OverflowError, "Python int too large to convert to C int");
  }
  return static_cast<int>(value);
}

PyObject* fetchmany_method(PyObject* self, PyObject* positional, PyObject* keywords) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    static const char* names[] = {"size", nullptr};
    PyObject* given = nullptr;
    if (PyArg_ParseTupleAndKeywords(positional, keywords, "|O:fetchmany", const_cast<char**>(names),
                                    &given) == 0) {
      throw python::PythonError{};
    }
    const int size = given == nullptr ? Cursor::of(self).arraysize : int_of(given);
    // No size that can be reached means no bound.
    return fetch(Cursor::of(self), size > 0 ? static_cast<std::size_t>(size) : kAllRows).release();
  });
}

PyObject* fetchall_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(
      nullptr, [&] { return fetch(Cursor::of(self), kAllRows).release(); });
}

PyObject* close_method(PyObject* self, PyObject*) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    const Object kept = Object::share(self);
    Cursor& cursor = Cursor::of(self);
    check_not_locked(cursor);
    if (!cursor.connection) {
      python::raise(standard_sqlite3().programming_error, "Base Cursor.__init__ not called.");
    }
    check_thread(cursor.connected());
    check_open(cursor.connected());
    forget_rows(cursor);
    cursor.closed = true;
    throw_what_ended_a_wait();
    return python::none().release();
  });
}

PyObject* setinputsizes_method(PyObject*, PyObject*) { return Py_NewRef(Py_None); }

PyObject* setoutputsize_method(PyObject*, PyObject* const*, Py_ssize_t count) {
  return translate_exceptions<PyObject*>(nullptr, [&] {
    python::check_positional("setoutputsize", count, 1, 2);
    return python::none().release();
  });
}

int traverse(PyObject* self, visitproc visit, void* arg) {
  const Cursor& cursor = Cursor::of(self);
  Py_VISIT(Py_TYPE(self));
  Py_VISIT(cursor.connection.get());
  Py_VISIT(cursor.description.get());
  Py_VISIT(cursor.lastrowid.get());
  Py_VISIT(cursor.row_factory.get());
  return 0;
}

// The connection stays until the end: the statement must be given back to it.
int clear(PyObject* self) {
  Cursor::of(self).row_factory = Object();
  return 0;
}

void deallocate(PyObject* self) {
  PyObject_GC_UnTrack(self);
  PyObject_ClearWeakRefs(self);
  PyObject* const pending = PyErr_GetRaisedException();
  Cursor& cursor = Cursor::of(self);
  if (cursor.connection) forget_rows(cursor);
  // A signal's handler raised it while a statement's end waited for a lock.
  if (PyErr_Occurred() != nullptr) PyErr_WriteUnraisable(nullptr);
  python::free_instance<Cursor>(self);
  PyErr_SetRaisedException(pending);
}

PyMethodDef methods[] = {
    {"close", close_method, METH_NOARGS, PyDoc_STR("close($self, /)\n--\n\nClose the cursor.")},
    {"execute", python::method_entry(execute_method), METH_FASTCALL,
     PyDoc_STR("execute($self, sql, parameters=(), /)\n--\n\nRun one SQL statement.")},
    {"executemany", python::method_entry(executemany_method), METH_FASTCALL,
     PyDoc_STR("executemany($self, sql, seq_of_parameters, /)\n--\n\n"
               "Run one INSERT, UPDATE, DELETE or REPLACE for each item of seq_of_parameters.")},
    {"executescript", executescript_method, METH_O,
     PyDoc_STR("executescript($self, sql_script, /)\n--\n\nRun all SQL statements of a text, "
               "committing first.")},
    {"fetchall", fetchall_method, METH_NOARGS,
     PyDoc_STR("fetchall($self, /)\n--\n\nReturn all rows left.")},
    {"fetchmany", python::method_entry(fetchmany_method), METH_VARARGS | METH_KEYWORDS,
     PyDoc_STR(
         "fetchmany($self, /, size=1)\n--\n\nReturn up to size rows; arraysize if not given.")},
    {"fetchone", fetchone_method, METH_NOARGS,
     PyDoc_STR("fetchone($self, /)\n--\n\nReturn the next row or None.")},
    {"setinputsizes", setinputsizes_method, METH_O,
     PyDoc_STR("setinputsizes($self, sizes, /)\n--\n\nDo nothing.")},
    {"setoutputsize", python::method_entry(setoutputsize_method), METH_FASTCALL,
     PyDoc_STR("setoutputsize($self, size, column=None, /)\n--\n\nDo nothing.")},
    {nullptr, nullptr, 0, nullptr},
};

PyMemberDef members[] = {
    {"connection", python::compat::kObjectOrNone, offsetof(CursorFields, connection), Py_READONLY,
     PyDoc_STR("The cursor's connection.")},
    {"description", python::compat::kObjectOrNone, offsetof(CursorFields, description), Py_READONLY,
     PyDoc_STR("One 7-tuple a column, its name first; None for a statement without rows.")},
    {"arraysize", Py_T_INT, offsetof(CursorFields, arraysize), 0,
     PyDoc_STR("How many rows fetchmany() returns.")},
    {"lastrowid", python::compat::kObjectOrNone, offsetof(CursorFields, lastrowid), Py_READONLY,
     PyDoc_STR("The id of the row inserted last; None before the first statement.")},
    {"rowcount", Py_T_LONG, offsetof(CursorFields, rowcount), Py_READONLY,
     PyDoc_STR("How many rows the statement changed; -1 for other statements.")},
    {"row_factory", python::compat::kObjectOrNone, offsetof(CursorFields, row_factory), 0,
     PyDoc_STR("What makes a row of (cursor, tuple); None for plain tuples.")},
    {nullptr, 0, 0, 0, nullptr},
};

PyType_Slot slots[] = {
    {Py_tp_doc,
     const_cast<char*>("Runs statements on the store's database file and hands their rows out.")},
    {Py_tp_new, python::slot_entry(new_cursor)},
    {Py_tp_init, python::slot_entry(initialise)},
    {Py_tp_dealloc, python::slot_entry(deallocate)},
    {Py_tp_traverse, python::slot_entry(traverse)},
    {Py_tp_clear, python::slot_entry(clear)},
    {Py_tp_iter, python::slot_entry(PyObject_SelfIter)},
    {Py_tp_iternext, python::slot_entry(next_or_end)},
    {Py_tp_methods, methods},
    {Py_tp_members, members},
    {0, nullptr},
};

PyType_Spec spec = {
    .name = "zentrope_anpr.zentrope_anpr_server_db.Cursor",
    .basicsize = sizeof(Cursor),
    .itemsize = 0,
    .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC |
             Py_TPFLAGS_IMMUTABLETYPE | Py_TPFLAGS_MANAGED_WEAKREF,
    .slots = slots,
};

}  // namespace

PyTypeObject* cursor_type() noexcept { return type; }

bool is_cursor(PyObject* object) noexcept { return PyObject_TypeCheck(object, type); }

void make_cursor_type() {
  if (type != nullptr) return;
  python::keep(type, Object::take(PyType_FromSpec(&spec)));
}

}  // namespace dbapi
