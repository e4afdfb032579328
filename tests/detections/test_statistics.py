"""Totals over the whole table: the counts, and the integer 0 for what is false."""

from __future__ import annotations

import sqlite3

import pytest

from support.fakes import FakeConnection, FakeRow, give
from support.samples import add
from support.stored_rows import put
from support.values import error_of, exactly, type_and_text

KEYS = [
    "total_detections",
    "successful_detections",
    "failed_detections",
    "total_plates_found",
    "avg_processing_sec",
]


def statistics(*values: object) -> object:
    return exactly(dict(zip(KEYS, values, strict=True)))


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


@pytest.mark.parametrize(("success", "num_plates", "successful", "failed"), [
    (1, 2, 1, 0), (1, 1, 1, 0), (1, 0, 0, 1), (0, 2, 0, 1), (0, 0, 0, 1), (0, None, 0, 1),
    (None, 0, 0, 1),
    # Neither: the two do not add up to the number of detections.
    (1, None, 0, 0), (None, None, 0, 0), (None, 2, 0, 0), (7, 2, 0, 0), (-1, 2, 0, 0),
    (1, -1, 0, 0), (7, 0, 0, 1), ("yes", 2, 0, 0), (1, "many", 1, 0), (1.0, 0.5, 1, 0),
    ("1", "2", 1, 0),
])  # fmt: skip
def test_what_counts_as_successful_and_as_failed(
    store, db_path, success, num_plates, successful, failed
):
    put(db_path, success=success, num_plates=num_plates)
    result = store.get_statistics()
    assert exactly(result["total_detections"]) == exactly(1)
    assert exactly(result["successful_detections"]) == exactly(successful)
    assert exactly(result["failed_detections"]) == exactly(failed)


@pytest.mark.parametrize(("numbers", "total"), [
    ([1, 2, 3], 6), ([None, 2], 2), ([None, None], 0), ([0, 0], 0), ([2, -2], 0), ([0.5, -0.5], 0),
    ([0.5, 1], 1.5), (["many"], 0), (["many", 3], 3.0), ([2**62, 2**62 - 1], 2**63 - 1),
], ids=repr)  # fmt: skip
def test_the_sum_of_plates_is_as_the_engine_sums(store, db_path, numbers, total):
    for number in numbers:
        put(db_path, num_plates=number)
    assert exactly(store.get_statistics()["total_plates_found"]) == exactly(total)


ALIASES = ["total", "successful", "failed", "total_plates", "avg_time"]


def answer_with(store, row, log=None):
    give(store, FakeConnection([row], log=log))


def test_whatever_is_false_becomes_the_integer_0(store):
    for false in (None, 0, 0.0, -0.0, False, "", b"", [], {}):
        answer_with(store, dict.fromkeys(ALIASES, false))
        assert exactly(store.get_statistics()) == statistics(0, 0, 0, 0, 0)


def test_whatever_is_true_is_taken_as_it_is(store):
    class Average:
        def __round__(self, digits):
            return "rounded", digits

    kept = [object() for _ in range(4)]
    answer_with(store, dict(zip(ALIASES, [*kept, Average()], strict=True)))
    result = store.get_statistics()
    assert list(result) == KEYS
    assert all(result[key] is value for key, value in zip(KEYS[:4], kept, strict=True))
    assert exactly(result["avg_processing_sec"]) == exactly(("rounded", 4))


def test_the_row_is_read_by_name_in_order_inside_the_scope(store):
    log = []
    answer_with(store, FakeRow(dict.fromkeys(ALIASES, 1), log), log)
    store.get_statistics()
    items = [("item", name) for name in ALIASES]
    assert log[2:] == [("fetchone",), *items, ("exit", None)]


def test_a_result_that_cannot_be_made_ends_the_scope_with_its_error(store):
    class Unrounded:
        pass

    log = []
    answer_with(store, dict.fromkeys(ALIASES, Unrounded()), log)
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
