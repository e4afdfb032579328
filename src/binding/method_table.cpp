#include "binding/method_table.h"

#include "binding/docstrings.h"
#include "detections/history.h"
#include "detections/record.h"
#include "detections/recording.h"
#include "detections/retention.h"
#include "detections/search.h"
#include "detections/statistics.h"
#include "detections/top_plates.h"
#include "store/anpr_database.h"
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
    method<store::init>("__init__", kInit, nullptr, kInitDoc),
    method<store::get_conn>("_get_conn", kOnlySelf, nullptr, kGetConnDoc),
    method<store::init_schema>("_init_schema", kOnlySelf, nullptr, kInitSchemaDoc),
    method<detections::add_detection>("add_detection", kAddDetection, "int", kAddDetectionDoc),
    method<detections::get_history>("get_history", kGetHistory, "List[Dict]", kGetHistoryDoc),
    method<detections::get_detection>("get_detection", kDetectionId, "Optional[Dict]",
                                      kGetDetectionDoc),
    method<detections::delete_detection>("delete_detection", kDetectionId, "bool",
                                         kDeleteDetectionDoc),
    method<detections::delete_detections>("delete_detections", kDeleteDetections, "int",
                                          kDeleteDetectionsDoc),
    method<detections::get_statistics>("get_statistics", kOnlySelf, "Dict", kGetStatisticsDoc),
    method<detections::update_image_paths>("update_image_paths", kUpdateImagePaths, nullptr,
                                           kUpdateImagePathsDoc),
    method<detections::update_mmc_data>("update_mmc_data", kUpdateMmcData, nullptr,
                                        kUpdateMmcDataDoc),
    method<detections::cleanup_old>("cleanup_old", kCleanupOld, nullptr, kCleanupOldDoc),
    method<detections::search_plates>("search_plates", kSearchPlates, "List[Dict]",
                                      kSearchPlatesDoc),
    method<detections::get_hourly_stats>("get_hourly_stats", kGetHourlyStats, "List[Dict]",
                                         kGetHourlyStatsDoc),
    method<detections::get_top_plates>("get_top_plates", kGetTopPlates, "List[Dict]",
                                       kGetTopPlatesDoc),
    method<watchlist::get_watchlist>("get_watchlist", kOnlySelf, "List[Dict]", kGetWatchlistDoc),
    method<watchlist::add_watchlist>("add_watchlist", kAddWatchlist, "int", kAddWatchlistDoc),
    method<watchlist::remove_watchlist>("remove_watchlist", kRemoveWatchlist, "bool",
                                        kRemoveWatchlistDoc),
    method<watchlist::check_watchlist>("check_watchlist", kCheckWatchlist, "List[Dict]",
                                       kCheckWatchlistDoc),
    method<watchlist::add_alert>("add_alert", kAddAlert, "int", kAddAlertDoc),
    method<watchlist::get_alerts>("get_alerts", kGetAlerts, "List[Dict]", kGetAlertsDoc),
    method<watchlist::get_alert_count>("get_alert_count", kGetAlertCount, "int", kGetAlertCountDoc),
    method<watchlist::mark_alerts_read>("mark_alerts_read", kOnlySelf, "int", kMarkAlertsReadDoc),
    method<watchlist::get_alerts_for_detections>("get_alerts_for_detections",
                                                 kGetAlertsForDetections, "Dict[int, List[Dict]]",
                                                 kGetAlertsForDetectionsDoc),
    method<detections::row_to_dict>("_row_to_dict", kRowToDict, "Dict", kRowToDictDoc,
                                    /*is_static=*/true),
};

}  // namespace

std::span<const Method, kMethodCount> method_table() noexcept { return kMethods; }

}  // namespace binding
