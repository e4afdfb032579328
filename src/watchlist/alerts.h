// Alerts: what was recorded of hits on the watchlist.
#pragma once

#include <Python.h>

#include "python/arguments.h"
#include "python/object.h"

namespace watchlist {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object add_alert(PyObject* self, const python::Arguments& given);
python::Object get_alerts(PyObject* self, const python::Arguments& given);
python::Object get_alert_count(PyObject* self, const python::Arguments& given);
python::Object mark_alerts_read(PyObject* self, const python::Arguments& given);
python::Object get_alerts_for_detections(PyObject* self, const python::Arguments& given);

}  // namespace watchlist
