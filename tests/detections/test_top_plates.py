"""The plates seen most often: the order, the 500 newest detections, and the limit as a slice."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.fakes import steps
from support.samples import add
from support.stored_rows import put
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def seen(store, db_path, clock):
    """Records the plate lists, the newest first, and tells how often each plate was seen."""

    def count(*newest_first, limit=100):
        for hour, plates in enumerate(reversed(newest_first)):
            clock.set(f"2024-05-01T{hour:02}:00:00")
            add(store, plates=plates)
        return [(entry["plate"], entry["count"]) for entry in store.get_top_plates(limit)]

    return count


def test_entries_are_plate_and_count(store):
    add(store, plates=["AB12", "CD34", "AB12"])
    assert exactly(store.get_top_plates()) == exactly(
        [{"plate": "AB12", "count": 2}, {"plate": "CD34", "count": 1}]
    )


@pytest.mark.parametrize(("newest_first", "counted"), [
    ([["AB12", "CD34"], ["CD34"]], [("CD34", 2), ("AB12", 1)]),
    # Equal counts come as first met, from the newest on, and in one detection from its first.
    ([["XY1"], ["ZZ9"]], [("XY1", 1), ("ZZ9", 1)]),
    ([["B", "A"], ["C", "A", "B"], ["D", "C"]], [("B", 2), ("A", 2), ("C", 2), ("D", 1)]),
])  # fmt: skip
def test_most_frequent_first_and_then_as_first_met(seen, newest_first, counted):
    assert seen(*newest_first) == counted


def test_an_order_that_a_sort_must_not_disturb(seen):
    plates = [f"P{n}" for n in range(90)]
    counted = seen(plates, plates[::-1], plates[::3])
    thirds = [(plate, 3) for plate in plates[::3]]
    rest = [(plate, 2) for n, plate in enumerate(plates) if n % 3]
    assert counted == thirds + rest


def test_newest_is_by_the_text_of_the_time(store, clock):
    for moment, plate in (("14:00:00", "FIRST"), ("12:00:00", "LATE"), ("13:00:00", "LAST")):
        clock.set("2024-05-01T" + moment)
        add(store, plates=[plate])
    assert [entry["plate"] for entry in store.get_top_plates()] == ["FIRST", "LAST", "LATE"]


def test_plates_count_as_they_are_written(seen):
    plates = ["AB12", "ab12", "AB 12", "AB-12", " AB12", "ÄB", "äb", ""]
    assert seen(plates) == [(plate, 1) for plate in plates]


@pytest.mark.parametrize(
    "plate", ["車両 12", "\U0001f697", "\ud83d", "a\x00b", '"', "\\", "\u2028", "ß"], ids=ascii
)
def test_plates_of_any_script(seen, plate):
    assert exactly(seen([plate, plate], ["x"], [plate])) == exactly([(plate, 3), ("x", 1)])


def test_only_the_500_newest_with_plates_count(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 501)
        INSERT INTO detections (timestamp, num_plates, plates)
            SELECT printf('%06d', i), 1, '["P' || i || '", "EACH"]' FROM n;
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300)
        INSERT INTO detections (timestamp, num_plates, plates)
            SELECT printf('9%06d', i), 0, '["NONE"]' FROM n;
        """,
    )
    counted = store.get_top_plates(10_000)
    assert counted[0] == {"plate": "EACH", "count": 500}
    assert [entry["plate"] for entry in counted[1:]] == [f"P{n}" for n in range(501, 1, -1)]


@pytest.mark.parametrize(("num_plates", "counts"), [(0, 0), (None, 0), (-1, 0), (1, 1), (7, 1)])
def test_the_number_of_plates_decides_whether_a_row_counts(store, db_path, num_plates, counts):
    put(db_path, num_plates=num_plates, plates='["AB12"]')
    assert len(store.get_top_plates()) == counts


def test_whether_it_succeeded_does_not_matter(store):
    add(store, plates=["AB12"], success=False)
    assert store.get_top_plates() == [{"plate": "AB12", "count": 1}]


def test_an_empty_table_is_an_empty_list(store):
    assert exactly(store.get_top_plates()) == exactly([])


class Index:
    def __init__(self, result):
        self.result = result

    def __index__(self):
        if isinstance(self.result, Exception):
            raise self.result
        return self.result


def test_five_by_default(store):
    add(store, plates=list("ABCDEFG"))
    assert [entry["plate"] for entry in store.get_top_plates()] == list("ABCDE")


@pytest.mark.parametrize(("limit", "kept"), [
    (0, ""), (1, "A"), (3, "ABC"), (7, "ABCDEFG"), (8, "ABCDEFG"), (10**30, "ABCDEFG"),
    (-1, "ABCDEF"), (-6, "A"), (-7, ""), (-8, ""), (-(10**30), ""), (None, "ABCDEFG"), (True, "A"),
    (False, ""), (2**63 - 1, "ABCDEFG"), (2**63, "ABCDEFG"), (-(2**63), ""),
], ids=repr)  # fmt: skip
def test_a_limit_slices_as_it_slices_a_list(store, limit, kept):
    add(store, plates=list("ABCDEFG"))
    for value in (limit, limit if limit is None else Index(int(limit))):
        assert [entry["plate"] for entry in store.get_top_plates(value)] == list(kept)
    assert store.get_top_plates(limit=limit) == store.get_top_plates(limit)


def test_the_limit_cuts_the_ranking_and_not_what_is_counted(store):
    add(store, plates=["AB12", "CD34"])
    add(store, plates=["CD34"])
    assert store.get_top_plates(1) == [{"plate": "CD34", "count": 2}]
    add(store, plates=["CD34"])
    assert store.get_top_plates(-1) == [{"plate": "CD34", "count": 3}]


SLICE = (
    TypeError,
    "slice indices must be integers or None or have an __index__ method",
)
AFTER_THE_SCOPE = ["_get_conn", "enter", "execute", "fetchall", "exit"]


@pytest.mark.parametrize(
    "limit", ["5", "", 5.0, 0.5, [], b"1", 1j, float("nan"), sqlite3.Row], ids=str
)
@pytest.mark.parametrize("rows", [0, 1])
def test_a_limit_that_does_not_slice_fails_after_the_scope(recorded, limit, rows):
    store, log = recorded
    for _ in range(rows):
        add(store)
    log.clear()
    assert type_and_text(error_of(store.get_top_plates, limit)) == SLICE
    assert steps(log) == AFTER_THE_SCOPE
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize(("result", "expected"), [
    ("5", (TypeError, "__index__ returned non-int (type str)")),
    (None, (TypeError, "__index__ returned non-int (type NoneType)")),
    (LookupError("no index"), (LookupError, "no index")),
    (TypeError("no index"), (TypeError, "no index")),
], ids=repr)  # fmt: skip
def test_an_index_that_fails(recorded, result, expected):
    store, log = recorded
    add(store)
    log.clear()
    assert type_and_text(error_of(store.get_top_plates, Index(result))) == expected
    assert steps(log) == AFTER_THE_SCOPE
