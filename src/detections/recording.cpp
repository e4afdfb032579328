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

constexpr char kInsertDetection[] =
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, "
    "processing_time, detector_time, ocr_time, "
    "image_path, thumbnail_path, success, detection_confidences) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

constexpr char kSetImagePaths[] =
    "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?";

constexpr char kSetMmcData[] = "UPDATE detections SET mmc_data = ? WHERE id = ?";

// SQL NULL for a list that is empty or not given, unlike the other lists.
Object json_or_null(PyObject* list) {
  return python::truth(list) ? store::json_dumps(list) : python::none();
}

}  // namespace

python::Object add_detection(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object timestamp = store::local_timestamp();
    const Object num_plates = python::integer(python::length(given["plates"]));
    const Object plates = store::json_dumps(given["plates"]);
    const Object confidences = store::json_dumps(given["confidences"]);
    const Object bboxes = store::json_dumps(given["bboxes"]);
    const Object success = python::integer(python::truth(given["success"]) ? 1 : 0);
    const Object detection_confidences = json_or_null(given["detection_confidences"]);
    const Object cursor = connection.execute(
        kInsertDetection,
        python::tuple(timestamp, num_plates, plates, confidences, bboxes, given["processing_time"],
                      given["detector_time"], given["ocr_time"], given["image_path"],
                      given["thumbnail_path"], success, detection_confidences));
    connection.commit();
    return store::lastrowid(cursor);
  });
}

python::Object update_image_paths(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    connection.execute(kSetImagePaths, python::tuple(given["image_path"], given["thumbnail_path"],
                                                     given["detection_id"]));
    connection.commit();
    return python::none();
  });
}

python::Object update_mmc_data(PyObject* self, const python::Arguments& given) {
  return store::in_scope(self, [&](const ScopeConnection& connection) {
    const Object mmc_data = store::json_dumps(given["mmc_data"]);
    connection.execute(kSetMmcData, python::tuple(mmc_data, given["detection_id"]));
    connection.commit();
    return python::none();
  });
}

}  // namespace detections
