#include "detections/history.h"

#include "detections/query.h"
#include "detections/record.h"
#include "python/values.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;

constinit python::Name kSelectDetection{"SELECT * FROM detections WHERE id = ?"};

}  // namespace

python::Object get_history(PyObject* self, PyObject* limit, PyObject* offset, PyObject* date_from,
                           PyObject* date_to) {
  PageQuery query;
  query.require_dates(date_from, date_to);
  query.end(limit, offset);
  store::Scope scope(self);
  return fetch_records(scope, self, query);
}

// None if there is no such row.
python::Object get_detection(PyObject* self, PyObject* detection_id) {
  return store::in_scope(self, [&](const store::ScopeConnection& connection) {
    const Object row =
        store::fetchone(connection.execute(kSelectDetection, python::tuple(detection_id)));
    return row.is(Py_None) ? python::none() : record(self, row.get());
  });
}

}  // namespace detections
