#include "binding/method_table.h"

#include "binding/docstrings.h"
#include "detections/history.h"
#include "detections/recording.h"
#include "detections/retention.h"
#include "detections/search.h"
#include "detections/statistics.h"
#include "detections/top_plates.h"
#include "store/anpr_database.h"
#include "store/row_conversion.h"
#include "store/schema.h"
#include "watchlist/alerts.h"
#include "watchlist/watchlist.h"

namespace binding {

namespace {

constexpr Default kNone{Default::Kind::kNone};
constexpr Default kEmptyText{Default::Kind::kEmptyText};
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

constexpr Parameter kDetectionId[] = {kSelf, {"detection_id", "int"}};

constexpr Parameter kUpdateImagePaths[] = {
    kSelf, {"detection_id", "int"}, {"image_path", "str"}, {"thumbnail_path", "str"}};

constexpr Parameter kUpdateMmcData[] = {kSelf, {"detection_id", "int"}, {"mmc_data", "dict"}};

constexpr Parameter kDeleteDetections[] = {kSelf, {"ids", "list"}};

constexpr Parameter kCleanupOld[] = {kSelf, {"max_entries", "int", integer(1000)}};

constexpr Parameter kSearchPlates[] = {
    kSelf,
    {"query", "str", kEmptyText},
    {"date_from", "str", kNone},
    {"date_to", "str", kNone},
    {"min_confidence", "float", integer(0)},
    {"mmc_make", "str", kEmptyText},
    {"mmc_model", "str", kEmptyText},
    {"mmc_color", "str", kEmptyText},
    {"mmc_type", "str", kEmptyText},
    {"mmc_nation", "str", kEmptyText},
    {"mmc_side", "str", kEmptyText},
    {"limit", "int", integer(100)},
    {"offset", "int", integer(0)},
};

constexpr Parameter kGetHourlyStats[] = {kSelf, {"hours", "int", integer(24)}};

constexpr Parameter kGetTopPlates[] = {kSelf, {"limit", "int", integer(5)}};

constexpr Parameter kAddWatchlist[] = {kSelf, {"plate", "str"}, {"label", "str", kEmptyText}};

constexpr Parameter kRemoveWatchlist[] = {kSelf, {"watchlist_id", "int"}};

constexpr Parameter kCheckWatchlist[] = {kSelf, {"plates", "List[str]"}};

constexpr Parameter kAddAlert[] = {
    kSelf, {"plate", "str"}, {"label", "str"}, {"detection_id", "int"}, {"confidence", "float"}};

constexpr Parameter kGetAlerts[] = {kSelf, {"limit", "int", integer(50)}};

constexpr Parameter kGetAlertCount[] = {kSelf, {"unread_only", "bool", kTrue}};

constexpr Parameter kGetAlertsForDetections[] = {kSelf, {"detection_ids", "List[int]"}};

constexpr Parameter kRowToDict[] = {{"row"}};

constexpr Method kMethods[] = {
    {"__init__", kInit, nullptr, store::init, kInitDoc},
    {"_get_conn", kOnlySelf, nullptr, store::get_conn, kGetConnDoc},
    {"_init_schema", kOnlySelf, nullptr, store::init_schema, kInitSchemaDoc},
    {"add_detection", kAddDetection, "int", detections::add_detection, kAddDetectionDoc},
    {"get_history", kGetHistory, "List[Dict]", detections::get_history, kGetHistoryDoc},
    {"get_detection", kDetectionId, "Optional[Dict]", detections::get_detection, kGetDetectionDoc},
    {"delete_detection", kDetectionId, "bool", detections::delete_detection, kDeleteDetectionDoc},
    {"delete_detections", kDeleteDetections, "int", detections::delete_detections,
     kDeleteDetectionsDoc},
    {"get_statistics", kOnlySelf, "Dict", detections::get_statistics, kGetStatisticsDoc},
    {"update_image_paths", kUpdateImagePaths, nullptr, detections::update_image_paths,
     kUpdateImagePathsDoc},
    {"update_mmc_data", kUpdateMmcData, nullptr, detections::update_mmc_data, kUpdateMmcDataDoc},
    {"cleanup_old", kCleanupOld, nullptr, detections::cleanup_old, kCleanupOldDoc},
    {"search_plates", kSearchPlates, "List[Dict]", detections::search_plates, kSearchPlatesDoc},
    {"get_hourly_stats", kGetHourlyStats, "List[Dict]", detections::get_hourly_stats,
     kGetHourlyStatsDoc},
    {"get_top_plates", kGetTopPlates, "List[Dict]", detections::get_top_plates, kGetTopPlatesDoc},
    {"get_watchlist", kOnlySelf, "List[Dict]", watchlist::get_watchlist, kGetWatchlistDoc},
    {"add_watchlist", kAddWatchlist, "int", watchlist::add_watchlist, kAddWatchlistDoc},
    {"remove_watchlist", kRemoveWatchlist, "bool", watchlist::remove_watchlist,
     kRemoveWatchlistDoc},
    {"check_watchlist", kCheckWatchlist, "List[Dict]", watchlist::check_watchlist,
     kCheckWatchlistDoc},
    {"add_alert", kAddAlert, "int", watchlist::add_alert, kAddAlertDoc},
    {"get_alerts", kGetAlerts, "List[Dict]", watchlist::get_alerts, kGetAlertsDoc},
    {"get_alert_count", kGetAlertCount, "int", watchlist::get_alert_count, kGetAlertCountDoc},
    {"mark_alerts_read", kOnlySelf, "int", watchlist::mark_alerts_read, kMarkAlertsReadDoc},
    {"get_alerts_for_detections", kGetAlertsForDetections, "Dict[int, List[Dict]]",
     watchlist::get_alerts_for_detections, kGetAlertsForDetectionsDoc},
    {"_row_to_dict", kRowToDict, "Dict", store::row_to_dict, kRowToDictDoc, /*is_static=*/true},
};

}  // namespace

std::span<const Method> method_table() noexcept { return kMethods; }

}  // namespace binding
