// Deleting detections, and keeping only the newest. Their alerts and image files stay.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object delete_detection(PyObject* self, PyObject* detection_id);
python::Object delete_detections(PyObject* self, PyObject* ids);
python::Object cleanup_old(PyObject* self, PyObject* max_entries);

}  // namespace detections
