"""Recording an alert: every value as it was given, and the time."""

from __future__ import annotations

import sqlite3
from datetime import datetime

import pytest

from support import database
from support.samples import add
from support.values import error_of, exactly, type_and_text

COLUMNS = [
    "id",
    "timestamp",
    "plate",
    "watchlist_label",
    "note",
    "detection_id",
    "confidence",
    "is_read",
]


def stored(store, *arguments, **named):
    alert_id = store.add_alert(*arguments, **named)
    (row,) = database.query(store.db_path, "SELECT * FROM alerts WHERE id = ?", (alert_id,))
    return dict(zip(COLUMNS, row, strict=True))


def test_an_alert_fills_its_columns(store, clock):
    assert exactly(stored(store, "ab 123", "stolen", 7, 0.93)) == exactly(
        {
            "id": 1,
            "timestamp": "2024-05-01T14:03:27.512034",
            "plate": "ab 123",
            "watchlist_label": "stolen",
            "note": "",
            "detection_id": 7,
            "confidence": 0.93,
            "is_read": 0,
        }
    )
    assert clock.readings == 1


def test_the_id_is_new_and_an_integer(store):
    ids = [store.add_alert("AB", "l", 1, 0.5) for _ in range(3)]
    assert exactly(ids) == exactly([1, 2, 3])


def test_the_id_of_a_deleted_alert_is_not_used_again(store, db_path):
    for _ in range(3):
        store.add_alert("AB", "l", 1, 0.5)
    database.query(db_path, "DELETE FROM alerts WHERE id = 3")
    assert store.add_alert("AB", "l", 1, 0.5) == 4


@pytest.mark.parametrize(
    ("moment", "text"),
    [
        ("2024-05-01T08:00:00", "2024-05-01T08:00:00"),
        ("2024-05-01T08:00:00.000001", "2024-05-01T08:00:00.000001"),
    ],
)
def test_the_time_is_local_and_without_a_zone(store, clock, moment, text):
    clock.set(moment)
    assert stored(store, "AB", "l", 1, 0.5)["timestamp"] == text


def test_the_time_is_now(store):
    before = datetime.now().isoformat()
    assert before <= stored(store, "AB", "l", 1, 0.5)["timestamp"] <= datetime.now().isoformat()


def test_arguments_may_be_given_by_keyword(store):
    row = stored(store, confidence=0.5, detection_id=7, label="l", plate="AB")
    assert [row[name] for name in ("plate", "watchlist_label", "detection_id", "confidence")] == [
        "AB",
        "l",
        7,
        0.5,
    ]


@pytest.mark.parametrize(
    "text", [" ab-1 2\t", "", "-", "ß", "a\0b", "車\U0001f697", "x" * 100_000], ids=lambda t: t[:4]
)
def test_plate_and_label_are_kept_to_the_letter(store, text):
    row = stored(store, text, text, 1, 0.5)
    assert exactly((row["plate"], row["watchlist_label"])) == exactly((text, text))


@pytest.mark.parametrize("name", ["label", "detection_id", "confidence"])
def test_all_but_the_plate_may_be_none(store, name):
    given = {"plate": "AB", "label": "l", "detection_id": 1, "confidence": 0.5, name: None}
    row = stored(store, **given)
    column = "watchlist_label" if name == "label" else name
    assert row[column] is None
    assert exactly(store.get_alerts()[0][column]) == exactly(None)


def test_a_hit_reported_twice_is_stored_twice(store, clock):
    assert stored(store, "AB", "l", 1, 0.5) | {"id": 2} == stored(store, "AB", "l", 1, 0.5)
    assert store.get_alert_count() == 2


def test_nothing_is_looked_up_the_detection_need_not_exist(store):
    assert stored(store, "AB", "no such entry", 12345, 0.5)["detection_id"] == 12345


