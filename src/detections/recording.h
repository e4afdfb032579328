// Recording what was recognised in an image, and what becomes known of it later.
#pragma once

#include <Python.h>

#include "python/arguments.h"
#include "python/object.h"

namespace detections {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object add_detection(PyObject* self, const python::Arguments& given);
python::Object update_image_paths(PyObject* self, const python::Arguments& given);
python::Object update_mmc_data(PyObject* self, const python::Arguments& given);

}  // namespace detections
