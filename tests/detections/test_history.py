"""Paging through the detections, newest first, within bounds."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of, exactly, type_and_text

TIMES = [
    "2024-04-30T23:59:59.999999",
    "2024-05-01T00:00:00",
    "2024-05-01T08:00:00",
    "2024-05-01T08:00:00.000001",
    "2024-05-02T12:00:00",
]


@pytest.fixture
def filled(store, clock):
    """Five detections, ids 1 to 5, stamped in the order of `TIMES`."""
    for moment in TIMES:
        clock.set(moment)
        add(store, plates=[moment])
    return store


def ids(records):
    return [record["id"] for record in records]


def test_an_empty_table_is_an_empty_list(store):
    history = store.get_history()
    assert exactly(history) == exactly([])


def test_records_come_newest_first(filled):
    history = filled.get_history()
    assert type(history) is list
    assert ids(history) == [5, 4, 3, 2, 1]
    assert all(list(record) == DETECTION_COLUMNS for record in history)
    assert [record["plates"] for record in history] == [[moment] for moment in reversed(TIMES)]


def test_the_order_is_that_of_the_timestamp_text_and_not_of_the_id(filled, clock):
    clock.set("2024-05-01T04:00:00")
    add(filled)
    assert ids(filled.get_history()) == [5, 4, 3, 6, 2, 1]


def test_a_page_is_a_hundred_by_default(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 120)
        INSERT INTO detections (timestamp) SELECT printf('2024-05-01T%06d', i) FROM n;
        """,
    )
    assert ids(store.get_history()) == list(range(120, 20, -1))
    assert ids(store.get_history(offset=100)) == list(range(20, 0, -1))
    assert len(store.get_history(1000)) == 120


@pytest.mark.parametrize(
    ("limit", "offset", "expected"),
    [
        (2, 0, [5, 4]),
        (2, 2, [3, 2]),
        (2, 4, [1]),
        (2, 5, []),
        (2, 1000, []),
        (0, 0, []),
        (-1, 0, [5, 4, 3, 2, 1]),
        (-100, 3, [2, 1]),
        (3, -7, [5, 4, 3]),
        (True, False, [5]),
        (2.0, 1.0, [4, 3]),
        ("2", "1", [4, 3]),
        ("2.0", "1e0", [4, 3]),
        (2**63 - 1, 0, [5, 4, 3, 2, 1]),
    ],
)
def test_pages(filled, limit, offset, expected):
    assert ids(filled.get_history(limit, offset)) == expected
    assert ids(filled.get_history(offset=offset, limit=limit)) == expected


@pytest.mark.parametrize(
    ("date_from", "date_to", "expected"),
    [
        (None, None, [5, 4, 3, 2, 1]),
        ("", "", [5, 4, 3, 2, 1]),
        (0, False, [5, 4, 3, 2, 1]),
        ([], {}, [5, 4, 3, 2, 1]),
        ("2024-05-01", None, [5, 4, 3, 2]),
        ("2024-05-01", "", [5, 4, 3, 2]),
        (None, "2024-05-01", [1]),
        ("", "2024-05-01", [1]),
        ("2024-05-01", "2024-05-01", []),
        ("2024-05-01", "2024-05-02", [4, 3, 2]),
        ("2024-05-01T08:00:00", "2024-05-01T08:00:00", [3]),
        ("2024-05-01T08:00:00.000001", None, [5, 4]),
        (None, "2024-05-01T08:00:00", [3, 2, 1]),
        ("2024-06-01", "2024-05-01", []),
        ("2024-05-02", "2024-05-01", []),
        (" ", None, [5, 4, 3, 2, 1]),
        (None, " ", []),
        ("x", None, []),
        (None, "x", [5, 4, 3, 2, 1]),
        (2024, None, [5, 4, 3, 2, 1]),
        (None, b"2", [5, 4, 3, 2, 1]),
        (b"2", None, []),
    ],
)
def test_bounds_are_compared_as_text(filled, date_from, date_to, expected):
    assert ids(filled.get_history(date_from=date_from, date_to=date_to)) == expected
    assert ids(filled.get_history(100, 0, date_from, date_to)) == expected


