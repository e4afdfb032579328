// What all rows of one result have in common: the names of their columns.
#pragma once

#include <Python.h>

#include <span>
#include <string_view>
#include <vector>

#include "python/object.h"
#include "sqlite/statement.h"

namespace dbapi {

// An object that a cursor and its rows share. Python code never sees it; it sees `description`.
struct RowShape {
  PyObject_HEAD
  python::Object description;  // a tuple of ((name, None, None, None, None, None, None), ...)
  python::Object names;        // a tuple of the columns' names, interned
  bool distinct = false;       // no two names are equal, ASCII case ignored
  std::vector<python::Object>
      recent;  // the text that was made last for each column, if it is short

  Py_ssize_t columns() const noexcept { return PyTuple_GET_SIZE(names.get()); }
  PyObject* name(Py_ssize_t column) const noexcept { return PyTuple_GET_ITEM(names.get(), column); }
  // The column with exactly this interned name; -1 if there is none.
  Py_ssize_t column_named(PyObject* interned) const noexcept;
  // The Python text of a column's ASCII characters. Labels, paths and vehicles come in runs, and a
  // text costs more to make than to compare: it is the one made before if that is equal.
  python::Object text(std::size_t column, std::string_view ascii);
  // A new dict with every name, in column order. Takes over the values, one for each column.
  python::Object mapping(std::span<python::Object> values);

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
