// Recording what was recognised in an image, and what becomes known of it later.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object add_detection(PyObject* self, PyObject* plates, PyObject* confidences,
                             PyObject* bboxes, PyObject* processing_time, PyObject* detector_time,
                             PyObject* ocr_time, PyObject* image_path, PyObject* thumbnail_path,
                             PyObject* success, PyObject* detection_confidences);
python::Object update_image_paths(PyObject* self, PyObject* detection_id, PyObject* image_path,
                                  PyObject* thumbnail_path);
python::Object update_mmc_data(PyObject* self, PyObject* detection_id, PyObject* mmc_data);

}  // namespace detections
