#include "detections/retention.h"

#include "python/calls.h"
#include "python/lock_turn.h"
#include "python/values.h"
#include "store/placeholders.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;
using store::ScopeConnection;

constexpr char kDeleteDetection[] = "DELETE FROM detections WHERE id = ?";

constexpr char kDeleteDetections[] = "DELETE FROM detections WHERE id IN (";

constexpr char kDeleteAllButNewest[] =
    "DELETE FROM detections WHERE id NOT IN "
    "(SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)";

// How many items iterating gives; a length is not asked for.
std::size_t count_items(PyObject* items) {
  const Object each = python::iterator(items);
  python::LockTurn::Pace<64> pace;
  std::size_t count = 0;
  while (python::next(each.get())) {
    ++count;
    pace.step();
  }
  return count;
}

}  // namespace

// True if there was one.
python::Object delete_detection(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor =
        connection.execute(kDeleteDetection, python::tuple(given["detection_id"]));
    connection.commit();
    return python::boolean(store::changed_rows(cursor));
  });
}

python::Object delete_detections(PyObject* self, const python::Arguments& given) {
  PyObject* const ids = given["ids"];
  if (!python::truth(ids)) return python::integer(0);
  const std::string sql = kDeleteDetections + store::placeholders(count_items(ids)) + ")";
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object cursor = connection.execute(python::text(sql), Object::share(ids));
    connection.commit();
    return store::rowcount(cursor);
  });
}

python::Object cleanup_old(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    connection.execute(kDeleteAllButNewest, python::tuple(given["max_entries"]));
    connection.commit();
    return python::none();
  });
}

}  // namespace detections
