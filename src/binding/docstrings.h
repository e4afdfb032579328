// What help() says about the module, the class and each method.
#pragma once

namespace binding {

inline constexpr char kModuleDoc[] =
    R"(Detections, watched plates and alerts of a number-plate recognition server, in one
SQLite file.)";

inline constexpr char kClassDoc[] = R"(A store of detections over one SQLite database file.

The object holds nothing but the file's path, `db_path` (a pathlib.Path): every call
opens, uses and closes a connection of its own, in one transaction. Threads, objects and
processes may share a file.
A writer waits up to 5 seconds for another one and then raises sqlite3.OperationalError
("database is locked"). Errors of the engine are the classes of Python's sqlite3; they
roll the call's transaction back.)";

inline constexpr char kInitDoc[] =
    R"(Open the store at `db_path`, making the file, its directory and its tables where they
are missing.

Files of earlier layouts gain the columns that they lack.

db_path: text or path-like object; ":memory:" gives each call an empty database of its
own.
Raises TypeError for another type, OSError if the directory cannot be made,
sqlite3.OperationalError if the file cannot be opened, sqlite3.DatabaseError if it is no
database.)";

inline constexpr char kGetConnDoc[] =
    R"(Return a new, open connection to the file; its rows can be read by position and by
column name.

Every operation calls this once. An override may return any object with execute() and
commit() that works in a `with` statement, such as a sqlite3.Connection.
Raises sqlite3.OperationalError if the file cannot be opened.)";

inline constexpr char kInitSchemaDoc[] =
    R"(Create the tables and indexes that are missing and add the columns that earlier layouts
lack.

Called by the constructor. Each step stands by itself; a failure leaves those before it.
Raises the engine's error, sqlite3.OperationalError while a column is added left out.)";

inline constexpr char kAddDetectionDoc[] =
    R"(Record what was recognised in one image, stamped with the local time, and return the new
row's id.

plates: the plate texts; their number is stored as `num_plates`.
confidences: one number a plate, 0 to 1.
bboxes: one box a plate, a list of numbers in pixels.
processing_time, detector_time, ocr_time: seconds.
image_path, thumbnail_path: where the image files are, or None.
success: stored as 1 or 0, by its truth value.
detection_confidences: the plate detector's confidences; an empty list is stored as
None.

The lists are stored as JSON text and their lengths are not compared.
Raises TypeError or ValueError for what cannot be written as JSON,
sqlite3.ProgrammingError for a value that the engine cannot store,
sqlite3.OperationalError if the file stays locked. Nothing is written then.)";

inline constexpr char kGetHistoryDoc[] =
    R"(Return a page of detections, newest first, as a list of records.

limit: how many at most; negative for all. offset: how many to skip.
date_from, date_to: inclusive bounds, compared with the timestamps as text: the date
"2024-05-01" as upper bound leaves that day out. None and "" set no bound.

A record maps each column of `detections` to its value, in column order, the JSON
columns decoded.
Raises sqlite3.IntegrityError for a limit or offset that is no integer,
sqlite3.ProgrammingError for a value that the engine cannot take.)";

inline constexpr char kGetDetectionDoc[] =
    R"(Return the record of the detection with that id, or None if there is none.

A record maps each column of `detections` to its value, in column order, the JSON
columns decoded.
Raises sqlite3.ProgrammingError for an id that the engine cannot take.)";

inline constexpr char kUpdateImagePathsDoc[] =
    R"(Set both image paths of a detection; None clears one. An id that does not exist changes
nothing.

Raises sqlite3.ProgrammingError for a value that the engine cannot store,
sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kUpdateMmcDataDoc[] =
    R"(Set the vehicle attributes of a detection, replacing what was there.

mmc_data: a mapping such as {"mmc_make": "Skoda", "mmc_color": "white"}, stored as JSON
text.
An id that does not exist changes nothing.
Raises TypeError or ValueError for what cannot be written as JSON,
sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kDeleteDetectionDoc[] =
    R"(Delete one detection; return whether there was one with that id.

Its alerts and image files stay; its id is never used again.
Raises sqlite3.ProgrammingError for an id that the engine cannot take,
sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kDeleteDetectionsDoc[] =
    R"(Delete the detections with these ids in one statement; return how many there were.

ids: a list or tuple; None or an empty one deletes nothing.
Raises TypeError for what cannot be iterated, sqlite3.OperationalError if there are more
ids than the engine takes or the file stays locked. Nothing is deleted then.)";

inline constexpr char kGetStatisticsDoc[] =
    R"(Return totals over all detections as a dict of five numbers.

total_detections; successful_detections: success is 1 and there are plates;
failed_detections: success is 0 or there are none; total_plates_found;
avg_processing_sec: seconds, rounded to 4 digits.
Each is the integer 0 on an empty table.)";

inline constexpr char kCleanupOldDoc[] =
    R"(Keep the `max_entries` detections with the greatest timestamps and delete the others.

