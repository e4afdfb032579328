// Searching detections by plate text, dates, confidence and vehicle attributes.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operation of the class with this name; binding/ says what it takes and gives.
python::Object search_plates(PyObject* self, PyObject* query, PyObject* date_from,
                             PyObject* date_to, PyObject* min_confidence, PyObject* mmc_make,
                             PyObject* mmc_model, PyObject* mmc_color, PyObject* mmc_type,
                             PyObject* mmc_nation, PyObject* mmc_side, PyObject* limit,
                             PyObject* offset);

}  // namespace detections
