// Searching detections by plate text, dates, confidence and vehicle attributes.
#pragma once

#include <Python.h>

#include "python/arguments.h"
#include "python/object.h"

namespace detections {

// The operation of the class with this name; binding/ says what it takes and gives.
python::Object search_plates(PyObject* self, const python::Arguments& given);

}  // namespace detections
