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
