#include "watchlist/watchlist.h"

#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/plain_records.h"
#include "store/scope.h"
#include "watchlist/plate_matching.h"
#include "watchlist/watched_plates.h"

namespace watchlist {

namespace {

using python::Object;
using store::ScopeConnection;

constinit python::Name kSelectNewestFirst{"SELECT * FROM watchlist ORDER BY created_at DESC"};

constinit python::Name kInsertEntry{
    "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)"};

constinit python::Name kDeleteEntry{"DELETE FROM watchlist WHERE id = ?"};

constinit python::Name kSelectAll{"SELECT * FROM watchlist"};

constinit python::Name kUpper{"upper"};
constinit python::Name kStrip{"strip"};
constinit python::Name kDetectedPlate{"detected_plate"};
constinit python::Name kWatchlistPlate{"watchlist_plate"};
constinit python::Name kLabel{"label"};
constinit python::Name kWatchlistId{"watchlist_id"};
constinit python::Name kPlate{"plate"};
constinit python::Name kId{"id"};

// The KeyError that asking an entry's mapping for a missing column would raise.
[[noreturn]] void raise_missing(const python::Name& column) {
  PyErr_SetObject(PyExc_KeyError, column.get());
  throw python::PythonError{};
}

Object match(const Object& detected, WatchedPlates& watched, std::size_t index) {
  const Object plate = watched.plate(index);
  const Object label = watched.label(index);
  const Object id = watched.id(index);
  if (!id) raise_missing(kId);
  Object record = python::dict();
  python::set_item(record, kDetectedPlate, detected);
  python::set_item(record, kWatchlistPlate, plate);
  python::set_item(record, kLabel, label ? label : python::text(""));
  python::set_item(record, kWatchlistId, id);
  return record;
}

// Adds a match record for each entry that the detected plate matches. Each entry is normalised anew
// for each detected plate: no normalised form is kept.
void match_all(const Object& detected, WatchedPlates& watched, const Object& matches,
               python::GilSlice::Items& pace) {
  NormalisedPlate normalised;
  NormalisedPlate entry;
  normalised.assign(detected.get());
  pace.step();
  for (std::size_t index = 0; index < watched.size(); ++index) {
    if (!watched.read_plate(index, entry)) raise_missing(kPlate);
    if (normalised.matches(entry)) python::append(matches, match(detected, watched, index));
    pace.step();
  }
}

}  // namespace

python::Object get_watchlist(PyObject* self) {
  return store::in_scope(self, [](const ScopeConnection& connection) {
    return store::plain_records(store::fetchall(connection.execute(kSelectNewestFirst)));
  });
}

python::Object add_watchlist(PyObject* self, PyObject* plate, PyObject* label) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object upper = python::call_method(plate, kUpper);
    const Object stored_plate = python::call_method(upper.get(), kStrip);
    const Object stored_label = python::call_method(label, kStrip);
    const Object created_at = store::local_timestamp();
    const Object cursor =
        connection.execute(kInsertEntry, python::tuple(stored_plate, stored_label, created_at));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

// True if there was one. Its alerts stay: they hold the label, not the entry.
python::Object remove_watchlist(PyObject* self, PyObject* watchlist_id) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kDeleteEntry, python::tuple(watchlist_id));
    connection.commit();
    return python::boolean(store::changed_rows(cursor));
  });
}

python::Object check_watchlist(PyObject* self, PyObject* plates) {
  Object matches = python::list();
  if (!python::truth(plates)) return matches;
  WatchedPlates watched;
  // Matching may take long, so the connection is dropped before it begins.
  store::in_scope(self, [&](const ScopeConnection& connection) {
    watched = WatchedPlates(store::fetchall(connection.execute(kSelectAll)));
    return python::none();
  });
  const Object each = python::iterator(plates);
  python::GilSlice::Items pace;
  while (const Object detected = python::next(each.get()))
    match_all(detected, watched, matches, pace);
  watched.drop_all();
  return matches;
}

}  // namespace watchlist
