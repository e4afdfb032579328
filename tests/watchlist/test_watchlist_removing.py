"""Removing one entry of the watchlist by its id."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.values import error_of, exactly, type_and_text


def remaining(path):
    return [row[0] for row in database.query(path, "SELECT id FROM watchlist ORDER BY id")]


def test_an_entry_is_there_once(store, watch, db_path):
    watch("A", "B", "C")
    assert store.remove_watchlist(2) is True
    assert store.remove_watchlist(2) is False
    assert remaining(db_path) == [1, 3]


def test_an_id_that_does_not_exist_is_no_error(store, watch, db_path):
    watch("A")
    for missing in (0, -1, 2, 2**63 - 1, "x", None, b"1", 1.5, ""):
        assert store.remove_watchlist(missing) is False
    assert remaining(db_path) == [1]


@pytest.mark.parametrize("given", [2, 2.0, "2", "2.0", " 2 ", True + 1], ids=repr)
def test_the_engine_compares_the_id_as_a_number(store, watch, db_path, given):
    watch("A", "B")
    assert store.remove_watchlist(given) is True
    assert remaining(db_path) == [1]


def test_true_is_one(store, watch, db_path):
    watch("A", "B")
    assert store.remove_watchlist(True) is True
    assert remaining(db_path) == [2]


def test_an_entry_that_was_removed_matches_no_more(store):
    entry_id = store.add_watchlist("AB123")
    assert len(store.check_watchlist(["AB123"])) == 1
    store.remove_watchlist(watchlist_id=entry_id)
    assert store.check_watchlist(["AB123"]) == []
    assert store.get_watchlist() == []


def test_alerts_of_a_removed_entry_stay_as_they_were(store):
    entry_id = store.add_watchlist("AB123", "stolen")
    store.add_alert("AB123", "stolen", 1, 0.5)
    before = store.get_alerts()
    store.remove_watchlist(entry_id)
    assert exactly(store.get_alerts()) == exactly(before)
    assert before[0]["watchlist_label"] == "stolen"


def test_rows_that_a_trigger_deletes_are_not_counted(store, watch, db_path):
    watch("A")
    store.add_alert("A", "l", 1, 0.5)
    database.run_script(
        db_path,
        "CREATE TRIGGER t BEFORE DELETE ON watchlist BEGIN DELETE FROM alerts; END",
    )
    assert store.remove_watchlist(5) is False
    assert database.count(db_path, "alerts") == 1
    assert store.remove_watchlist(1) is True
    assert database.count(db_path, "alerts") == 0


def test_the_count_of_the_cursor_decides(store):
    for told, expected in ((0, False), (1, True), (2, True), (-1, False), (0.5, True)):

        class Cursor:
            rowcount = told

        class Connection:
            def __enter__(self):
                return self

            def __exit__(self, *error):
                pass

            def execute(self, statement, parameters):
                return Cursor()

            def commit(self):
                pass

        store._get_conn = Connection
        assert store.remove_watchlist(1) is expected


@pytest.mark.parametrize(
    ("given", "expected"),
    [
        ([], (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported")),
        ({}, (sqlite3.ProgrammingError, "Error binding parameter 1: type 'dict' is not supported")),
        (2**63, (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
    ids=repr,
)
def test_an_id_that_cannot_be_bound(store, watch, db_path, given, expected):
    watch("A")
    assert type_and_text(error_of(store.remove_watchlist, given)) == expected
    assert remaining(db_path) == [1]