def test_an_alert_outlives_its_detection_and_its_entry(store, db_path):
    detection_id, entry_id = add(store), store.add_watchlist("AB", "stolen")
    store.add_alert("AB", "stolen", detection_id, 0.5)
    before = store.get_alerts()
    database.query(db_path, "DELETE FROM detections")
    store.remove_watchlist(entry_id)
    assert exactly(store.get_alerts()) == exactly(before)
    assert exactly(store.get_alerts_for_detections([detection_id])) == exactly(
        {detection_id: before}
    )


def test_relabelling_an_entry_leaves_its_alerts(store, db_path):
    store.add_watchlist("AB", "stolen")
    store.add_alert("AB", "stolen", 1, 0.5)
    database.query(db_path, "UPDATE watchlist SET label = 'found'")
    assert store.get_alerts()[0]["watchlist_label"] == "stolen"


def test_the_road_from_a_match_to_its_alert(store):
    detection_id = add(store, plates=["ab 123"], confidences=[0.93])
    store.add_watchlist("AB-123", "stolen")
    (match,) = store.check_watchlist(["ab 123"])
    store.add_alert(match["detected_plate"], match["label"], detection_id, 0.93)
    (alert,) = store.get_alerts()
    assert (alert["plate"], alert["watchlist_label"]) == ("ab 123", "stolen")
    assert (alert["detection_id"], alert["confidence"]) == (detection_id, 0.93)


@pytest.mark.parametrize(
    ("column", "given", "kept"),
    [
        ("plate", 5, "5"),
        ("plate", 0.5, "0.5"),
        ("plate", b"AB", b"AB"),
        ("watchlist_label", True, "1"),
        ("detection_id", "7", 7),
        ("detection_id", 7.0, 7),
        ("detection_id", 7.5, 7.5),
        ("detection_id", "x", "x"),
        ("detection_id", True, 1),
        ("confidence", 1, 1.0),
        ("confidence", "0.5", 0.5),
        ("confidence", "high", "high"),
        ("confidence", float("nan"), None),
        ("confidence", float("inf"), float("inf")),
    ],
    ids=repr,
)
def test_other_values_are_kept_as_the_columns_type_has_it(store, column, given, kept):
    values = {"plate": "AB", "watchlist_label": "l", "detection_id": 1, "confidence": 0.5}
    values[column] = given
    assert exactly(stored(store, *values.values())[column]) == exactly(kept)
    assert exactly(store.get_alerts()[0][column]) == exactly(kept)


@pytest.fixture
def unchanged(store, db_path):
    """A file with an alert in it, which the test must leave as it is, and usable."""
    store.add_alert("AB", "l", 1, 0.5)
    before = database.contents(db_path)
    yield
    assert database.contents(db_path) == before
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]
    assert store.add_alert("AB", "l", 1, 0.5) == 2


def test_a_plate_that_is_none_is_refused(store, unchanged):
    error = error_of(store.add_alert, None, None, None, None)
    assert type_and_text(error) == (
        sqlite3.IntegrityError,
        "NOT NULL constraint failed: alerts.plate",
    )
    assert error.sqlite_errorname == "SQLITE_CONSTRAINT_NOTNULL"


@pytest.mark.parametrize("position", range(4))
def test_what_cannot_be_bound_is_named_by_its_place(store, unchanged, position):
    for value, kind in (([], "list"), ({}, "dict"), (object(), "object")):
        given = ["AB", "l", 1, 0.5]
        given[position] = value
        assert type_and_text(error_of(store.add_alert, *given)) == (
            sqlite3.ProgrammingError,
            f"Error binding parameter {position + 2}: type '{kind}' is not supported",
        )
    given[position] = 2**63
    assert type_and_text(error_of(store.add_alert, *given)) == (
        OverflowError,
        "Python int too large to convert to SQLite INTEGER",
    )


def test_a_text_that_has_no_encoding(store, unchanged):
    error = error_of(store.add_alert, "a\ud800", "l", 1, 0.5)
    assert type_and_text(error) == (
        UnicodeEncodeError,
        "'utf-8' codec can't encode character '\\ud800' in position 1: surrogates not allowed",
    )