A negative number keeps all. Their alerts and image files stay.
Raises sqlite3.IntegrityError for what is no integer, sqlite3.OperationalError if the
file stays locked.)";

inline constexpr char kSearchPlatesDoc[] =
    R"(Return a page of the detections that meet all filters, newest first, as a list of
records.

query: text to find in the JSON list of plates; ASCII case is ignored, % and _ are
wildcards.
date_from, date_to: inclusive bounds, compared with the timestamps as text.
min_confidence: keep records with a plate of at least this confidence; 0 or less for
all. It is applied to the page after it was cut, which may hold fewer than `limit`
records then.
mmc_make, mmc_model, mmc_color, mmc_type, mmc_nation, mmc_side: text to find behind that
attribute's key in the JSON text of the vehicle attributes.
limit: how many at most; negative for all. offset: how many to skip.
None, "" and 0 set no filter. Records are those of get_history().
Raises TypeError if min_confidence, or a stored confidence with it, cannot be compared,
sqlite3.IntegrityError for a limit or offset that is no integer.)";

inline constexpr char kGetHourlyStatsDoc[] =
    R"(Return a list of dicts for the hours since `hours` hours ago that have detections,
oldest first.

hour: the hour's start as text, such as "2024-05-01T14:00:00", None for timestamps that
are no time; count: its detections; plates: its plates, None if no detection has a
number of them.
The first hour holds only detections from the cut-off on.
Raises TypeError if hours is no number, OverflowError if it is too large.)";

inline constexpr char kGetTopPlatesDoc[] =
    R"(Return the plates seen most often among the 500 newest detections with plates, most
frequent first.

limit: how many at most; negative leaves that many out at the end; None for all.
A list of dicts: plate, the text as stored; count. Equal counts: the one in the newest
detection first.
Raises TypeError for a limit that is no integer.)";

inline constexpr char kGetWatchlistDoc[] =
    R"(Return the watched plates, newest first: a list of dicts with the columns of `watchlist`
in the file's order: id, plate, label, note, created_at (local time, ISO 8601).)";

inline constexpr char kAddWatchlistDoc[] = R"(Watch a plate from now on; return the new entry's id.

plate: stored in upper case, without white space at its ends. label: what alerts show,
stripped as well.
The same plate may be added twice. An empty plate matches every plate.
Raises AttributeError for what is no text, sqlite3.OperationalError if the file stays
locked.)";

inline constexpr char kRemoveWatchlistDoc[] =
    R"(Stop watching: delete the entry with that id; return whether there was one. Its alerts
stay.

Raises sqlite3.ProgrammingError for an id that the engine cannot take,
sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kCheckWatchlistDoc[] =
    R"(Compare recognised plates with every watched one; return a list of matches.

Two plates match if one holds the other, case, blanks and hyphens ignored.
A match is a dict: detected_plate, as given; watchlist_plate, label and watchlist_id, as
stored. Matches come in the order of `plates`, then of the entries. Nothing is written.
Raises AttributeError for a plate that is no text, TypeError for plates that cannot be
iterated.)";

inline constexpr char kAddAlertDoc[] =
    R"(Record a hit, stamped with the local time and unread; return the new alert's id.

plate: as it was detected. label: of the watched plate. detection_id: of the detection
it was seen in.
confidence: of that plate, 0 to 1.
Raises sqlite3.IntegrityError if plate is None, sqlite3.ProgrammingError for a value
that the engine cannot store, sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kGetAlertsDoc[] =
    R"(Return the newest alerts, read or not: a list of dicts with the columns of `alerts` in
the file's order.

limit: how many at most; negative for all.
Raises sqlite3.IntegrityError for a limit that is no integer.)";

inline constexpr char kGetAlertCountDoc[] =
    R"(Return how many alerts there are, or how many of them are unread.)";

inline constexpr char kMarkAlertsReadDoc[] =
    R"(Mark all unread alerts as read; return how many there were.

Raises sqlite3.OperationalError if the file stays locked.)";

inline constexpr char kGetAlertsForDetectionsDoc[] =
    R"(Return the alerts of these detections: a dict from detection id to a list of alerts,
oldest first.

detection_ids: a list or tuple; None or an empty one gives an empty dict. Detections
without alerts are left out. An alert is a dict with the columns of `alerts` in the
file's order.
Raises TypeError for what has no length, sqlite3.OperationalError for more ids than the
engine takes.)";

inline constexpr char kRowToDictDoc[] =
    R"(Return the record of one row of `detections`: a new dict from column name to value, in
column order.

row: a row as read through the store's connection, or anything that dict() takes.
The columns plates, confidences, bboxes, mmc_data and detection_confidences are decoded
from JSON where they hold any; text that is no JSON stays as it is.
Raises TypeError if one of them holds a number other than 0, UnicodeDecodeError for
bytes that are no text, ValueError for an integer with too many digits, RecursionError
for JSON nested too deep.)";

}  // namespace binding
