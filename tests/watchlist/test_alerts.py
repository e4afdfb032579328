"""Recording alerts as they are given, counting them, and marking all of them read."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.samples import add
from support.values import error_of, exactly, type_and_text

COLUMNS = ["id", "timestamp", "plate", "watchlist_label", "note", "detection_id", "confidence"]
COLUMNS += ["is_read"]
GIVEN = {"plate": "AB", "label": "l", "detection_id": 1, "confidence": 0.5}


def stored(store, *arguments, **named):
    alert_id = store.add_alert(*arguments, **named)
    (row,) = database.query(store.db_path, "SELECT * FROM alerts WHERE id = ?", (alert_id,))
    return dict(zip(COLUMNS, row, strict=True))


def fill(store, number):
    for _ in range(number):
        store.add_alert(**GIVEN)


def states(path):
    return [row[0] for row in database.query(path, "SELECT is_read FROM alerts ORDER BY id")]


def test_an_alert_fills_its_columns_and_is_read_back_from_them(store, clock):
    alert = {
        "id": 1,
        "timestamp": "2024-05-01T14:03:27.512034",
        "plate": "ab 123",
        "watchlist_label": "stolen",
        "note": "",
        "detection_id": 7,
        "confidence": 0.93,
        "is_read": 0,
    }
    assert exactly(stored(store, "ab 123", "stolen", 7, 0.93)) == exactly(alert)
    assert exactly(store.get_alerts()) == exactly([alert])
    assert exactly(store.get_alerts_for_detections([9, 7])) == exactly({7: [alert]})
    named = stored(store, confidence=0.93, detection_id=7, label="stolen", plate="ab 123")
    assert exactly(named) == exactly(alert | {"id": 2})  # a hit reported twice is stored twice
    assert store.get_alert_count() == 2


def test_ids_are_new_and_never_used_again(store, db_path):
    assert exactly([store.add_alert(**GIVEN) for _ in range(3)]) == exactly([1, 2, 3])
    database.query(db_path, "DELETE FROM alerts WHERE id = 3")
    assert store.add_alert(**GIVEN) == 4


LONG = "x" * 100_000


@pytest.mark.parametrize(("name", "given", "kept"), [
    *((name, text, text) for name in ("plate", "label")
      for text in (" ab-1 2\t", "", "-", "ß", "a\0b", "車\U0001f697", LONG)),
    ("label", None, None), ("detection_id", None, None), ("confidence", None, None),
    ("plate", 5, "5"), ("plate", 0.5, "0.5"), ("plate", b"AB", b"AB"), ("label", True, "1"),
    ("detection_id", 12345, 12345), ("detection_id", "7", 7), ("detection_id", 7.0, 7),
    ("detection_id", 7.5, 7.5), ("detection_id", "x", "x"), ("detection_id", True, 1),
    ("confidence", 1, 1.0), ("confidence", "0.5", 0.5), ("confidence", "high", "high"),
    ("confidence", float("nan"), None), ("confidence", float("inf"), float("inf")),
], ids=lambda value: repr(value)[:20])  # fmt: skip
def test_values_are_kept_to_the_letter_or_as_the_columns_type_has_it(store, name, given, kept):
    column = "watchlist_label" if name == "label" else name
    assert exactly(stored(store, **{**GIVEN, name: given})[column]) == exactly(kept)
    assert exactly(store.get_alerts()[0][column]) == exactly(kept)


def test_a_plate_that_is_none_is_refused(store, db_path):
    error = error_of(store.add_alert, None, None, None, None)
    assert type_and_text(error) == (
        sqlite3.IntegrityError,
        "NOT NULL constraint failed: alerts.plate",
    )
    assert error.sqlite_errorname == "SQLITE_CONSTRAINT_NOTNULL"
    assert database.count(db_path, "alerts") == 0


def test_an_alert_outlives_its_detection_and_its_entry(store, db_path):
    detection_id, entry_id = add(store), store.add_watchlist("AB", "stolen")
    store.add_alert("AB", "stolen", detection_id, 0.5)
    before = store.get_alerts()
    database.query(db_path, "UPDATE watchlist SET label = 'found'")
    database.query(db_path, "DELETE FROM detections")
    store.remove_watchlist(entry_id)
    assert exactly(store.get_alerts()) == exactly(before)
    assert before[0]["watchlist_label"] == "stolen"
    assert exactly(store.get_alerts_for_detections([detection_id])) == exactly(
        {detection_id: before}
    )


def test_the_road_from_a_match_to_its_alert(store):
    detection_id = add(store, plates=["ab 123"], confidences=[0.93])
    store.add_watchlist("AB-123", "stolen")
    (match,) = store.check_watchlist(["ab 123"])
    assert store.get_alerts() == []  # a match raises none by itself
    store.add_alert(match["detected_plate"], match["label"], detection_id, 0.93)
    (alert,) = store.get_alerts()
    assert (alert["plate"], alert["watchlist_label"]) == ("ab 123", "stolen")
    assert (alert["detection_id"], alert["confidence"]) == (detection_id, 0.93)


def test_an_empty_table_counts_zero(store):
    for arguments in ((), (True,), (False,)):
        assert exactly(store.get_alert_count(*arguments)) == exactly(0)
    assert exactly(store.mark_alerts_read()) == exactly(0)


def test_an_alert_is_unread_until_it_is_marked_and_nothing_else_changes(store, db_path):
    fill(store, 2)
    before = store.get_alerts()
    assert exactly((store.get_alert_count(), store.get_alert_count(False))) == exactly((2, 2))
    assert exactly(store.mark_alerts_read()) == exactly(2)
    assert exactly(store.get_alerts()) == exactly([alert | {"is_read": 1} for alert in before])
    assert exactly((store.get_alert_count(), store.get_alert_count(False))) == exactly((0, 2))
    marked = database.contents(db_path)
    assert exactly(store.mark_alerts_read()) == exactly(0)
    assert database.contents(db_path) == marked
    fill(store, 1)
    assert states(db_path) == [1, 1, 0]
    assert (store.get_alert_count(), store.get_alert_count(False)) == (1, 3)
    assert store.mark_alerts_read() == 1


def test_only_zero_is_unread(store, db_path):
    fill(store, 6)
    for alert_id, state in enumerate((0, 1, 2, -1, None, "no"), 1):
        database.query(db_path, "UPDATE alerts SET is_read = ? WHERE id = ?", (state, alert_id))
    assert (store.get_alert_count(), store.get_alert_count(False)) == (1, 6)
    assert store.mark_alerts_read() == 1
    assert states(db_path) == [1, 1, 2, -1, None, "no"]


def test_alerts_already_read_are_not_rewritten(store, db_path):
    fill(store, 3)
    database.run_script(
        db_path,
        """
        UPDATE alerts SET is_read = 1 WHERE id = 2;
        CREATE TABLE rewritten (id INTEGER);
        CREATE TRIGGER t AFTER UPDATE ON alerts BEGIN INSERT INTO rewritten VALUES (new.id); END;
        """,
    )
    assert store.mark_alerts_read() == 2
    assert database.query(db_path, "SELECT id FROM rewritten ORDER BY id") == [(1,), (3,)]


def test_a_true_flag_counts_the_unread_and_a_false_one_all(store, db_path):
    fill(store, 3)
    database.query(db_path, "UPDATE alerts SET is_read = 1 WHERE id = 1")
    for true in (True, 1, "no", [0], 0.5, b"0", object):
        assert store.get_alert_count(true) == store.get_alert_count(unread_only=true) == 2
    for false in (False, 0, None, "", [], 0.0, b"", {}):
        assert store.get_alert_count(false) == store.get_alert_count(unread_only=false) == 3


def test_the_count_is_read_by_its_name_and_a_false_one_is_zero(store, answering):
    for told in (7, "seven", [0]):
        answering([{"first": 5, "cnt": told}])
        assert store.get_alert_count() is told
    for told in (None, 0, 0.0, False, "", []):
        answering([{"cnt": told}])
        assert exactly(store.get_alert_count()) == exactly(0)
        assert exactly(store.get_alert_count(False)) == exactly(0)
    answering([{"count": 5}])
    assert type_and_text(error_of(store.get_alert_count)) == (KeyError, "'cnt'")
    answering([])
    assert type_and_text(error_of(store.get_alert_count)) == (
        TypeError,
        "'NoneType' object is not subscriptable",
    )


def test_read_and_unread_alerts_are_listed_alike(store, db_path):
    fill(store, 3)
    database.query(db_path, "UPDATE alerts SET is_read = 1, timestamp = 'z' WHERE id = 2")
    alerts = store.get_alerts()
    assert alerts[0]["id"] == 2
    assert [alert["is_read"] for alert in alerts] == [1, 0, 0]
    assert store.get_alerts_for_detections([1])[1][1]["is_read"] == 1


def test_thousands_are_marked_at_once(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO alerts (timestamp, plate, is_read) SELECT 't', i, i % 5 = 0 FROM n;
        """,
    )
    assert store.get_alert_count() == 4000
    assert store.mark_alerts_read() == 4000
    assert (store.get_alert_count(), store.get_alert_count(False)) == (0, 5000)
