"""Keeping the newest detections and deleting the rest."""

from __future__ import annotations

from support import database
from support.samples import add
from support.stored_rows import put, stored_ids

ROWS = """
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {})
    INSERT INTO detections (timestamp) SELECT printf('2024-05-01T%06d', i * 7919 % 10007) FROM n;
"""


def stamps(path):
    return [row[0] for row in database.query(path, "SELECT timestamp FROM detections")]


def test_an_empty_table(store, db_path):
    assert store.cleanup_old() is None
    assert store.cleanup_old(0) is None
    assert stored_ids(db_path) == []


def test_the_ones_with_the_smallest_timestamps_go(store, db_path):
    database.run_script(db_path, ROWS.format(1500))
    before = stamps(db_path)
    store.cleanup_old()
    kept = stamps(db_path)
    assert len(kept) == 1000
    assert sorted(kept) == sorted(before)[500:]


def test_age_does_not_matter(store, db_path):
    put(db_path, "0001-01-01T00:00:00")
    store.cleanup_old()
    assert stored_ids(db_path) == [1]


def test_the_text_of_the_time_decides_and_not_the_id(store, clock, db_path):
    for moment in ("12:00:00", "12:00:00", "11:00:00", "13:00:00"):  # once set back
        clock.set("2024-05-01T" + moment)
        add(store)
    store.cleanup_old(3)
    assert stored_ids(db_path) == [1, 2, 4]


def test_text_is_ordered_byte_by_byte(store, db_path):
    for stamp in ("a", "B", "é", "z", "\U0001f697", "", "2024"):
        put(db_path, stamp)
    store.cleanup_old(3)
    assert stored_ids(db_path) == [3, 4, 5]


def test_of_equal_timestamps_as_many_are_kept_as_fit(store, db_path):
    for stamp in ("2024-05-02", *["2024-05-01"] * 4):
        put(db_path, stamp)
    store.cleanup_old(3)
    left = stored_ids(db_path)
    assert len(left) == 3
    assert left[0] == 1
    before = database.contents(db_path)
    store.cleanup_old(3)  # a second time changes nothing
    assert database.contents(db_path) == before


def test_nothing_runs_by_itself(store, db_path):
    database.run_script(db_path, ROWS.format(1500))
    add(store)
    store.get_history()
    assert database.count(db_path) == 1501
