"""Entries that are not exactly text, as another program or another connection may leave them."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.values import error_of, exactly, type_and_text

BYTES_ERROR = (TypeError, "a bytes-like object is required, not 'str'")


def failure(store, *plates):
    return type_and_text(error_of(store.check_watchlist, list(plates)))


def no_capitals(kind):
    return AttributeError, f"'{kind}' object has no attribute 'upper'"


@pytest.fixture
def loose(store, db_path):
    """The watchlist of a program that was not strict about its columns."""
    database.run_script(
        db_path,
        """
        DROP TABLE watchlist;
        CREATE TABLE watchlist (id INTEGER PRIMARY KEY, plate, label, created_at);
        """,
    )

    def put(*plates):
        for plate in plates:
            database.query(db_path, "INSERT INTO watchlist (plate) VALUES (?)", (plate,))

    return put


@pytest.mark.parametrize(("plate", "expected"), [
    (5, no_capitals("int")), (0.5, no_capitals("float")), (None, no_capitals("NoneType")),
    (b"", BYTES_ERROR), (b"AB", BYTES_ERROR),
], ids=repr)  # fmt: skip
def test_an_entry_that_is_no_text_ends_the_matching_when_it_is_reached(
    store, loose, plate, expected
):
    loose("AB", plate, None)  # the first that fails is told
    assert failure(store, "AB") == expected
    assert store.check_watchlist(iter([])) == store.check_watchlist([]) == []
    assert exactly(store.get_watchlist()[1]["plate"]) == exactly(plate)
    # The plate's own error comes before the entry's.
    assert failure(store, ["AB"]) == no_capitals("list")


@pytest.fixture
def with_factory(store, db_path):
    """Makes the store read through Python's own connection, texts made by this factory."""

    def use(factory):
        def connect():
            connection = sqlite3.connect(db_path)
            connection.row_factory = sqlite3.Row
            connection.text_factory = factory
            return connection

        store._get_conn = connect

    return use


def test_texts_that_a_connection_hands_over_as_bytes(store, watch, with_factory):
    watch("AB")
    with_factory(bytes)
    assert failure(store, "AB") == BYTES_ERROR


def test_texts_that_a_connection_hands_over_as_a_subclass(store, watch, with_factory):
    class Plate(str):
        __slots__ = ()

        def __new__(cls, raw):
            return super().__new__(cls, raw.decode())

        def upper(self):
            asked.append(str(self))
            return str(self) + "X"

    asked = []
    watch("CD", "AB")
    with_factory(Plate)
    first, second = store.check_watchlist(["abx", "dx"])
    assert asked == ["CD", "AB", "CD", "AB"]  # anew for each plate: nothing is kept
    assert (first["watchlist_id"], second["watchlist_id"]) == (2, 1)
    assert type(first["watchlist_plate"]) is type(first["label"]) is Plate


def test_entries_without_the_columns_that_matching_needs(store, answering):
    answering([{"id": 1, "label": ""}])
    assert failure(store, "AB") == (KeyError, "'plate'")
    answering([{"plate": "CD", "label": ""}])
    assert store.check_watchlist(["AB"]) == []
    assert failure(store, "CD") == (KeyError, "'id'")
    answering([{"plate": "CD", "id": 5}])
    assert exactly(store.check_watchlist(["CD"])) == exactly(
        [{"detected_plate": "CD", "watchlist_plate": "CD", "label": "", "watchlist_id": 5}]
    )


def test_an_entry_hands_on_its_very_values(store, answering):
    plate, label, entry_id = "".join(["C", "D"]), object(), object()
    answering([{"plate": plate, "label": label, "id": entry_id, "more": 1}])
    (match,) = store.check_watchlist(["cd"])
    assert list(match) == ["detected_plate", "watchlist_plate", "label", "watchlist_id"]
    assert match["watchlist_plate"] is plate
    assert match["label"] is label
    assert match["watchlist_id"] is entry_id
