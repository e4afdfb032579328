#include "watchlist/alerts.h"

#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/placeholders.h"
#include "store/plain_records.h"
#include "store/scope.h"

namespace watchlist {

namespace {

using python::Object;
using store::ScopeConnection;

constinit python::Name kInsertAlert{
    "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence) "
    "VALUES (?, ?, ?, ?, ?)"};

constinit python::Name kSelectNewest{"SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?"};

constinit python::Name kCountUnread{"SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0"};
constinit python::Name kCountAll{"SELECT COUNT(*) as cnt FROM alerts"};

constinit python::Name kMarkRead{"UPDATE alerts SET is_read = 1 WHERE is_read = 0"};

constexpr char kSelectOfDetections[] = "SELECT * FROM alerts WHERE detection_id IN (";

constinit python::Name kCnt{"cnt"};
constinit python::Name kDetectionId{"detection_id"};

// The list under `key`, a new empty one if there is none yet.
Object list_under(const Object& mapping, PyObject* key) {
  const Object fresh = python::list();
  return Object::share(
      python::in_interpreter([&] { return PyDict_SetDefault(mapping.get(), key, fresh.get()); }));
}

Object grouped_by_detection(const Object& rows) {
  Object groups = python::dict();
  python::GilSlice::LongSteps pace;
  const Object each = python::iterator(rows.get());
  while (const Object row = python::next(each.get())) {
    const Object alert = store::plain_record(row.get());
    const Object detection_id = python::item_if_any(alert.get(), kDetectionId.get());
    python::append(list_under(groups, detection_id ? detection_id.get() : Py_None), alert);
    pace.step();
  }
  return groups;
}

}  // namespace

python::Object add_alert(PyObject* self, PyObject* plate, PyObject* label, PyObject* detection_id,
                         PyObject* confidence) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object timestamp = store::local_timestamp();
    const Object cursor = connection.execute(
        kInsertAlert, python::tuple(timestamp, plate, label, detection_id, confidence));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

python::Object get_alerts(PyObject* self, PyObject* limit) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kSelectNewest, python::tuple(limit));
    return store::plain_records(store::fetchall(cursor));
  });
}

python::Object get_alert_count(PyObject* self, PyObject* unread_only) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object row =
        store::fetchone(connection.execute(python::truth(unread_only) ? kCountUnread : kCountAll));
    Object count = python::item(row.get(), kCnt.get());
    return python::truth(count.get()) ? count : python::integer(0);
  });
}

python::Object mark_alerts_read(PyObject* self) {
  return store::in_scope(self, [](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kMarkRead);
    connection.commit();
    return store::rowcount(cursor);
  });
}

// Groups in the order in which their first alerts were added; a detection without alerts has none.
python::Object get_alerts_for_detections(PyObject* self, PyObject* detection_ids) {
  if (!python::truth(detection_ids)) return python::dict();
  const auto count = static_cast<std::size_t>(python::length(detection_ids));
  const std::string sql = kSelectOfDetections + store::placeholders(count) + ")";
  store::Scope scope(self);
  const Object rows = scope.run([&](const ScopeConnection& connection) {
    return store::fetchall(connection.execute(python::text(sql), Object::share(detection_ids)));
  });
  return grouped_by_detection(rows);
}

}  // namespace watchlist
