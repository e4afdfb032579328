#include "binding/method_table.h"

#include "binding/docstrings.h"
#include "detections/history.h"
#include "detections/recording.h"
#include "store/anpr_database.h"
#include "store/row_conversion.h"
#include "store/schema.h"

namespace binding {

namespace {

constexpr Default kNone{Default::Kind::kNone};
constexpr Default kTrue{Default::Kind::kTrue};
constexpr Default integer(long value) { return {Default::Kind::kInteger, value}; }

constexpr Parameter kSelf{"self"};

constexpr Parameter kOnlySelf[] = {kSelf};

constexpr Parameter kInit[] = {kSelf, {"db_path", "str"}};

constexpr Parameter kAddDetection[] = {
    kSelf,
    {"plates", "List[str]"},
    {"confidences", "List[float]"},
    {"bboxes", "List[list]"},
    {"processing_time", "float"},
    {"detector_time", "float"},
    {"ocr_time", "float"},
    {"image_path", "Optional[str]", kNone},
    {"thumbnail_path", "Optional[str]", kNone},
    {"success", "bool", kTrue},
    {"detection_confidences", "Optional[List[float]]", kNone},
};

constexpr Parameter kGetHistory[] = {
    kSelf,
    {"limit", "int", integer(100)},
    {"offset", "int", integer(0)},
    {"date_from", "str", kNone},
    {"date_to", "str", kNone},
};

constexpr Parameter kGetDetection[] = {kSelf, {"detection_id", "int"}};

constexpr Parameter kUpdateImagePaths[] = {
    kSelf, {"detection_id", "int"}, {"image_path", "str"}, {"thumbnail_path", "str"}};

constexpr Parameter kUpdateMmcData[] = {kSelf, {"detection_id", "int"}, {"mmc_data", "dict"}};

constexpr Parameter kRowToDict[] = {{"row"}};

constexpr Method kMethods[] = {
    {"__init__", kInit, nullptr, store::init, kInitDoc},
    {"_get_conn", kOnlySelf, nullptr, store::get_conn, kGetConnDoc},
    {"_init_schema", kOnlySelf, nullptr, store::init_schema, kInitSchemaDoc},
    {"add_detection", kAddDetection, "int", detections::add_detection, kAddDetectionDoc},
    {"get_history", kGetHistory, "List[Dict]", detections::get_history, kGetHistoryDoc},
    {"get_detection", kGetDetection, "Optional[Dict]", detections::get_detection, kGetDetectionDoc},
    {"update_image_paths", kUpdateImagePaths, nullptr, detections::update_image_paths,
     kUpdateImagePathsDoc},
    {"update_mmc_data", kUpdateMmcData, nullptr, detections::update_mmc_data, kUpdateMmcDataDoc},
    {"_row_to_dict", kRowToDict, "Dict", store::row_to_dict, kRowToDictDoc, /*is_static=*/true},
};

}  // namespace

std::span<const Method> method_table() noexcept { return kMethods; }

}  // namespace binding
