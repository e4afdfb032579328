// What all rows of one result have in common: the names of their columns.
#pragma once

#include <Python.h>

#include "python/object.h"
#include "sqlite/statement.h"

namespace dbapi {

// An object that a cursor and its rows share. Python code never sees it; it sees `description`.
struct RowShape {
  PyObject_HEAD
  python::Object description;  // a tuple of ((name, None, None, None, None, None, None), ...)
  python::Object names;        // a tuple of the columns' names, interned
  python::Object blank;        // a dict from each name to None, made when the first row asks for it
  bool distinct = false;       // no two names are equal, ASCII case ignored

  Py_ssize_t columns() const noexcept { return PyTuple_GET_SIZE(names.get()); }
  PyObject* name(Py_ssize_t column) const noexcept { return PyTuple_GET_ITEM(names.get(), column); }
  // The column with exactly this interned name; -1 if there is none.
  Py_ssize_t column_named(PyObject* interned) const noexcept;
  // A new dict with every name in column order, each to None.
  python::Object blank_mapping();

  static RowShape& of(PyObject* self) noexcept { return *reinterpret_cast<RowShape*>(self); }
};

// Makes the type; called once, at import.
void make_row_shape_type();

// The shape of the rows that a statement gives.
python::Object shape_of_rows(const sqlite::Statement& statement);

// The same from a description; nothing for None or null, which a cursor without columns has.
python::Object shape_described(PyObject* description);

// Whether two names are one to a row: equal, or equal but for the case of ASCII letters.
bool same_column(PyObject* one, PyObject* other);

}  // namespace dbapi
