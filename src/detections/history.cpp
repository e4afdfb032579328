#include "detections/history.h"

#include "detections/query.h"
#include "python/values.h"
#include "store/row_conversion.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;

constexpr char kSelectDetection[] = "SELECT * FROM detections WHERE id = ?";

}  // namespace

python::Object get_history(PyObject* self, const python::Arguments& given) {
  PageQuery query;
  query.require_dates(given["date_from"], given["date_to"]);
  query.page(given["limit"], given["offset"]);
  store::Scope scope(self);
  return fetch_records(scope, self, query);
}

// None if there is no such row.
python::Object get_detection(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const store::ScopeConnection& connection) {
    const Object row =
        store::fetchone(connection.execute(kSelectDetection, python::tuple(given["detection_id"])));
    return row.is(Py_None) ? python::none() : store::record(self, row.get());
  });
}

}  // namespace detections