def test_text_is_compared_byte_by_byte(store, db_path):
    for stamp in ("a", "B", "é", "z", "\U0001f697", "\uffee"):
        with sqlite3.connect(db_path) as connection:
            connection.execute("INSERT INTO detections (timestamp) VALUES (?)", (stamp,))
    history = store.get_history(date_from="a")
    assert [r["timestamp"] for r in history] == ["\U0001f697", "\uffee", "é", "z", "a"]


def test_bounds_and_pages_together(filled):
    page = filled.get_history(1, 1, "2024-05-01", "2024-05-02")
    assert ids(page) == [3]


def test_the_last_page_may_be_walked_to(filled):
    seen, offset = [], 0
    while page := filled.get_history(2, offset):
        seen += ids(page)
        offset += 2
    assert seen == [5, 4, 3, 2, 1]


def test_rows_of_one_timestamp_all_come(store, clock):
    for _ in range(4):
        add(store)
    assert sorted(ids(store.get_history())) == [1, 2, 3, 4]


@pytest.mark.parametrize(
    ("arguments", "expected"),
    [
        ((None,), (sqlite3.IntegrityError, "datatype mismatch")),
        (("many",), (sqlite3.IntegrityError, "datatype mismatch")),
        (("",), (sqlite3.IntegrityError, "datatype mismatch")),
        ((2.5,), (sqlite3.IntegrityError, "datatype mismatch")),
        ((b"2",), (sqlite3.IntegrityError, "datatype mismatch")),
        ((1, None), (sqlite3.IntegrityError, "datatype mismatch")),
        ((1, "many"), (sqlite3.IntegrityError, "datatype mismatch")),
        (
            ([],),
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        (
            (1, {}),
            (sqlite3.ProgrammingError, "Error binding parameter 2: type 'dict' is not supported"),
        ),
        (
            (1, 0, ["2024"]),
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        (
            (1, 0, "2024", {"a": 1}),
            (sqlite3.ProgrammingError, "Error binding parameter 2: type 'dict' is not supported"),
        ),
        ((2**63,), (OverflowError, "Python int too large to convert to SQLite INTEGER")),
        ((1, -(2**63) - 1), (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
    ids=repr,
)
def test_what_the_engine_cannot_take(filled, arguments, expected):
    error = error_of(filled.get_history, *arguments)
    assert type_and_text(error) == expected
    if expected[0] is sqlite3.IntegrityError:
        assert (error.sqlite_errorcode, error.sqlite_errorname) == (20, "SQLITE_MISMATCH")


def test_reading_writes_nothing(filled, db_path):
    before = db_path.read_bytes()
    filled.get_history()
    filled.get_detection(1)
    assert db_path.read_bytes() == before


def test_a_missing_table(store, db_path):
    database.run_script(db_path, "DROP TABLE detections")
    for call in (store.get_history, lambda: store.get_detection(1)):
        assert type_and_text(error_of(call)) == (
            sqlite3.OperationalError,
            "no such table: detections",
        )


def test_many_rows_come_whole_and_in_order(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO detections (timestamp, num_plates, plates, bboxes)
            SELECT printf('t%05d', i), i, '["P' || i || '"]', '[[' || i || ', 2.5]]' FROM n;
        """,
    )
    history = store.get_history(-1)
    assert ids(history) == list(range(5000, 0, -1))
    assert all(r["plates"] == [f"P{r['id']}"] for r in history)
    assert all(r["bboxes"] == [[r["id"], 2.5]] for r in history)


def test_long_texts_come_whole(store):
    plate = "Ä" * 300_000
    detection_ids = [add(store, plates=[plate + str(n)]) for n in range(5)]
    assert [r["plates"] for r in reversed(store.get_history())] == [
        [plate + str(n)] for n in range(len(detection_ids))
    ]
