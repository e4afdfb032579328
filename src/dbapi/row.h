// One row of a result: a tuple that can also be read by column
// name. To Python code it behaves as a sqlite3.Row does.
#pragma once

#include <Python.h>

#include <optional>

#include "dbapi/row_shape.h"
#include "python/object.h"
#include "sqlite/row_batch.h"

namespace dbapi {

// A row that came from the engine stands on the batch that it was copied into, and makes its values
// when they are asked for: all of them, for who reads it as a tuple; it leaves the batch then, so a
// row that is kept and used holds no more than its own values.
struct Row {
  PyObject_HEAD
  // Of all rows of the result; null for a row made by hand from a cursor without columns.
  python::Object shape;
  python::Object made_values;  // a tuple, or null while the row stands on a batch
  sqlite::SharedBatch batch;
  std::size_t index = 0;  // in the batch

  // The tuple of all values.
  PyObject* values();

  // One value, alone; the column exists.
  python::Object value(Py_ssize_t column);
  // The same value without making it, for as long as the row
  // stands on its batch; its texts are ASCII. Nothing afterwards.
  std::optional<sqlite::Value> stored(Py_ssize_t column) const noexcept;

  Py_ssize_t length() const noexcept {
    return made_values ? PyTuple_GET_SIZE(made_values.get())
                       : static_cast<Py_ssize_t>(batch->columns());
  }

  static Row& of(PyObject* self) noexcept { return *reinterpret_cast<Row*>(self); }
};

// Makes the type; called once, at import.
void make_row_type();

// A row of values that came from the engine, and one that is still to make them: its texts are
// ASCII, since making them must not fail.
python::Object make_row(const python::Object& shape, python::Object values);
python::Object make_row(const python::Object& shape, const sqlite::SharedBatch& batch,
                        std::size_t index);

// The shape of one of our own rows (subclasses left out) where each name stands for one column:
// what dict(row) holds can be read from it by position. Null for any other row.
RowShape* columns_of(PyObject* row) noexcept;

// The Python value of a stored one, whose text is ASCII, for that column of the result.
python::Object python_value(RowShape& shape, std::size_t column, const sqlite::Value& stored);

}  // namespace dbapi
