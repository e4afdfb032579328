// One row of a result: a tuple that can also be read by column
// name. To Python code it behaves as a sqlite3.Row does.
#pragma once

#include <Python.h>

#include "dbapi/row_shape.h"
#include "python/object.h"

namespace dbapi {

struct Row {
  PyObject_HEAD
  // Of all rows of the result; null for a row made by hand from a cursor without columns.
  python::Object shape;
  python::Object values;  // a tuple

  static Row& of(PyObject* self) noexcept { return *reinterpret_cast<Row*>(self); }
};

// Makes the type; called once, at import.
void make_row_type();

// A row of values that came from the engine.
python::Object make_row(const python::Object& shape, python::Object values);

// The shape of one of our own rows (subclasses left out) where each name stands for one column:
// what dict(row) holds can be read from `values` by position. Null for any other row.
RowShape* columns_of(PyObject* row) noexcept;

}  // namespace dbapi
