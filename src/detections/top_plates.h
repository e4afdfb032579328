// The plates seen most often among the latest detections.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operation of the class with this name; binding/ says what it takes and gives.
python::Object get_top_plates(PyObject* self, PyObject* limit);

}  // namespace detections
