"""Listing the watched plates, newest first."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.values import error_of, exactly, type_and_text

COLUMNS = ["id", "plate", "label", "note", "created_at"]


def ids(entries):
    return [entry["id"] for entry in entries]


def test_an_empty_watchlist_is_an_empty_list(store):
    assert exactly(store.get_watchlist()) == exactly([])


def test_an_entry_has_every_column_in_the_tables_order(store, clock):
    entry_id = store.add_watchlist("ab-123", "stolen")
    assert exactly(store.get_watchlist()) == exactly(
        [
            {
                "id": entry_id,
                "plate": "AB-123",
                "label": "stolen",
                "note": "",
                "created_at": "2024-05-01T14:03:27.512034",
            }
        ]
    )


def test_the_entry_added_last_comes_first(store, clock):
    for minute in (1, 2, 3):
        clock.set(f"2024-05-01T08:0{minute}:00")
        store.add_watchlist(f"P{minute}")
    assert [entry["plate"] for entry in store.get_watchlist()] == ["P3", "P2", "P1"]


def test_newest_is_the_greatest_text_and_not_the_greatest_id(store, clock):
    for moment in (
        "2024-05-01T08:00:00.000001",
        "2024-05-01T08:00:00",
        "2024-05-02T00:00:00",
        "2024-04-30T23:59:59.999999",
        "2024-05-01T10:00:00",
    ):
        clock.set(moment)
        store.add_watchlist(moment)
    assert ids(store.get_watchlist()) == [3, 5, 1, 2, 4]


def test_times_of_other_programs_are_compared_as_text(store, db_path):
    for stamp in ("a", "B", "é", "10", "9", ""):
        database.query(
            db_path, "INSERT INTO watchlist (plate, created_at) VALUES ('P', ?)", (stamp,)
        )
    listed = [entry["created_at"] for entry in store.get_watchlist()]
    assert listed == ["é", "a", "B", "9", "10", ""]


def test_entries_of_one_time_all_come(store, clock):
    added = [store.add_watchlist(plate) for plate in ("A", "B", "C", "D")]
    assert sorted(ids(store.get_watchlist())) == added


@pytest.mark.parametrize(
    ("column", "stored"),
    [
        ("label", None),
        ("note", None),
        ("label", '["not decoded"]'),
        ("note", "seen\0twice"),
        ("label", b"\xff\x00"),
        ("plate", b"[1]"),
        ("plate", ""),
        ("created_at", "never"),
    ],
    ids=repr,
)
def test_values_come_as_they_are_stored(store, watch, db_path, column, stored):
    watch("AB123")
    database.query(db_path, f"UPDATE watchlist SET {column} = ?", (stored,))
    (entry,) = store.get_watchlist()
    assert list(entry) == COLUMNS
    assert exactly(entry[column]) == exactly(stored)


def test_the_store_may_hold_what_the_type_of_a_column_turns_into_text(store, db_path):
    database.run_script(
        db_path, "INSERT INTO watchlist (plate, label, created_at) VALUES (5, 0.5, 7)"
    )
    (entry,) = store.get_watchlist()
    assert exactly(entry) == exactly(
        {"id": 1, "plate": "5", "label": "0.5", "note": "", "created_at": "7"}
    )


def test_the_list_and_its_entries_are_the_callers_own(store):
    store.add_watchlist("AB123", "stolen")
    first, second = store.get_watchlist(), store.get_watchlist()
    first[0]["label"] = "changed"
    first.clear()
    assert second[0]["label"] == "stolen"
    assert store.get_watchlist() == second
    assert store.get_watchlist()[0] is not second[0]


def test_a_thousand_entries_come_whole_and_in_order(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO watchlist (plate, label, created_at)
            SELECT 'P' || i, 'L' || i, printf('t%05d', i) FROM n;
        """,
    )
    listed = store.get_watchlist()
    assert ids(listed) == list(range(5000, 0, -1))
    assert all((e["plate"], e["label"]) == (f"P{e['id']}", f"L{e['id']}") for e in listed)


def test_a_row_that_is_no_mapping_cannot_become_an_entry(store, watch):
    watch("AB123")
    opened = store._get_conn

    def plain_rows():
        connection = opened()
        connection.row_factory = None
        return connection

    store._get_conn = plain_rows
    for call in (store.get_watchlist, lambda: store.check_watchlist(["AB"])):
        assert type_and_text(error_of(call)) == (
            TypeError,
            "cannot convert dictionary update sequence element #0 to a sequence",
        )


def test_listing_and_matching_write_nothing(store, watch, db_path):
    watch("AB123", "CD456")
    before = db_path.read_bytes()
    store.get_watchlist()
    store.check_watchlist(["AB123", "x", ""])
    assert db_path.read_bytes() == before


def test_text_that_is_not_utf8_ends_the_listing(store, db_path):
    database.run_script(
        db_path, "INSERT INTO watchlist (plate, created_at) VALUES (CAST(x'41ff' AS TEXT), 'then')"
    )
    expected = (sqlite3.OperationalError, "Could not decode to UTF-8 column 'plate' with text 'A�'")
    for call in (store.get_watchlist, lambda: store.check_watchlist(["A"])):
        assert type_and_text(error_of(call)) == expected
