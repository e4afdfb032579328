#include "watchlist/watched_plate.h"

#include "python/calls.h"
#include "python/lock_turn.h"
#include "store/row.h"
#include "store/row_conversion.h"

namespace watchlist {

namespace {

using python::Object;

constinit python::Name kPlate{"plate"};
constinit python::Name kLabel{"label"};
constinit python::Name kId{"id"};

Object value_in_row(const store::RowShape& shape, PyObject* values, const python::Name& name) {
  const Py_ssize_t column = shape.column_named(name.get());
  return column < 0 ? Object() : Object::share(PyTuple_GET_ITEM(values, column));
}

Object value_in_dict(const Object& record, const python::Name& name) {
  return python::item_if_any(record.get(), name.get());
}

WatchedPlate watched_plate(PyObject* row) {
  if (const store::RowShape* const shape = store::columns_of(row)) {
    PyObject* const values = store::Row::of(row).values.get();
    return {value_in_row(*shape, values, kPlate), value_in_row(*shape, values, kLabel),
            value_in_row(*shape, values, kId)};
  }
  const Object record = store::plain_record(row);
  return {value_in_dict(record, kPlate), value_in_dict(record, kLabel), value_in_dict(record, kId)};
}

}  // namespace

std::vector<WatchedPlate> watched_plates(const python::Object& rows) {
  std::vector<WatchedPlate> plates;
  python::LockTurn::Pace<16> pace;
  const Object each = python::iterator(rows.get());
  while (const Object row = python::next(each.get())) {
    plates.push_back(watched_plate(row.get()));
    pace.step();
  }
  return plates;
}

}  // namespace watchlist
