#include "detections/recording.h"

#include "python/calls.h"
#include "python/values.h"
#include "store/clock.h"
#include "store/json_by_name.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;
using store::ScopeConnection;

constinit python::Name kInsertDetection{
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, "
    "processing_time, detector_time, ocr_time, "
    "image_path, thumbnail_path, success, detection_confidences) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"};

constinit python::Name kSetImagePaths{
    "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?"};

constinit python::Name kSetMmcData{"UPDATE detections SET mmc_data = ? WHERE id = ?"};

// SQL NULL for a list that is empty or not given, unlike the other lists.
Object json_or_null(PyObject* list) {
  return python::truth(list) ? store::json_dumps(list) : python::none();
}

}  // namespace

python::Object add_detection(PyObject* self, PyObject* plates, PyObject* confidences,
                             PyObject* bboxes, PyObject* processing_time, PyObject* detector_time,
                             PyObject* ocr_time, PyObject* image_path, PyObject* thumbnail_path,
                             PyObject* success, PyObject* detection_confidences) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object timestamp = store::local_timestamp();
    const Object num_plates = python::integer(python::length(plates));
    const Object plates_text = store::json_dumps(plates);
    const Object confidences_text = store::json_dumps(confidences);
    const Object bboxes_text = store::json_dumps(bboxes);
    const Object succeeded = python::integer(python::truth(success) ? 1 : 0);
    const Object detection_confidences_text = json_or_null(detection_confidences);
    const Object cursor = connection.execute(
        kInsertDetection,
        python::tuple(timestamp, num_plates, plates_text, confidences_text, bboxes_text,
                      processing_time, detector_time, ocr_time, image_path, thumbnail_path,
                      succeeded, detection_confidences_text));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

python::Object update_image_paths(PyObject* self, PyObject* detection_id, PyObject* image_path,
                                  PyObject* thumbnail_path) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    connection.execute(kSetImagePaths, python::tuple(image_path, thumbnail_path, detection_id));
    connection.commit();
    return python::none();
  });
}

python::Object update_mmc_data(PyObject* self, PyObject* detection_id, PyObject* mmc_data) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object mmc_data_text = store::json_dumps(mmc_data);
    connection.execute(kSetMmcData, python::tuple(mmc_data_text, detection_id));
    connection.commit();
    return python::none();
  });
}

}  // namespace detections
