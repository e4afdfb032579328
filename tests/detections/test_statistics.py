"""Totals over the whole table: the statement, the counts, and the integer 0 for what is false."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import RecordingConnection, executed, steps
from support.samples import add
from support.stored_rows import put
from support.values import error_of, exactly, type_and_text

STATEMENT = (
    "SELECT COUNT(*) as total,"
    " SUM(CASE WHEN success = 1 AND num_plates > 0 THEN 1 ELSE 0 END) as successful,"
    " SUM(CASE WHEN success = 0 OR num_plates = 0 THEN 1 ELSE 0 END) as failed,"
    " SUM(num_plates) as total_plates, AVG(processing_time) as avg_time FROM detections"
)
KEYS = [
    "total_detections",
    "successful_detections",
    "failed_detections",
    "total_plates_found",
    "avg_processing_sec",
]


def statistics(*values: object) -> object:
    return exactly(dict(zip(KEYS, values, strict=True)))


def test_the_statement_is_run_without_parameters_inside_the_scope(recorded):
    store, log = recorded
    store.get_statistics()
    assert executed(log) == (STATEMENT,)
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchone", "exit"]


def test_an_empty_table_is_all_integers_0(store):
    assert exactly(store.get_statistics()) == statistics(0, 0, 0, 0, 0)


def test_totals(store):
    add(store, processing_time=0.5)
    add(store, plates=["A"], processing_time=0.25)
    add(store, plates=[], processing_time=1.0)
    add(store, success=False, processing_time=0.25)
    result = store.get_statistics()
    assert type(result) is dict
    assert exactly(result) == statistics(4, 2, 2, 5, 0.5)


@pytest.mark.parametrize(
    ("success", "num_plates", "successful", "failed"),
    [
        (1, 2, 1, 0),
        (1, 1, 1, 0),
        (1, 0, 0, 1),
        (0, 2, 0, 1),
        (0, 0, 0, 1),
        (0, None, 0, 1),
        (None, 0, 0, 1),
        # Neither: the two do not add up to the number of detections.
        (1, None, 0, 0),
        (None, None, 0, 0),
        (None, 2, 0, 0),
        (7, 2, 0, 0),
        (-1, 2, 0, 0),
        (1, -1, 0, 0),
        (7, 0, 0, 1),
        ("yes", 2, 0, 0),
        (1, "many", 1, 0),
        (1.0, 0.5, 1, 0),
        ("1", "2", 1, 0),
    ],
)
def test_what_counts_as_successful_and_as_failed(
    store, db_path, success, num_plates, successful, failed
):
    put(db_path, success=success, num_plates=num_plates)
    result = store.get_statistics()
    assert exactly(result["total_detections"]) == exactly(1)
    assert exactly(result["successful_detections"]) == exactly(successful)
    assert exactly(result["failed_detections"]) == exactly(failed)


@pytest.mark.parametrize(
    ("numbers", "total"),
    [
        ([1, 2, 3], 6),
        ([None, 2], 2),
        ([None, None], 0),
        ([0, 0], 0),
        ([2, -2], 0),
        ([0.5, -0.5], 0),
        ([0.5, 1], 1.5),
        (["many"], 0),
        (["many", 3], 3.0),
        ([2**62, 2**62 - 1], 2**63 - 1),
    ],
    ids=repr,
)
def test_the_sum_of_plates_is_as_the_engine_sums(store, db_path, numbers, total):
    for number in numbers:
        put(db_path, num_plates=number)
    assert exactly(store.get_statistics()["total_plates_found"]) == exactly(total)


ALIASES = ["total", "successful", "failed", "total_plates", "avg_time"]


class OneRow:
    """A connection whose statement gives one row, whatever it is."""

    def __init__(self, row):
        self.row = row

    def __enter__(self):
        return self

    def __exit__(self, *error):
        return None

    def execute(self, statement):
        return self

    def fetchone(self):
        return self.row


@pytest.mark.parametrize("false", [None, 0, 0.0, -0.0, False, "", b"", [], {}], ids=repr)
def test_whatever_is_false_becomes_the_integer_0(store, false):
    store._get_conn = lambda: OneRow(dict.fromkeys(ALIASES, false))
    assert exactly(store.get_statistics()) == statistics(0, 0, 0, 0, 0)


def test_whatever_is_true_is_taken_as_it_is(store):
    class Average:
        def __round__(self, digits):
            return "rounded", digits

    kept = [object() for _ in range(4)]
    row = dict(zip(ALIASES, [*kept, Average()], strict=True))
    store._get_conn = lambda: OneRow(row)
    result = store.get_statistics()
    assert list(result) == KEYS
    assert all(result[key] is value for key, value in zip(KEYS[:4], kept, strict=True))
    assert exactly(result["avg_processing_sec"]) == exactly(("rounded", 4))


def test_the_row_is_read_by_name_in_order_inside_the_scope(store):
    log = []

    class Row:
        def __getitem__(self, name):
            log.append(name)
            return 1

    class Connection(OneRow):
        def __exit__(self, *error):
            log.append("exit")

    store._get_conn = lambda: Connection(Row())
    store.get_statistics()
    assert log == [*ALIASES, "exit"]


def test_a_result_that_cannot_be_made_ends_the_scope_with_its_error(recorded):
    class Unrounded:
        pass

    store, log = recorded
    opened = store._get_conn

    class Connection(RecordingConnection):
        def execute(self, statement):
            super().execute(statement)
            return OneRow(dict.fromkeys(ALIASES, Unrounded()))

    store._get_conn = lambda: Connection(opened()._connection, log)
    assert type_and_text(error_of(store.get_statistics)) == (
        TypeError,
        "type Unrounded doesn't define __round__ method",
    )
    assert log[-1] == ("exit", TypeError)


def test_a_sum_that_overflows_fails_it_whole(recorded, db_path):
    store, log = recorded
    put(db_path, num_plates=2**62)
    put(db_path, num_plates=2**62)
    error = error_of(store.get_statistics)
    assert type_and_text(error) == (sqlite3.OperationalError, "integer overflow")
    assert log[-1] == ("exit", sqlite3.OperationalError)


def test_a_missing_table_or_column(store, db_path):
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN processing_time")
    assert type_and_text(error_of(store.get_statistics)) == (
        sqlite3.OperationalError,
        "no such column: processing_time",
    )
    database.run_script(db_path, "DROP TABLE detections")
    assert type_and_text(error_of(store.get_statistics)) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )


def test_counting_writes_nothing_and_keeps_nothing(store, db_path):
    add(store)
    before = db_path.read_bytes()
    first = store.get_statistics()
    first["total_detections"] = "changed"
    assert store.get_statistics()["total_detections"] == 1
    assert db_path.read_bytes() == before
    database.run_script(db_path, "DELETE FROM detections")
    assert store.get_statistics()["total_detections"] == 0
