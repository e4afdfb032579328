#include "detections/statistics.h"

#include "python/builtins.h"
#include "python/calls.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/plain_records.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;
using store::ScopeConnection;

constinit python::Name kSelectTotals{
    "SELECT COUNT(*) as total, "
    "SUM(CASE WHEN success = 1 AND num_plates > 0 THEN 1 ELSE 0 END) as successful, "
    "SUM(CASE WHEN success = 0 OR num_plates = 0 THEN 1 ELSE 0 END) as failed, "
    "SUM(num_plates) as total_plates, "
    "AVG(processing_time) as avg_time FROM detections"};

constinit python::Name kSelectHours{
    "SELECT strftime('%Y-%m-%dT%H:00:00', timestamp) as hour, "
    "COUNT(*) as count, SUM(num_plates) as plates "
    "FROM detections WHERE timestamp >= ? GROUP BY hour ORDER BY hour"};

constexpr int kAverageDigits = 4;

// What stands in the row under that name; 0 for what is false
// as a truth value, such as the NULL of an empty table.
Object value_or_zero(const Object& row, const char* name) {
  Object value = python::item(row.get(), python::text(name).get());
  return python::truth(value.get()) ? value : python::integer(0);
}

Object rounded(const Object& value) {
  return python::call(python::builtins().round, value, python::integer(kAverageDigits));
}

}  // namespace

python::Object get_statistics(PyObject* self) {
  return store::in_scope(self, [](const ScopeConnection& connection) {
    const Object row = store::fetchone(connection.execute(kSelectTotals));
    Object totals = python::dict();
    python::set_item(totals, "total_detections", value_or_zero(row, "total"));
    python::set_item(totals, "successful_detections", value_or_zero(row, "successful"));
    python::set_item(totals, "failed_detections", value_or_zero(row, "failed"));
    python::set_item(totals, "total_plates_found", value_or_zero(row, "total_plates"));
    python::set_item(totals, "avg_processing_sec", rounded(value_or_zero(row, "avg_time")));
    return totals;
  });
}

python::Object get_hourly_stats(PyObject* self, PyObject* hours) {
  const Object from = store::local_timestamp_hours_ago(hours);
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    return store::plain_records(
        store::fetchall(connection.execute(kSelectHours, python::tuple(from))));
  });
}

}  // namespace detections
