// What help() says about the module, the class and each method.
#pragma once

namespace binding {

inline constexpr char kModuleDoc[] =
    "Detections, watched plates and alerts of a number-plate recognition server, in one SQLite "
    "file.";

inline constexpr char kClassDoc[] =
    "A store of detections over one SQLite database file.\n\n"
    "The object holds nothing but the file's path, `db_path` (a pathlib.Path): every call opens, "
    "uses and\n"
    "closes a connection of its own, in one transaction. Threads, objects and processes may share "
    "a file.\n"
    "A writer waits up to 5 seconds for another one and then raises sqlite3.OperationalError\n"
    "(\"database is locked\"). Errors of the engine are the classes of Python's sqlite3; they roll "
    "the call's\n"
    "transaction back.";

inline constexpr char kInitDoc[] =
    "Open the store at `db_path`, making the file, its directory and its tables where they are "
    "missing.\n\n"
    "Files of earlier layouts gain the columns that they lack.\n\n"
    "db_path: text or path-like object; \":memory:\" gives each call an empty database of its "
    "own.\n"
    "Raises TypeError for another type, OSError if the directory cannot be made, "
    "sqlite3.OperationalError if\n"
    "the file cannot be opened, sqlite3.DatabaseError if it is no database.";

inline constexpr char kGetConnDoc[] =
    "Return a new, open connection to the file; its rows can be read by position and by column "
    "name.\n\n"
    "Every operation calls this once. An override may return any object with execute() and "
    "commit() that\n"
    "works in a `with` statement, such as a sqlite3.Connection.\n"
    "Raises sqlite3.OperationalError if the file cannot be opened.";

inline constexpr char kInitSchemaDoc[] =
    "Create the tables and indexes that are missing and add the columns that earlier layouts "
    "lack.\n\n"
    "Called by the constructor. Each step stands by itself; a failure leaves those before it.\n"
    "Raises the engine's error, sqlite3.OperationalError while a column is added left out.";

inline constexpr char kAddDetectionDoc[] =
    "Record what was recognised in one image, stamped with the local time, and return the new "
    "row's id.\n\n"
    "plates: the plate texts; their number is stored as `num_plates`.\n"
    "confidences: one number a plate, 0 to 1.\n"
    "bboxes: one box a plate, a list of numbers in pixels.\n"
    "processing_time, detector_time, ocr_time: seconds.\n"
    "image_path, thumbnail_path: where the image files are, or None.\n"
    "success: stored as 1 or 0, by its truth value.\n"
    "detection_confidences: the plate detector's confidences; an empty list is stored as None.\n\n"
    "The lists are stored as JSON text and their lengths are not compared.\n"
    "Raises TypeError or ValueError for what cannot be written as JSON, sqlite3.ProgrammingError "
    "for a value\n"
    "that the engine cannot store, sqlite3.OperationalError if the file stays locked. Nothing is "
    "written then.";

inline constexpr char kGetHistoryDoc[] =
    "Return a page of detections, newest first, as a list of records.\n\n"
    "limit: how many at most; negative for all. offset: how many to skip.\n"
    "date_from, date_to: inclusive bounds, compared with the timestamps as text: the date "
    "\"2024-05-01\" as\n"
    "upper bound leaves that day out. None and \"\" set no bound.\n\n"
    "A record maps each column of `detections` to its value, in column order, the JSON columns "
    "decoded.\n"
    "Raises sqlite3.IntegrityError for a limit or offset that is no integer, "
    "sqlite3.ProgrammingError for a\n"
    "value that the engine cannot take.";

inline constexpr char kGetDetectionDoc[] =
    "Return the record of the detection with that id, or None if there is none.\n\n"
    "A record maps each column of `detections` to its value, in column order, the JSON columns "
    "decoded.\n"
    "Raises sqlite3.ProgrammingError for an id that the engine cannot take.";

inline constexpr char kUpdateImagePathsDoc[] =
    "Set both image paths of a detection; None clears one. An id that does not exist changes "
    "nothing.\n\n"
    "Raises sqlite3.ProgrammingError for a value that the engine cannot store, "
    "sqlite3.OperationalError if the\n"
    "file stays locked.";

inline constexpr char kUpdateMmcDataDoc[] =
    "Set the vehicle attributes of a detection, replacing what was there.\n\n"
    "mmc_data: a mapping such as {\"mmc_make\": \"Skoda\", \"mmc_color\": \"white\"}, stored as "
    "JSON text.\n"
    "An id that does not exist changes nothing.\n"
    "Raises TypeError or ValueError for what cannot be written as JSON, sqlite3.OperationalError "
    "if the file\n"
    "stays locked.";

inline constexpr char kDeleteDetectionDoc[] =
    "Delete one detection; return whether there was one with that id.\n\n"
    "Its alerts and image files stay; its id is never used again.\n"
    "Raises sqlite3.ProgrammingError for an id that the engine cannot take, "
    "sqlite3.OperationalError if the\n"
    "file stays locked.";

inline constexpr char kDeleteDetectionsDoc[] =
    "Delete the detections with these ids in one statement; return how many there were.\n\n"
    "ids: a list or tuple; None or an empty one deletes nothing.\n"
    "Raises TypeError for what cannot be iterated, sqlite3.OperationalError if there are more ids "
    "than the\n"
    "engine takes or the file stays locked. Nothing is deleted then.";

inline constexpr char kGetStatisticsDoc[] =
    "Return totals over all detections as a dict of five numbers.\n\n"
    "total_detections; successful_detections: success is 1 and there are plates; "
    "failed_detections: success is\n"
    "0 or there are none; total_plates_found; avg_processing_sec: seconds, rounded to 4 digits.\n"
    "Each is the integer 0 on an empty table.";

inline constexpr char kCleanupOldDoc[] =
    "Keep the `max_entries` detections with the greatest timestamps and delete the others.\n\n"
    "A negative number keeps all. Their alerts and image files stay.\n"
    "Raises sqlite3.IntegrityError for what is no integer, sqlite3.OperationalError if the file "
    "stays locked.";

inline constexpr char kSearchPlatesDoc[] =
    "Return a page of the detections that meet all filters, newest first, as a list of records.\n\n"
    "query: text to find in the JSON list of plates; ASCII case is ignored, % and _ are "
    "wildcards.\n"
    "date_from, date_to: inclusive bounds, compared with the timestamps as text.\n"
    "min_confidence: keep records with a plate of at least this confidence; 0 or less for all. It "
    "is applied\n"
    "to the page after it was cut, which may hold fewer than `limit` records then.\n"
    "mmc_make, mmc_model, mmc_color, mmc_type, mmc_nation, mmc_side: text to find behind that "
    "attribute's key\n"
    "in the JSON text of the vehicle attributes.\n"
    "limit: how many at most; negative for all. offset: how many to skip.\n"
    "None, \"\" and 0 set no filter. Records are those of get_history().\n"
    "Raises TypeError if min_confidence, or a stored confidence with it, cannot be compared,\n"
    "sqlite3.IntegrityError for a limit or offset that is no integer.";

inline constexpr char kGetHourlyStatsDoc[] =
    "Return a list of dicts for the hours since `hours` hours ago that have detections, oldest "
    "first.\n\n"
    "hour: the hour's start as text, such as \"2024-05-01T14:00:00\", None for timestamps that are "
    "no time;\n"
    "count: its detections; plates: its plates, None if no detection has a number of them.\n"
    "The first hour holds only detections from the cut-off on.\n"
    "Raises TypeError if hours is no number, OverflowError if it is too large.";

inline constexpr char kGetTopPlatesDoc[] =
    "Return the plates seen most often among the 500 newest detections with plates, most frequent "
    "first.\n\n"
    "limit: how many at most; negative leaves that many out at the end; None for all.\n"
    "A list of dicts: plate, the text as stored; count. Equal counts: the one in the newest "
    "detection first.\n"
    "Raises TypeError for a limit that is no integer.";

inline constexpr char kGetWatchlistDoc[] =
    "Return the watched plates, newest first: a list of dicts with the columns of `watchlist` in "
    "the file's\n"
    "order: id, plate, label, note, created_at (local time, ISO 8601).";

inline constexpr char kAddWatchlistDoc[] =
    "Watch a plate from now on; return the new entry's id.\n\n"
    "plate: stored in upper case, without white space at its ends. label: what alerts show, "
    "stripped as well.\n"
    "The same plate may be added twice. An empty plate matches every plate.\n"
    "Raises AttributeError for what is no text, sqlite3.OperationalError if the file stays locked.";

inline constexpr char kRemoveWatchlistDoc[] =
    "Stop watching: delete the entry with that id; return whether there was one. Its alerts "
    "stay.\n\n"
    "Raises sqlite3.ProgrammingError for an id that the engine cannot take, "
    "sqlite3.OperationalError if the\n"
    "file stays locked.";

inline constexpr char kCheckWatchlistDoc[] =
    "Compare recognised plates with every watched one; return a list of matches.\n\n"
    "Two plates match if one holds the other, case, blanks and hyphens ignored.\n"
    "A match is a dict: detected_plate, as given; watchlist_plate, label and watchlist_id, as "
    "stored. Matches\n"
    "come in the order of `plates`, then of the entries. Nothing is written.\n"
    "Raises AttributeError for a plate that is no text, TypeError for plates that cannot be "
    "iterated.";

inline constexpr char kAddAlertDoc[] =
    "Record a hit, stamped with the local time and unread; return the new alert's id.\n\n"
    "plate: as it was detected. label: of the watched plate. detection_id: of the detection it was "
    "seen in.\n"
    "confidence: of that plate, 0 to 1.\n"
    "Raises sqlite3.IntegrityError if plate is None, sqlite3.ProgrammingError for a value that the "
    "engine\n"
    "cannot store, sqlite3.OperationalError if the file stays locked.";

inline constexpr char kGetAlertsDoc[] =
    "Return the newest alerts, read or not: a list of dicts with the columns of `alerts` in the "
    "file's order.\n\n"
    "limit: how many at most; negative for all.\n"
    "Raises sqlite3.IntegrityError for a limit that is no integer.";

inline constexpr char kGetAlertCountDoc[] =
    "Return how many alerts there are, or how many of them are unread.";

inline constexpr char kMarkAlertsReadDoc[] =
    "Mark all unread alerts as read; return how many there were.\n\n"
    "Raises sqlite3.OperationalError if the file stays locked.";

inline constexpr char kGetAlertsForDetectionsDoc[] =
    "Return the alerts of these detections: a dict from detection id to a list of alerts, oldest "
    "first.\n\n"
    "detection_ids: a list or tuple; None or an empty one gives an empty dict. Detections without "
    "alerts are\n"
    "left out. An alert is a dict with the columns of `alerts` in the file's order.\n"
    "Raises TypeError for what has no length, sqlite3.OperationalError for more ids than the "
    "engine takes.";

inline constexpr char kRowToDictDoc[] =
    "Return the record of one row of `detections`: a new dict from column name to value, in column "
    "order.\n\n"
    "row: a row as read through the store's connection, or anything that dict() takes.\n"
    "The columns plates, confidences, bboxes, mmc_data and detection_confidences are decoded from "
    "JSON where\n"
    "they hold any; text that is no JSON stays as it is.\n"
    "Raises TypeError if one of them holds a number other than 0, UnicodeDecodeError for bytes "
    "that are no\n"
    "text, ValueError for an integer with too many digits, RecursionError for JSON nested too "
    "deep.";

}  // namespace binding
