"""A call that has returned, or failed, has closed its connection: no collector is needed."""

from __future__ import annotations

import gc
import sqlite3

import pytest

from support.database import lock_held, open_descriptors, run_script
from support.samples import add
from support.values import error_of


@pytest.fixture
def store(native, db_path):
    """Python's own connections wait for the collector, so this is about the native ones."""
    gc.collect()
    gc.disable()
    yield native.ANPRDatabase(db_path)
    gc.enable()


CALLS = {
    "constructing": lambda store: type(store)(store.db_path),
    "schema": lambda store: store._init_schema(),
    "recording": add,
    "history": lambda store: store.get_history(),
    "history of none": lambda store: store.get_history(0),
    "lookup": lambda store: store.get_detection(1),
    "lookup of none": lambda store: store.get_detection(99),
    "image paths": lambda store: store.update_image_paths(1, "a", "b"),
    "attributes": lambda store: store.update_mmc_data(1, {}),
    "search": lambda store: store.search_plates("AB", min_confidence=0.1),
    "statistics": lambda store: store.get_statistics(),
    "hourly counts": lambda store: store.get_hourly_stats(),
    "top plates": lambda store: store.get_top_plates(),
    "deletion": lambda store: store.delete_detection(1),
    "deletion of many": lambda store: store.delete_detections([1, 2]),
    "retention": lambda store: store.cleanup_old(0),
    "watching": lambda store: store.add_watchlist("AB 1"),
    "watchlist": lambda store: store.get_watchlist(),
    "matching": lambda store: store.check_watchlist(["AB 1"]),
    "unwatching": lambda store: store.remove_watchlist(1),
    "alerting": lambda store: store.add_alert("AB 1", "", 1, 0.5),
    "alerts": lambda store: store.get_alerts(),
    "count of alerts": lambda store: store.get_alert_count(),
    "reading alerts": lambda store: store.mark_alerts_read(),
    "alerts of detections": lambda store: store.get_alerts_for_detections([1]),
}

FAILURES = {
    "recording: no length": lambda store: add(store, plates=None),
    "recording: no JSON": lambda store: add(store, bboxes=[{1}]),
    "recording: no parameter": lambda store: add(store, ocr_time=[]),
    "recording: too large": lambda store: add(store, ocr_time=2**63),
    "history: no number": lambda store: store.get_history("many"),
    "history: no parameter": lambda store: store.get_history(offset=[]),
    "lookup: no parameter": lambda store: store.get_detection({}),
    "image paths: no parameter": lambda store: store.update_image_paths(1, {}, None),
    "attributes: no JSON": lambda store: store.update_mmc_data(1, {1}),
    "search: no parameter": lambda store: store.search_plates(date_from=[1]),
    "top plates: no slice": lambda store: store.get_top_plates("5"),
    "deletion: no parameter": lambda store: store.delete_detections([[]]),
    "retention: no number": lambda store: store.cleanup_old(None),
    "watching: no text": lambda store: store.add_watchlist("AB 1", None),
    "matching: no text": lambda store: store.check_watchlist([5]),
    "alerting: no plate": lambda store: store.add_alert(None, "", 1, 0.5),
    "alerts of detections: no length": lambda store: store.get_alerts_for_detections(5),
    "arguments": lambda store: store.get_history(page=1),
}


def test_constructing_leaves_no_descriptor(store, db_path):
    assert open_descriptors(db_path) == []


@pytest.mark.parametrize("journal", ["DELETE", "WAL"])
@pytest.mark.parametrize("call", CALLS.values(), ids=CALLS)
def test_a_call_leaves_no_descriptor(store, db_path, call, journal):
    run_script(db_path, f"PRAGMA journal_mode = {journal}")
    add(store)
    result = call(store)
    assert open_descriptors(db_path) == []
    assert result is not store


@pytest.mark.parametrize("call", FAILURES.values(), ids=FAILURES)
def test_a_failing_call_leaves_none_while_its_error_is_still_held(store, db_path, call):
    add(store)
    error = error_of(call, store)
    assert open_descriptors(db_path) == []
    assert error.__traceback__ is not None


def test_a_failing_conversion_leaves_none(store, db_path):
    add(store)
    run_script(db_path, "UPDATE detections SET plates = x'ff'")
    for call in (store.get_history, lambda: store.get_detection(1)):
        error = error_of(call)
        assert type(error) is UnicodeDecodeError
        assert open_descriptors(db_path) == []


def test_a_missing_table_leaves_none(store, db_path):
    run_script(db_path, "DROP TABLE detections")
    for call in (add, lambda store: store.get_history(), lambda store: store.get_detection(1)):
        error = error_of(call, store)
        assert type(error) is sqlite3.OperationalError
        assert open_descriptors(db_path) == []


def test_a_file_that_is_no_database_leaves_none(store, native, tmp_path):
    path = tmp_path / "no.db"
    path.write_bytes(b"no database " * 100)
    error = error_of(native.ANPRDatabase, path)
    assert type(error) is sqlite3.DatabaseError
    assert open_descriptors(path) == []


def test_a_locked_file_leaves_only_the_holders(native, store, db_path):
    class Impatient(native.ANPRDatabase):
        def _get_conn(self):
            connection = super()._get_conn()
            connection.execute("PRAGMA busy_timeout = 0")
            return connection

    impatient = Impatient(db_path)
    with lock_held(db_path, "EXCLUSIVE"):
        held = len(open_descriptors(db_path))
        error = error_of(impatient.get_history)
        assert str(error) == "database is locked"
        # While another connection of this process has a lock, the engine puts off closing a
        # descriptor of the same file: POSIX locks go with the first one closed.
        assert len(open_descriptors(db_path)) <= held + 1
    assert open_descriptors(db_path) == []


def test_a_row_that_the_caller_keeps_keeps_no_file_open(store, db_path):
    add(store)
    kept = []
    store._row_to_dict = lambda row: kept.append(row)
    store.get_history()
    assert open_descriptors(db_path) == []
    assert kept[0]["id"] == 1


def test_a_cursor_that_the_caller_keeps_keeps_its_connection(store, db_path):
    connection = store._get_conn()
    cursor = connection.execute("SELECT 5 UNION ALL SELECT 6")
    del connection
    assert len(open_descriptors(db_path)) == 1
    assert [tuple(row) for row in cursor.fetchall()] == [(5,), (6,)]
    del cursor
    assert open_descriptors(db_path) == []


def test_a_connection_closes_with_its_last_reference(store, db_path):
    connection = store._get_conn()
    connection.execute("INSERT INTO watchlist (plate, created_at) VALUES ('A', 'now')")
    assert len(open_descriptors(db_path)) >= 1
    del connection
    assert open_descriptors(db_path) == []
