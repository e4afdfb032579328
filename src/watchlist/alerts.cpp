#include "watchlist/alerts.h"

#include "python/calls.h"
#include "python/lock_turn.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/placeholders.h"
#include "store/row_conversion.h"
#include "store/scope.h"

namespace watchlist {

namespace {

using python::Object;
using store::ScopeConnection;

constexpr char kInsertAlert[] =
    "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence) "
    "VALUES (?, ?, ?, ?, ?)";

constexpr char kSelectNewest[] = "SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?";

constexpr char kCountUnread[] = "SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0";
constexpr char kCountAll[] = "SELECT COUNT(*) as cnt FROM alerts";

constexpr char kMarkRead[] = "UPDATE alerts SET is_read = 1 WHERE is_read = 0";

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
  Object groups = Object::take(PyDict_New());
  const Object each = python::iterator(rows.get());
  while (const Object row = python::next(each.get())) {
    const Object alert = store::plain_record(row.get());
    const Object detection_id = python::item_if_any(alert.get(), kDetectionId.get());
    python::append(list_under(groups, detection_id ? detection_id.get() : Py_None), alert);
    python::LockTurn::offer();
  }
  return groups;
}

}  // namespace

python::Object add_alert(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object timestamp = store::local_timestamp();
    const Object cursor =
        connection.execute(kInsertAlert, python::tuple(timestamp, given["plate"], given["label"],
                                                       given["detection_id"], given["confidence"]));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

python::Object get_alerts(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kSelectNewest, python::tuple(given["limit"]));
    return store::plain_records(store::fetchall(cursor));
  });
}

python::Object get_alert_count(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const bool unread_only = python::truth(given["unread_only"]);
    const Object row = store::fetchone(connection.execute(unread_only ? kCountUnread : kCountAll));
    Object count = python::item(row.get(), kCnt.get());
    return python::truth(count.get()) ? count : python::integer(0);
  });
}

python::Object mark_alerts_read(PyObject* self, const python::Arguments&) {
  return store::in_scope(self, [](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kMarkRead);
    connection.commit();
    return store::rowcount(cursor);
  });
}

// Groups in the order in which their first alerts were added; a detection without alerts has none.
python::Object get_alerts_for_detections(PyObject* self, const python::Arguments& given) {
  PyObject* const detection_ids = given["detection_ids"];
  if (!python::truth(detection_ids)) return Object::take(PyDict_New());
  const auto count = static_cast<std::size_t>(python::length(detection_ids));
  const std::string sql = kSelectOfDetections + store::placeholders(count) + ")";
  store::Scope scope(self);
  const Object rows = scope.run([&](const ScopeConnection& connection) {
    return store::fetchall(connection.execute(python::text(sql), Object::share(detection_ids)));
  });
  return grouped_by_detection(rows);
}

}  // namespace watchlist
