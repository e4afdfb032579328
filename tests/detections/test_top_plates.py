"""The plates seen most often: the statement, the order, the 500 newest detections."""

from __future__ import annotations

import pytest

from support import database
from support.recording import executed, steps
from support.samples import add
from support.stored_rows import plan, put
from support.values import exactly

STATEMENT = "SELECT plates FROM detections WHERE num_plates > 0 ORDER BY timestamp DESC LIMIT 500"


@pytest.fixture
def seen(store, db_path, clock):
    """Records the plate lists, the newest first, and tells how often each plate was seen."""

    def count(*newest_first, limit=100):
        for hour, plates in enumerate(reversed(newest_first)):
            clock.set(f"2024-05-01T{hour:02}:00:00")
            add(store, plates=plates)
        return [(entry["plate"], entry["count"]) for entry in store.get_top_plates(limit)]

    return count


def test_the_statement_is_run_without_parameters(recorded):
    store, log = recorded
    store.get_top_plates(1000)
    assert executed(log) == (STATEMENT,)
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]


def test_the_newest_are_read_in_the_order_of_the_index(store, db_path):
    assert plan(db_path, STATEMENT) == ["SCAN detections USING INDEX idx_timestamp"]


def test_an_empty_table_is_an_empty_list(store):
    assert exactly(store.get_top_plates()) == exactly([])


def test_entries_are_plate_and_count(store):
    add(store, plates=["AB12", "CD34", "AB12"])
    assert exactly(store.get_top_plates()) == exactly(
        [{"plate": "AB12", "count": 2}, {"plate": "CD34", "count": 1}]
    )


def test_most_frequent_first(seen):
    assert seen(["AB12", "CD34"], ["CD34"]) == [("CD34", 2), ("AB12", 1)]


def test_equal_counts_come_as_first_met_from_the_newest_on(seen):
    assert seen(["XY1"], ["ZZ9"]) == [("XY1", 1), ("ZZ9", 1)]


def test_within_one_detection_the_earlier_comes_first(seen):
    assert seen(["B", "A"], ["C", "A", "B"], ["D", "C"]) == [
        ("B", 2),
        ("A", 2),
        ("C", 2),
        ("D", 1),
    ]


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
    assert seen(["AB12", "ab12", "AB 12", "AB-12", " AB12", "ÄB", "äb", ""]) == [
        ("AB12", 1),
        ("ab12", 1),
        ("AB 12", 1),
        ("AB-12", 1),
        (" AB12", 1),
        ("ÄB", 1),
        ("äb", 1),
        ("", 1),
    ]


@pytest.mark.parametrize(
    "plate", ["車両 12", "\U0001f697", "\ud83d", "a\x00b", '"', "\\", "\u2028", "ß"], ids=ascii
)
def test_plates_of_any_script(seen, plate):
    assert exactly(seen([plate, plate], ["x"], [plate])) == exactly([(plate, 3), ("x", 1)])


def test_five_by_default(store):
    add(store, plates=list("ABCDEFG"))
    assert [entry["plate"] for entry in store.get_top_plates()] == list("ABCDE")


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


class Index:
    def __init__(self, value):
        self.value = value

    def __index__(self):
        return self.value


@pytest.mark.parametrize(
    ("limit", "kept"),
    [
        (0, ""),
        (1, "A"),
        (3, "ABC"),
        (7, "ABCDEFG"),
        (8, "ABCDEFG"),
        (10**30, "ABCDEFG"),
        (-1, "ABCDEF"),
        (-6, "A"),
        (-7, ""),
        (-8, ""),
        (-(10**30), ""),
        (None, "ABCDEFG"),
        (True, "A"),
        (False, ""),
        (2**63 - 1, "ABCDEFG"),
        (2**63, "ABCDEFG"),
        (-(2**63), ""),
    ],
    ids=repr,
)
def test_a_limit_slices_as_it_slices_a_list(store, limit, kept):
    add(store, plates=list("ABCDEFG"))
    for value in (limit, limit if limit is None else Index(int(limit))):
        assert [entry["plate"] for entry in store.get_top_plates(value)] == list(kept)
    assert store.get_top_plates(limit=limit) == store.get_top_plates(limit)


def test_the_limit_cuts_the_ranking_and_not_what_is_counted(seen):
    assert seen(["AB12", "CD34"], ["CD34"], limit=1) == [("CD34", 2)]
    assert seen(["AB12", "CD34"], ["CD34"], limit=-1) == [("CD34", 4)]


def test_counting_writes_nothing_and_keeps_nothing(store, db_path):
    add(store)
    before = db_path.read_bytes()
    store.get_top_plates()[0]["count"] = "changed"
    assert [entry["count"] for entry in store.get_top_plates()] == [1, 1]
    assert db_path.read_bytes() == before
    database.run_script(db_path, "DELETE FROM detections")
    assert store.get_top_plates() == []
