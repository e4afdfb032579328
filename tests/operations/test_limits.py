"""Limits and offsets are the engine's to read: which values it takes as a number, and how many."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.fakes import steps
from support.stored_rows import put, stored_ids
from support.values import error_of, type_and_text


def kept(store, limit):
    assert store.cleanup_old(limit) is None
    return stored_ids(store.db_path)[::-1]


# What an operation gives of the five newest, the newest first.
LIMITED = {
    "get_history": lambda store, limit: ids(store.get_history(limit)),
    "search_plates": lambda store, limit: ids(store.search_plates(limit=limit)),
    "get_alerts": lambda store, limit: ids(store.get_alerts(limit)),
    "cleanup_old": kept,
}
PAGED = {
    "get_history": lambda store, *page: store.get_history(*page),
    "search_plates": lambda store, limit, offset: store.search_plates(limit=limit, offset=offset),
}


def ids(records):
    return [record["id"] for record in records]


@pytest.fixture
def five(recorded, db_path):
    """Detections and alerts 1 to 5, ever newer; and the log."""
    store, log = recorded
    for hour in range(5):
        put(db_path, f"2024-05-01T{hour:02}:00:00")
        database.query(
            db_path, "INSERT INTO alerts (timestamp, plate) VALUES (?, 'AB')", (f"t{hour}",)
        )
    return store, log


# fmt: off
COUNTS = [
    (0, 0), (1, 1), (2, 2), (4, 4), (5, 5), (6, 5), (1000, 5), (2**63 - 1, 5), (-1, 5), (-100, 5),
    (-(2**63), 5), (True, 1), (False, 0), (2.0, 2), ("2", 2), ("2.0", 2), ("2e0", 2),
]
OFFSETS = [
    (2, 2, [3, 2]), (2, 4, [1]), (2, 5, []), (2, 1000, []), (0, 1, []), (-1, 0, [5, 4, 3, 2, 1]),
    (-100, 3, [2, 1]), (3, -7, [5, 4, 3]), (True, False, [5]), (2.0, 1.0, [4, 3]),
    ("2", "1", [4, 3]), ("2.0", "1e0", [4, 3]),
]
# fmt: on


@pytest.mark.parametrize(("limit", "count"), COUNTS, ids=repr)
@pytest.mark.parametrize("name", LIMITED)
def test_a_limit_takes_that_many_of_the_newest(five, name, limit, count):
    store, _ = five
    assert LIMITED[name](store, limit) == [5, 4, 3, 2, 1][:count]


@pytest.mark.parametrize(("limit", "offset", "expected"), OFFSETS)
@pytest.mark.parametrize("name", PAGED)
def test_an_offset_passes_over_that_many(five, name, limit, offset, expected):
    store, _ = five
    assert ids(PAGED[name](store, limit, offset)) == expected


@pytest.mark.parametrize("value", [None, "many", "", "x", 2.5, b"2"], ids=repr)
@pytest.mark.parametrize("name", [*LIMITED, "get_history: offset", "search_plates: offset"])
def test_what_is_no_number_is_no_limit_and_no_offset(five, db_path, name, value):
    store, log = five
    before = database.contents(db_path)
    operation = name.removesuffix(": offset")
    error = (
        error_of(LIMITED[name], store, value)
        if operation == name
        else error_of(PAGED[operation], store, 1, value)
    )
    assert type_and_text(error) == (sqlite3.IntegrityError, "datatype mismatch")
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (20, "SQLITE_MISMATCH")
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.IntegrityError)
    assert database.contents(db_path) == before


def test_pages_may_be_walked_to_the_last(five):
    store, _ = five
    for operation in PAGED.values():
        seen, offset = [], 0
        while found := operation(store, 2, offset):
            seen += ids(found)
            offset += 2
        assert seen == [5, 4, 3, 2, 1]


SIZES = {"get_history": 100, "search_plates": 100, "get_alerts": 50, "cleanup_old": 1000}


@pytest.mark.parametrize("name", SIZES)
@pytest.mark.parametrize("more", [-1, 0, 20])
def test_how_many_by_default(store, db_path, name, more):
    size = SIZES[name]
    table = (
        "alerts (timestamp, plate)" if name == "get_alerts" else "detections (timestamp, plates)"
    )
    database.run_script(
        db_path,
        f"""
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {size + more})
        INSERT INTO {table} SELECT printf('2024-05-01T%06d', i), i FROM n;
        """,
    )
    newest = list(range(size + more, max(more, 0), -1))
    result = getattr(store, name)()
    assert (stored_ids(db_path)[::-1] if name == "cleanup_old" else ids(result)) == newest
    if name in PAGED:
        assert ids(getattr(store, name)(offset=size)) == list(range(more, 0, -1))
    if name != "cleanup_old":
        assert len(getattr(store, name)(limit=1000)) == size + more
