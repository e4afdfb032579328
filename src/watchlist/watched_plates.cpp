#include "watchlist/watched_plates.h"

#include "dbapi/row.h"
#include "python/calls.h"
#include "python/gil_slice.h"
#include "store/plain_records.h"

namespace watchlist {

namespace {

using python::Object;

constinit python::Name kPlate{"plate"};
constinit python::Name kLabel{"label"};
constinit python::Name kId{"id"};

}  // namespace

WatchedPlates::WatchedPlates(const python::Object& rows) {
  python::GilSlice::Items pace;
  if (PyList_CheckExact(rows.get())) {
    entries_.reserve(static_cast<std::size_t>(PyList_GET_SIZE(rows.get())));
  }
  const Object each = python::iterator(rows.get());
  while (Object row = python::next(each.get())) {
    const bool own = dbapi::columns_of(row.get()) != nullptr;
    entries_.push_back(own ? std::move(row) : store::plain_record(row.get()));
    pace.step();
  }
}

void WatchedPlates::drop_all() {
  python::GilSlice::Items pace;
  while (!entries_.empty()) {
    entries_.pop_back();
    pace.step();
  }
}

python::Object WatchedPlates::plate(std::size_t index) {
  return value(index, &Columns::plate, kPlate.get());
}

python::Object WatchedPlates::label(std::size_t index) {
  return value(index, &Columns::label, kLabel.get());
}

python::Object WatchedPlates::id(std::size_t index) {
  return value(index, &Columns::id, kId.get());
}

bool WatchedPlates::read_plate(std::size_t index, NormalisedPlate& plate) {
  PyObject* const entry = entries_[index].get();
  if (find_columns(entry) && columns_.plate >= 0) {
    // Comparing a text takes no object of it. The plate read before may run Python code as it goes,
    // which may make the row leave its batch.
    const sqlite::SharedBatch held = dbapi::Row::of(entry).batch;
    const std::optional<sqlite::Value> stored = dbapi::Row::of(entry).stored(columns_.plate);
    if (stored && stored->type == SQLITE_TEXT) {
      plate.assign_ascii(stored->bytes);
      return true;
    }
  }
  const Object found = this->plate(index);
  if (found) plate.assign(found.get());
  return static_cast<bool>(found);
}

bool WatchedPlates::find_columns(PyObject* entry) {
  const dbapi::RowShape* const shape = dbapi::columns_of(entry);
  if (shape == nullptr) return false;
  if (shape != columns_.shape) {
    columns_ = {shape, shape->column_named(kPlate.get()), shape->column_named(kLabel.get()),
                shape->column_named(kId.get())};
  }
  return true;
}

python::Object WatchedPlates::value(std::size_t index, Py_ssize_t Columns::* column,
                                    PyObject* name) {
  PyObject* const entry = entries_[index].get();
  if (!find_columns(entry)) return python::item_if_any(entry, name);
  const Py_ssize_t position = columns_.*column;
  return position < 0 ? Object() : dbapi::Row::of(entry).value(position);
}

}  // namespace watchlist
