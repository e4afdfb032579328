"""The creating statements of the twin's three tables."""

from __future__ import annotations

CREATE_DETECTIONS = """
CREATE TABLE IF NOT EXISTS detections (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    timestamp TEXT NOT NULL,
    num_plates INTEGER DEFAULT 0,
    plates TEXT,
    confidences TEXT,
    bboxes TEXT,
    processing_time REAL,
    detector_time REAL,
    ocr_time REAL,
    image_path TEXT,
    thumbnail_path TEXT,
    success INTEGER DEFAULT 1
)
"""

CREATE_WATCHLIST = """
CREATE TABLE IF NOT EXISTS watchlist (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    plate TEXT NOT NULL,
    label TEXT DEFAULT '',
    note TEXT DEFAULT '',
    created_at TEXT NOT NULL
)
"""

CREATE_ALERTS = """
CREATE TABLE IF NOT EXISTS alerts (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    timestamp TEXT NOT NULL,
    plate TEXT NOT NULL,
    watchlist_label TEXT DEFAULT '',
    note TEXT DEFAULT '',
    detection_id INTEGER,
    confidence REAL,
    FOREIGN KEY (detection_id) REFERENCES detections(id)
)
"""
