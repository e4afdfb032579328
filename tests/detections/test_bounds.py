"""The dates that bound the history and a search: texts compared as texts, both ends included."""

from __future__ import annotations

import pytest

from support.fakes import executed
from support.operations import PAGE, SELECT_DETECTIONS
from support.samples import add
from support.stored_rows import ids, plan

TIMES = [
    "2024-04-30T23:59:59.999999",
    "2024-05-01T00:00:00",
    "2024-05-01T08:00:00",
    "2024-05-01T08:00:00.000001",
    "2024-05-02T12:00:00",
]
ALL = [5, 4, 3, 2, 1]


@pytest.fixture
def filled(store, clock):
    """Five detections, ids 1 to 5, stamped in the order of `TIMES`."""
    for moment in TIMES:
        clock.set(moment)
        add(store, plates=[moment])
    return store


@pytest.mark.parametrize(("date_from", "date_to", "expected"), [
    (None, None, ALL), ("", "", ALL), (0, False, ALL), ([], {}, ALL),
    ("2024-05-01", None, [5, 4, 3, 2]), ("2024-05-01", "", [5, 4, 3, 2]),
    (None, "2024-05-01", [1]), ("", "2024-05-01", [1]), ("2024-05-01", "2024-05-01", []),
    ("2024-05-01", "2024-05-02", [4, 3, 2]), ("2024-05-01T08:00:00", "2024-05-01T08:00:00", [3]),
    ("2024-05-01T08:00:00.000001", None, [5, 4]), (None, "2024-05-01T08:00:00", [3, 2, 1]),
    ("2024-05-01T00", "2024-05-01T08:00:00.00", [3, 2]), ("2024-06-01", "2024-05-01", []),
    ("2024-05-02", "2024-05-01", []), (" ", None, ALL), (None, " ", []), ("x", None, []),
    (None, "x", ALL), (2024, None, ALL), (None, b"2", ALL), (b"2", None, []),
])  # fmt: skip
def test_bounds_are_compared_as_text_and_inclusive(filled, date_from, date_to, expected):
    assert ids(filled.get_history(date_from=date_from, date_to=date_to)) == expected
    assert ids(filled.get_history(100, 0, date_from, date_to)) == expected
    assert ids(filled.search_plates(date_from=date_from, date_to=date_to)) == expected
    assert ids(filled.search_plates("", date_from, date_to)) == expected


def test_bounds_and_pages_together(filled):
    assert ids(filled.get_history(1, 1, "2024-05-01", "2024-05-02")) == [3]
    found = filled.search_plates("", "2024-05-01", "2024-05-02", limit=1, offset=1)
    assert ids(found) == [3]


FORMS = [
    (None, None, "", []),
    ("a", None, " WHERE timestamp >= ?", ["a"]),
    (None, "b", " WHERE timestamp <= ?", ["b"]),
    ("a", "b", " WHERE timestamp >= ? AND timestamp <= ?", ["a", "b"]),
]


@pytest.mark.parametrize(("date_from", "date_to", "condition", "bounds"), FORMS)
def test_the_four_statements_of_the_history_read_in_index_order(
    recorded, db_path, date_from, date_to, condition, bounds
):
    store, log = recorded
    store.get_history(7, 3, date_from, date_to)
    statement, parameters = executed(log)
    assert statement == SELECT_DETECTIONS + condition + PAGE
    assert parameters == [*bounds, 7, 3]
    told = plan(db_path, statement, parameters)
    assert len(told) == 1, told  # nothing is sorted
    assert "USING INDEX idx_timestamp" in told[0]
    assert told[0].startswith("SEARCH" if bounds else "SCAN")


@pytest.mark.parametrize("operation", ["get_history", "search_plates"])
def test_a_bound_counts_by_its_truth_and_is_bound_as_given(recorded, operation):
    store, log = recorded
    read = getattr(store, operation)
    for false in (None, "", 0, False, [], 0.0, b""):
        log.clear()
        read(date_from=false, date_to=false)
        assert executed(log) == (SELECT_DETECTIONS + PAGE, [100, 0])
    for true in ("x", " ", 1, True, 0.5, b"x"):
        for condition, bounds in ((FORMS[1][2], [true]), (FORMS[3][2], [true, "z"])):
            log.clear()
            read(date_from=true, date_to="z" if len(bounds) == 2 else None)
            statement, parameters = executed(log)
            assert statement == SELECT_DETECTIONS + condition + PAGE
            assert parameters == [*bounds, 100, 0]
            assert parameters[0] is true
        log.clear()
        read(date_to=true)
        statement, parameters = executed(log)
        assert statement == SELECT_DETECTIONS + FORMS[2][2] + PAGE
        assert parameters[0] is true
