#include "store/schema.h"

#include "python/calls.h"
#include "python/namespace.h"
#include "python/values.h"
#include "store/scope.h"

namespace store {

namespace {

constinit python::Name kCreateDetections{
    "CREATE TABLE IF NOT EXISTS detections ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "timestamp TEXT NOT NULL, "
    "num_plates INTEGER DEFAULT 0, "
    "plates TEXT, "
    "confidences TEXT, "
    "bboxes TEXT, "
    "processing_time REAL, "
    "detector_time REAL, "
    "ocr_time REAL, "
    "image_path TEXT, "
    "thumbnail_path TEXT, "
    "success INTEGER DEFAULT 1)"};

constinit python::Name kCreateTimestampIndex{
    "CREATE INDEX IF NOT EXISTS idx_timestamp ON detections(timestamp DESC)"};

// New files get these two columns from here as well, so that they stand last in every file.
constinit python::Name kAddMmcData{"ALTER TABLE detections ADD COLUMN mmc_data TEXT"};
constinit python::Name kAddDetectionConfidences{
    "ALTER TABLE detections ADD COLUMN detection_confidences TEXT"};

constinit python::Name kCreateWatchlist{
    "CREATE TABLE IF NOT EXISTS watchlist ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "plate TEXT NOT NULL, "
    "label TEXT DEFAULT '', "
    "note TEXT DEFAULT '', "
    "created_at TEXT NOT NULL)"};

constinit python::Name kAddWatchlistNote{"ALTER TABLE watchlist ADD COLUMN note TEXT DEFAULT ''"};

constinit python::Name kCreateAlerts{
    "CREATE TABLE IF NOT EXISTS alerts ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "timestamp TEXT NOT NULL, "
    "plate TEXT NOT NULL, "
    "watchlist_label TEXT DEFAULT '', "
    "note TEXT DEFAULT '', "
    "detection_id INTEGER, "
    "confidence REAL, "
    "FOREIGN KEY (detection_id) REFERENCES detections(id))"};

constinit python::Name kAddAlertsNote{"ALTER TABLE alerts ADD COLUMN note TEXT DEFAULT ''"};
constinit python::Name kAddAlertsIsRead{"ALTER TABLE alerts ADD COLUMN is_read INTEGER DEFAULT 0"};

constinit python::Name kCreateAlertsIndex{
    "CREATE INDEX IF NOT EXISTS idx_alerts_ts ON alerts(timestamp DESC)"};

constinit python::Name kSqlite3{"sqlite3"};
constinit python::Name kOperationalError{"OperationalError"};

// Tries to add a column. That the engine refuses is how a column that is
// there already shows, so every OperationalError is passed over; a lock
// that was not let go in time leaves the column to the next construction.
void add_column(const ScopeConnection& connection, const python::Name& sql) {
  if (connection.try_execute(sql)) return;
  if (!python::caught_by(kSqlite3, kOperationalError)) throw python::PythonError{};
  python::clear_error();
}

}  // namespace

python::Object init_schema(PyObject* self) {
  const auto bring_up_to_date = [](const ScopeConnection& connection) {
    connection.execute(kCreateDetections);
    connection.execute(kCreateTimestampIndex);
    add_column(connection, kAddMmcData);
    add_column(connection, kAddDetectionConfidences);
    connection.execute(kCreateWatchlist);
    add_column(connection, kAddWatchlistNote);
    connection.execute(kCreateAlerts);
    add_column(connection, kAddAlertsNote);
    add_column(connection, kAddAlertsIsRead);
    connection.execute(kCreateAlertsIndex);
    connection.commit();
    return python::none();
  };
  return in_scope(self, bring_up_to_date, "_init_schema");
}

}  // namespace store
