"""The statements that the operations run, their white space collapsed."""

from __future__ import annotations

from support.database import collapse
from support.twin_tables import CREATE_ALERTS, CREATE_DETECTIONS, CREATE_WATCHLIST

INSERT_DETECTION = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)
SELECT_DETECTIONS = "SELECT * FROM detections"
PAGE = " ORDER BY timestamp DESC LIMIT ? OFFSET ?"
BETWEEN = " WHERE timestamp >= ? AND timestamp <= ?"
SELECT_DETECTION = "SELECT * FROM detections WHERE id = ?"
DELETE_DETECTION = "DELETE FROM detections WHERE id = ?"
STATISTICS = (
    "SELECT COUNT(*) as total,"
    " SUM(CASE WHEN success = 1 AND num_plates > 0 THEN 1 ELSE 0 END) as successful,"
    " SUM(CASE WHEN success = 0 OR num_plates = 0 THEN 1 ELSE 0 END) as failed,"
    " SUM(num_plates) as total_plates, AVG(processing_time) as avg_time FROM detections"
)
UPDATE_PATHS = "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?"
UPDATE_MMC = "UPDATE detections SET mmc_data = ? WHERE id = ?"
CLEAN_UP = (
    "DELETE FROM detections WHERE id NOT IN"
    " (SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)"
)
HOURLY = (
    "SELECT strftime('%Y-%m-%dT%H:00:00', timestamp) as hour, COUNT(*) as count,"
    " SUM(num_plates) as plates FROM detections WHERE timestamp >= ? GROUP BY hour ORDER BY hour"
)
LATEST_PLATES = (
    "SELECT plates FROM detections WHERE num_plates > 0 ORDER BY timestamp DESC LIMIT 500"
)
LIST_WATCHLIST = "SELECT * FROM watchlist ORDER BY created_at DESC"
INSERT_WATCHLIST = "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)"
DELETE_WATCHLIST = "DELETE FROM watchlist WHERE id = ?"
READ_WATCHLIST = "SELECT * FROM watchlist"
INSERT_ALERT = (
    "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence)"
    " VALUES (?, ?, ?, ?, ?)"
)
LIST_ALERTS = "SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?"
COUNT_UNREAD = "SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0"
COUNT_ALERTS = "SELECT COUNT(*) as cnt FROM alerts"
MARK_ALERTS = "UPDATE alerts SET is_read = 1 WHERE is_read = 0"
SCHEMA = (
    collapse(CREATE_DETECTIONS),
    "CREATE INDEX IF NOT EXISTS idx_timestamp ON detections(timestamp DESC)",
    "ALTER TABLE detections ADD COLUMN mmc_data TEXT",
    "ALTER TABLE detections ADD COLUMN detection_confidences TEXT",
    collapse(CREATE_WATCHLIST),
    "ALTER TABLE watchlist ADD COLUMN note TEXT DEFAULT ''",
    collapse(CREATE_ALERTS),
    "ALTER TABLE alerts ADD COLUMN note TEXT DEFAULT ''",
    "ALTER TABLE alerts ADD COLUMN is_read INTEGER DEFAULT 0",
    "CREATE INDEX IF NOT EXISTS idx_alerts_ts ON alerts(timestamp DESC)",
)


def delete_detections(number: int) -> str:
    return f"DELETE FROM detections WHERE id IN ({','.join('?' * number)})"


def alerts_of(number: int) -> str:
    return f"SELECT * FROM alerts WHERE detection_id IN ({','.join('?' * number)})"
