#include "watchlist/watchlist.h"

#include "python/calls.h"
#include "python/lock_turn.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/row_conversion.h"
#include "store/scope.h"
#include "watchlist/plate_matching.h"
#include "watchlist/watched_plates.h"

namespace watchlist {

namespace {

using python::Object;
using store::ScopeConnection;

constexpr char kSelectNewestFirst[] = "SELECT * FROM watchlist ORDER BY created_at DESC";

constexpr char kInsertEntry[] = "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)";

constexpr char kDeleteEntry[] = "DELETE FROM watchlist WHERE id = ?";

constexpr char kSelectAll[] = "SELECT * FROM watchlist";

constinit python::Name kUpper{"upper"};
constinit python::Name kStrip{"strip"};
constinit python::Name kPlate{"plate"};
constinit python::Name kId{"id"};

// The KeyError that asking an entry's mapping for a missing column would raise.
void check_present(const Object& value, const python::Name& column) {
  if (value) return;
  PyErr_SetObject(PyExc_KeyError, column.get());
  throw python::PythonError{};
}

void set(const Object& mapping, const char* key, const Object& value) {
  python::check(PyDict_SetItemString(mapping.get(), key, value.get()));
}

Object match(const Object& detected, const Object& plate, WatchedPlates& watched,
             std::size_t index) {
  const Object label = watched.label(index);
  const Object id = watched.id(index);
  check_present(id, kId);
  Object record = Object::take(PyDict_New());
  set(record, "detected_plate", detected);
  set(record, "watchlist_plate", plate);
  set(record, "label", label ? label : python::text(""));
  set(record, "watchlist_id", id);
  return record;
}

// Comparing two plates takes some tens of nanoseconds.
using MatchingPace = python::LockTurn::Pace<64>;

// Adds a match record for each entry that the detected plate matches. Each entry is normalised anew
// for each detected plate: no normalised form is kept.
void match_all(const Object& detected, WatchedPlates& watched, const Object& matches,
               MatchingPace& pace) {
  NormalisedPlate normalised;
  NormalisedPlate entry;
  normalised.assign(detected.get());
  pace.step();
  for (std::size_t index = 0; index < watched.size(); ++index) {
    const Object plate = watched.plate(index);
    check_present(plate, kPlate);
    entry.assign(plate.get());
    if (normalised.matches(entry)) python::append(matches, match(detected, plate, watched, index));
    pace.step();
  }
}

}  // namespace

python::Object get_watchlist(PyObject* self, const python::Arguments&) {
  return store::in_scope(self, [](const ScopeConnection& connection) {
    return store::plain_records(store::fetchall(connection.execute(kSelectNewestFirst)));
  });
}

python::Object add_watchlist(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object upper = python::call_method(given["plate"], kUpper);
    const Object plate = python::call_method(upper.get(), kStrip);
    const Object label = python::call_method(given["label"], kStrip);
    const Object created_at = store::local_timestamp();
    const Object cursor = connection.execute(kInsertEntry, python::tuple(plate, label, created_at));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

// True if there was one. Its alerts stay: they hold the label, not the entry.
python::Object remove_watchlist(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kDeleteEntry, python::tuple(given["watchlist_id"]));
    connection.commit();
    return python::boolean(store::changed_rows(cursor));
  });
}

python::Object check_watchlist(PyObject* self, const python::Arguments& given) {
  PyObject* const plates = given["plates"];
  Object matches = python::list();
  if (!python::truth(plates)) return matches;
  WatchedPlates watched;
  // Matching may take long, so the connection is dropped before it begins.
  store::in_scope(self, [&](const ScopeConnection& connection) {
    watched = WatchedPlates(store::fetchall(connection.execute(kSelectAll)));
    return python::none();
  });
  const Object each = python::iterator(plates);
  MatchingPace pace;
  while (const Object detected = python::next(each.get()))
    match_all(detected, watched, matches, pace);
  watched.drop_all();
  return matches;
}

}  // namespace watchlist
