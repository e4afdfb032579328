// Alerts: what was recorded of hits on the watchlist.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace watchlist {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object add_alert(PyObject* self, PyObject* plate, PyObject* label, PyObject* detection_id,
                         PyObject* confidence);
python::Object get_alerts(PyObject* self, PyObject* limit);
python::Object get_alert_count(PyObject* self, PyObject* unread_only);
python::Object mark_alerts_read(PyObject* self);
python::Object get_alerts_for_detections(PyObject* self, PyObject* detection_ids);

}  // namespace watchlist
