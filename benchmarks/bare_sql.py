"""The statements alone, through Python's `sqlite3`: open, run, fetch tuples, close.

No dict is made and no JSON read or written, so no store in Python can be faster than this.
"""

from __future__ import annotations

import sqlite3
from collections.abc import Sequence
from contextlib import closing
from pathlib import Path
from typing import Any

INSERT = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)
PAGE = "SELECT * FROM detections ORDER BY timestamp DESC LIMIT ? OFFSET ?"
ONE = "SELECT * FROM detections WHERE id = ?"
FOUND = "SELECT * FROM detections WHERE plates LIKE ? ORDER BY timestamp DESC LIMIT ? OFFSET ?"


def fetch(database: Path, statement: str, values: Sequence[object]) -> list[Any]:
    with closing(sqlite3.connect(database)) as connection:
        return connection.execute(statement, values).fetchall()


def insert(database: Path, values: Sequence[object]) -> int | None:
    with closing(sqlite3.connect(database)) as connection:
        cursor = connection.execute(INSERT, values)
        connection.commit()
        return cursor.lastrowid
