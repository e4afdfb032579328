// The watchlist as matching reads it.
#pragma once

#include <Python.h>

#include <vector>

#include "dbapi/row_shape.h"
#include "python/object.h"
#include "watchlist/plate_matching.h"

namespace watchlist {

// The rows of the watchlist, each as dict(row) would have it:
// asked for a column that a row does not have, it gives nothing.
class WatchedPlates {
 public:
  WatchedPlates() = default;
  explicit WatchedPlates(const python::Object& rows);

  std::size_t size() const noexcept { return entries_.size(); }

  // Gives a plate to compare; false if the row has none.
  bool read_plate(std::size_t index, NormalisedPlate& plate);

  python::Object plate(std::size_t index);
  python::Object label(std::size_t index);
  python::Object id(std::size_t index);

  // Drops the rows, which takes long for many, with checkpoints in between.
  void drop_all();

 private:
  // Where our own rows have the three columns; -1 where they have none.
  struct Columns {
    const dbapi::RowShape* shape = nullptr;
    Py_ssize_t plate = -1;
    Py_ssize_t label = -1;
    Py_ssize_t id = -1;
  };

  // Looks where the row has its columns; false if it is not one of our own.
  bool find_columns(PyObject* entry);
  python::Object value(std::size_t index, Py_ssize_t Columns::* column, PyObject* name);

  std::vector<python::Object> entries_;  // our own rows as they are, dicts of all others
  Columns columns_;  // of the row that was read last, as of all rows of one result
};

}  // namespace watchlist
