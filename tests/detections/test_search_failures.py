"""Searches that fail: the error, when it comes, and that nothing is left open or returned."""

from __future__ import annotations

import sqlite3

import pytest

from support.fakes import steps
from support.samples import add
from support.stored_rows import put
from support.values import error_of, type_and_text


def test_a_text_that_cannot_be_made_fails_before_a_connection_is_opened(recorded):
    store, log = recorded
    for name in ("query", "mmc_make", "mmc_side"):
        assert type_and_text(error_of(store.search_plates, **{name: 10**5000})) == (
            ValueError,
            "Exceeds the limit (4300 digits) for integer string conversion;"
            " use sys.set_int_max_str_digits() to increase the limit",
        )
    assert log == []


NO_ENCODING = "'utf-8' codec can't encode character '\\ud800' in position 1: surrogates not allowed"
TOO_LONG = "LIKE or GLOB pattern too complex"


@pytest.mark.parametrize(
    ("query", "expected"),
    [
        ("\ud800", (UnicodeEncodeError, NO_ENCODING)),
        ("x" * 60_000, (sqlite3.OperationalError, TOO_LONG)),
    ],
    ids=["no encoding", "too long"],
)
def test_a_pattern_that_the_engine_cannot_take(recorded, query, expected):
    store, log = recorded
    add(store)
    log.clear()
    assert type_and_text(error_of(store.search_plates, query)) == expected
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", expected[0])


def test_a_row_that_cannot_be_converted_fails_the_search(recorded, db_path):
    store, log = recorded
    add(store)
    put(db_path, timestamp="1999", plates=b"\xff")
    assert type_and_text(error_of(store.search_plates)) == (
        UnicodeDecodeError,
        "'utf-8' codec can't decode byte 0xff in position 0: invalid start byte",
    )
    assert log[-1] == ("exit", UnicodeDecodeError)


def test_one_record_that_does_not_compare_fails_the_whole_search(store, db_path):
    put(db_path, "2024-05-02", num_plates=1, confidences="[0.9]")
    put(db_path, "2024-05-01", num_plates=1, confidences="[null]")
    error = error_of(store.search_plates, min_confidence=0.5)
    text = "'>=' not supported between instances of 'NoneType' and 'float'"
    assert type_and_text(error) == (TypeError, text)
    assert len(store.search_plates(min_confidence=0.5, limit=1)) == 1
