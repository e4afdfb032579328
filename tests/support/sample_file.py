"""A database file with a few rows of each kind, and the look at all that a file holds."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

from support.twin import ANPRDatabase as Twin

ROWS = """
INSERT INTO detections (
    timestamp, num_plates, plates, confidences, bboxes, processing_time, detector_time, ocr_time,
    image_path, thumbnail_path, success, mmc_data, detection_confidences
) VALUES
    ('2001-02-03T04:05:06.000007', 2, '["AB123", "CD456"]', '[0.9, 0.4]',
        '[[1, 2, 3, 4], [5, 6, 7, 8]]', 0.5, 0.25, 0.125, 'a.jpg', 'b.jpg', 1,
        '{"mmc_make": "Skoda", "mmc_color": "red"}', '[0.75, 0.5]'),
    ('2001-02-03T04:05:07', 0, '[]', '[]', '[]', NULL, NULL, NULL, NULL, NULL, 0, NULL, NULL),
    ('2001-02-03T05:00:00.5', 1, 'no json', '[NaN, Infinity]', '{"a": [', 1, 2, 3, '', '', 1,
        'null', ''),
    ('2001-02-04T00:00:00', 1, '["\\u0160K-456"]', '[0.6]', '[[]]', 0.1, 0.1, 0.1, NULL, NULL, 1,
        '{}', NULL);
INSERT INTO watchlist (plate, label, created_at) VALUES
    ('AB-123', 'stolen', '2001-01-01T00:00:00'), ('ŠK 456', '', '2001-01-02T00:00:00');
INSERT INTO alerts (
    timestamp, plate, watchlist_label, detection_id, confidence, is_read
) VALUES
    ('2001-02-03T04:05:08', 'AB123', 'stolen', 1, 0.9, 0),
    ('2001-02-03T04:05:09', 'CD456', '', 1, NULL, 1),
    ('2001-02-03T04:05:10', 'X', NULL, 99, 0.1, 0);
"""
# Every timestamp of the sample begins so, and none that a test adds.
SAMPLE_CENTURY = "200"
TIMESTAMPS = {("detections", "timestamp"), ("watchlist", "created_at"), ("alerts", "timestamp")}


def make_sample(path: Path) -> bytes:
    """Writes the sample there; its bytes, to write it again."""
    Twin(str(path))
    with closing(sqlite3.connect(path)) as connection:
        connection.executescript(ROWS)
        connection.commit()
    return path.read_bytes()


def restore(path: Path, sample: bytes) -> None:
    for suffix in ("-journal", "-wal", "-shm"):
        Path(f"{path}{suffix}").unlink(missing_ok=True)
    path.write_bytes(sample)


def contents(path: Path) -> dict[str, Any]:
    """All that the file says, with the times of the tests' own calls made alike."""
    with closing(sqlite3.connect(path)) as connection:
        schema = connection.execute(
            "SELECT type, name, sql FROM sqlite_master ORDER BY name"
        ).fetchall()
        found: dict[str, Any] = {"schema": schema}
        for kind, table, _ in schema:
            if kind != "table":
                continue
            cursor = connection.execute(f"SELECT * FROM {table} ORDER BY 1")
            columns = [column[0] for column in cursor.description]
            found[table] = [
                tuple(
                    "now" if is_new_time(table, column, value) else value
                    for column, value in zip(columns, row, strict=True)
                )
                for row in cursor
            ]
        (check,) = connection.execute("PRAGMA integrity_check").fetchone()
        assert check == "ok", check
    return found


def is_new_time(table: str, column: str, value: object) -> bool:
    return (table, column) in TIMESTAMPS and not str(value).startswith(SAMPLE_CENTURY)
