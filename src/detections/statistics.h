// Totals over all detections, and counts by the hour.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object get_statistics(PyObject* self);
python::Object get_hourly_stats(PyObject* self, PyObject* hours);

}  // namespace detections
