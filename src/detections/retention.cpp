#include "detections/retention.h"

#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/values.h"
#include "store/placeholders.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;
using store::ScopeConnection;

constinit python::Name kDeleteDetection{"DELETE FROM detections WHERE id = ?"};

constexpr char kDeleteDetections[] = "DELETE FROM detections WHERE id IN (";

constinit python::Name kDeleteAllButNewest{
    "DELETE FROM detections WHERE id NOT IN "
    "(SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)"};

// How many items iterating gives; a length is not asked for.
std::size_t count_items(PyObject* items) {
  const Object each = python::iterator(items);
  python::GilSlice::Items pace;
  std::size_t count = 0;
  while (python::next(each.get())) {
    ++count;
    pace.step();
  }
  return count;
}

}  // namespace

// True if there was one.
python::Object delete_detection(PyObject* self, PyObject* detection_id) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(kDeleteDetection, python::tuple(detection_id));
    connection.commit();
    return python::boolean(store::changed_rows(cursor));
  });
}

python::Object delete_detections(PyObject* self, PyObject* ids) {
  if (!python::truth(ids)) return python::integer(0);
  const std::string sql = kDeleteDetections + store::placeholders(count_items(ids)) + ")";
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(python::text(sql), Object::share(ids));
    connection.commit();
    return store::rowcount(cursor);
  });
}

python::Object cleanup_old(PyObject* self, PyObject* max_entries) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    connection.execute(kDeleteAllButNewest, python::tuple(max_entries));
    connection.commit();
    return python::none();
  });
}

}  // namespace detections
