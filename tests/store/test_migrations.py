"""Files of earlier layouts gain what they lack, at the end, and lose nothing."""

from __future__ import annotations

import itertools
import sqlite3

import pytest

from support import database
from support.operations import SCHEMA
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of, type_and_text

LATE = ("mmc_data", "detection_confidences", "watchlist.note", "alerts.note", "alerts.is_read")


def old_file(path, has: set[str]) -> None:
    """A file of the layout that has just these of the late columns, one row in each table."""
    detections, _, mmc_data, confidences, watchlist, _, alerts, *_ = SCHEMA
    note = " note TEXT DEFAULT '',"
    late = [sql for name, sql in zip(LATE, (mmc_data, confidences), strict=False) if name in has]
    if "watchlist.note" not in has:
        watchlist = watchlist.replace(note, "")
    if "alerts.note" not in has:
        alerts = alerts.replace(note, "")
    if "alerts.is_read" in has:
        alerts = alerts.replace(" confidence", " is_read INTEGER DEFAULT 0, confidence")
    rows = """
        INSERT INTO detections (id, timestamp, num_plates, plates)
            VALUES (7, '2020-01-01T00:00:00', 1, '["OLD"]');
        INSERT INTO watchlist (plate, created_at) VALUES ('OLD', '2020-01-01T00:00:00');
        INSERT INTO alerts (timestamp, plate, detection_id)
            VALUES ('2020-01-01T00:00:00', 'OLD', 7)
    """
    database.run_script(path, ";".join([detections, *late, watchlist, alerts, rows]))


LAYOUTS = [
    set(chosen) for size in range(len(LATE) + 1) for chosen in itertools.combinations(LATE, size)
]


@pytest.mark.parametrize("has", LAYOUTS, ids=lambda has: "+".join(sorted(has)) or "none")
def test_what_a_file_lacks_is_added_at_the_end_with_its_default(store_module, db_path, has):
    old_file(db_path, has)
    before = {t: database.columns(db_path, t) for t in ("detections", "watchlist", "alerts")}
    store = store_module.ANPRDatabase(db_path)
    for table, late in (
        ("detections", ["mmc_data", "detection_confidences"]),
        ("watchlist", ["note"]),
        ("alerts", ["note", "is_read"]),
    ):
        added = [name for name in late if name not in before[table]]
        assert database.columns(db_path, table) == before[table] + added
    assert set(database.columns(db_path, "detections")) == set(DETECTION_COLUMNS)
    late_values = "SELECT mmc_data, detection_confidences FROM detections"
    assert database.query(db_path, late_values) == [(None, None)]
    assert database.query(db_path, "SELECT plate, note FROM watchlist") == [("OLD", "")]
    assert database.query(db_path, "SELECT note, is_read FROM alerts") == [("", 0)]
    assert {"idx_timestamp", "idx_alerts_ts"} <= set(database.schema(db_path))
    record = store.get_detection(7)
    assert list(record) == database.columns(db_path, "detections")
    assert record["plates"] == ["OLD"]
    assert add(store) == 8


def test_the_oldest_layout_ends_in_its_own_column_order_and_stays_so(store_module, db_path):
    old_file(db_path, set())
    store_module.ANPRDatabase(db_path)
    assert database.columns(db_path, "detections") == DETECTION_COLUMNS
    assert database.columns(db_path, "watchlist") == ["id", "plate", "label", "created_at", "note"]
    first = ["id", "timestamp", "plate", "watchlist_label", "detection_id", "confidence"]
    assert database.columns(db_path, "alerts") == [*first, "note", "is_read"]
    before = db_path.read_bytes()
    store_module.ANPRDatabase(db_path)
    assert db_path.read_bytes() == before


@pytest.mark.parametrize("missing", ["detections", "watchlist", "alerts"])
def test_a_missing_table_is_made_beside_the_others(store_module, db_path, missing):
    old_file(db_path, set())
    database.run_script(db_path, f"DROP TABLE {missing}")
    store_module.ANPRDatabase(db_path)
    for table in ("detections", "watchlist", "alerts"):
        assert database.count(db_path, table) == (0 if table == missing else 1)


def test_a_missing_index_is_made_again(store, store_module, db_path):
    whole = database.schema(db_path)
    database.run_script(db_path, "DROP INDEX idx_timestamp; DROP INDEX idx_alerts_ts")
    store_module.ANPRDatabase(db_path)
    assert database.schema(db_path) == whole


def test_what_others_added_to_the_file_stays(store, store_module, db_path):
    database.run_script(
        db_path,
        """
        ALTER TABLE detections ADD COLUMN camera TEXT DEFAULT 'north';
        CREATE TABLE cameras (name TEXT);
        CREATE INDEX idx_camera ON detections(camera);
        """,
    )
    before = database.schema(db_path)
    again = store_module.ANPRDatabase(db_path)
    assert database.schema(db_path) == before
    detection_id = add(again)
    assert list(again.get_detection(detection_id))[-1] == "camera"
    assert again.get_detection(detection_id)["camera"] == "north"


def test_a_column_of_the_name_but_another_type_is_left_alone(store_module, db_path):
    old_file(db_path, set())
    database.run_script(db_path, "ALTER TABLE watchlist ADD COLUMN note BLOB DEFAULT 5")
    store_module.ANPRDatabase(db_path)
    assert database.query(db_path, "SELECT note FROM watchlist") == [(5,)]


def test_a_file_with_a_write_ahead_log_stays_one(store, store_module, db_path):
    database.run_script(db_path, "PRAGMA journal_mode = WAL")
    again = store_module.ANPRDatabase(db_path)
    assert add(again) == 1
    assert again.get_history() == store.get_history()
    assert database.query(db_path, "PRAGMA journal_mode") == [("wal",)]


def test_a_half_made_table_cannot_take_the_index(store_module, db_path):
    database.run_script(db_path, "CREATE TABLE detections (id INTEGER PRIMARY KEY)")
    error = error_of(store_module.ANPRDatabase, db_path)
    assert type_and_text(error) == (sqlite3.OperationalError, "no such column: timestamp")
    assert database.columns(db_path, "detections") == ["id"]
