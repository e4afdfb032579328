"""Keeping the newest detections and deleting the rest."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import executed, steps
from support.samples import add
from support.stored_rows import plan, put, stored_ids
from support.values import error_of, exactly, type_and_text

STATEMENT = (
    "DELETE FROM detections WHERE id NOT IN"
    " (SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)"
)

ROWS = """
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {})
    INSERT INTO detections (timestamp) SELECT printf('2024-05-01T%06d', i * 7919 % 10007) FROM n;
"""


@pytest.fixture
def five(store, db_path):
    """Detections 1 to 5, ever newer."""
    for hour in range(5):
        put(db_path, f"2024-05-01T{hour:02}:00:00")
    return store


def test_the_statement_its_one_parameter_and_its_steps(recorded):
    store, log = recorded
    for given in (7, -1, "7", 10**6):
        log.clear()
        store.cleanup_old(given)
        statement, parameters = executed(log)
        assert statement == STATEMENT
        assert exactly(list(parameters)) == exactly([given])
        # How many went is not asked.
        assert steps(log) == ["_get_conn", "enter", "execute", "commit", "exit"]


def test_a_thousand_by_default(recorded):
    store, log = recorded
    store.cleanup_old()
    assert exactly(list(executed(log)[1])) == exactly([1000])


def test_the_newest_are_read_in_the_order_of_the_index(store, db_path):
    told = plan(db_path, STATEMENT, [5])
    assert told[-1] == "SCAN detections USING COVERING INDEX idx_timestamp"
    assert not any("ORDER BY" in line for line in told)


@pytest.mark.parametrize(
    ("max_entries", "left"),
    [
        (5, [1, 2, 3, 4, 5]),
        (6, [1, 2, 3, 4, 5]),
        (1000, [1, 2, 3, 4, 5]),
        (2**63 - 1, [1, 2, 3, 4, 5]),
        (4, [2, 3, 4, 5]),
        (1, [5]),
        (0, []),
        (-1, [1, 2, 3, 4, 5]),
        (-(2**63), [1, 2, 3, 4, 5]),
        (True, [5]),
        (False, []),
        (2.0, [4, 5]),
        ("2", [4, 5]),
        ("2.0", [4, 5]),
    ],
    ids=repr,
)
def test_how_many_are_kept(five, db_path, max_entries, left):
    assert five.cleanup_old(max_entries) is None
    assert stored_ids(db_path) == left


def test_by_keyword(five, db_path):
    assert five.cleanup_old(max_entries=2) is None
    assert stored_ids(db_path) == [4, 5]


def test_an_empty_table(store, db_path):
    assert store.cleanup_old() is None
    assert store.cleanup_old(0) is None
    assert stored_ids(db_path) == []


@pytest.mark.parametrize("rows", [999, 1000])
def test_nothing_goes_while_there_are_no_more_than_the_limit(store, db_path, rows):
    database.run_script(db_path, ROWS.format(rows))
    store.cleanup_old()
    assert database.count(db_path) == rows


def test_the_ones_with_the_smallest_timestamps_go(store, db_path):
    database.run_script(db_path, ROWS.format(1500))
    stamps = [row[0] for row in database.query(db_path, "SELECT timestamp FROM detections")]
    store.cleanup_old()
    kept = [row[0] for row in database.query(db_path, "SELECT timestamp FROM detections")]
    assert len(kept) == 1000
    assert sorted(kept) == sorted(stamps)[500:]


def test_age_does_not_matter(store, db_path):
    put(db_path, "0001-01-01T00:00:00")
    store.cleanup_old()
    assert stored_ids(db_path) == [1]


def test_the_text_of_the_time_decides_and_not_the_id(store, clock, db_path):
    clock.set("2024-05-01T12:00:00")
    add(store)
    add(store)
    clock.set("2024-05-01T11:00:00")  # set back
    add(store)
    clock.set("2024-05-01T13:00:00")
    add(store)
    store.cleanup_old(3)
    assert stored_ids(db_path) == [1, 2, 4]


def test_text_is_ordered_byte_by_byte(store, db_path):
    for stamp in ("a", "B", "é", "z", "\U0001f697", "", "2024"):
        put(db_path, stamp)
    store.cleanup_old(3)
    assert stored_ids(db_path) == [3, 4, 5]


def test_of_equal_timestamps_as_many_are_kept_as_fit(store, db_path):
    put(db_path, "2024-05-02")
    for _ in range(4):
        put(db_path, "2024-05-01")
    store.cleanup_old(3)
    left = stored_ids(db_path)
    assert len(left) == 3
    assert left[0] == 1


def test_a_second_time_changes_nothing(five, db_path):
    five.cleanup_old(2)
    before = database.contents(db_path)
    five.cleanup_old(2)
    assert database.contents(db_path) == before


def test_nothing_runs_by_itself(store, db_path):
    database.run_script(db_path, ROWS.format(1500))
    add(store)
    store.get_history()
    assert database.count(db_path) == 1501


@pytest.mark.parametrize(
    ("max_entries", "expected"),
    [
        (None, (sqlite3.IntegrityError, "datatype mismatch")),
        ("many", (sqlite3.IntegrityError, "datatype mismatch")),
        ("", (sqlite3.IntegrityError, "datatype mismatch")),
        (2.5, (sqlite3.IntegrityError, "datatype mismatch")),
        (b"2", (sqlite3.IntegrityError, "datatype mismatch")),
        (
            [2],
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        ({}, (sqlite3.ProgrammingError, "Error binding parameter 1: type 'dict' is not supported")),
        (2**63, (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
    ids=repr,
)
def test_what_the_engine_cannot_take_deletes_nothing(recorded, db_path, max_entries, expected):
    store, log = recorded
    add(store)
    log.clear()
    error = error_of(store.cleanup_old, max_entries)
    assert type_and_text(error) == expected
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", expected[0])
    assert stored_ids(db_path) == [1]
