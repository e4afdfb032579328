// Reading detections back: the newest ones by page, and one by its id.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object get_history(PyObject* self, PyObject* limit, PyObject* offset, PyObject* date_from,
                           PyObject* date_to);
python::Object get_detection(PyObject* self, PyObject* detection_id);

}  // namespace detections
