"""Listing alerts, newest first."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.values import error_of, exactly, type_and_text

TIMES = [
    "2024-05-01T08:00:00",
    "2024-05-01T08:00:00.000001",
    "2024-05-02T00:00:00",
    "2024-04-30T23:59:59.999999",
    "2024-05-01T10:00:00",
]


@pytest.fixture
def filled(store, clock):
    """Five alerts, ids 1 to 5, stamped in the order of `TIMES`; newest first: 3, 5, 2, 1, 4."""
    for moment in TIMES:
        clock.set(moment)
        store.add_alert(moment, "l", 1, 0.5)
    return store


def ids(alerts):
    return [alert["id"] for alert in alerts]


def test_no_alerts_are_an_empty_list(store):
    assert exactly(store.get_alerts()) == exactly([])


def test_an_alert_has_every_column_in_the_tables_order(store, clock):
    alert_id = store.add_alert("AB-1", "stolen", 7, 1)
    assert exactly(store.get_alerts()) == exactly(
        [
            {
                "id": alert_id,
                "timestamp": "2024-05-01T14:03:27.512034",
                "plate": "AB-1",
                "watchlist_label": "stolen",
                "note": "",
                "detection_id": 7,
                "confidence": 1.0,
                "is_read": 0,
            }
        ]
    )


def test_newest_is_the_greatest_text_and_not_the_greatest_id(filled):
    assert ids(filled.get_alerts()) == [3, 5, 2, 1, 4]


def test_read_and_unread_alerts_are_listed_alike(filled, db_path):
    database.query(db_path, "UPDATE alerts SET is_read = 1 WHERE id IN (1, 5)")
    alerts = filled.get_alerts()
    assert ids(alerts) == [3, 5, 2, 1, 4]
    assert [alert["is_read"] for alert in alerts] == [0, 1, 0, 1, 0]


def test_fifty_alerts_by_default(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 70)
        INSERT INTO alerts (timestamp, plate) SELECT printf('2024-05-01T%06d', i), i FROM n;
        """,
    )
    assert ids(store.get_alerts()) == list(range(70, 20, -1))
    assert ids(store.get_alerts(51)) == list(range(70, 19, -1))
    assert len(store.get_alerts(1000)) == 70
    assert len(store.get_alerts(limit=-1)) == 70


@pytest.mark.parametrize(
    ("limit", "expected"),
    [
        (0, []),
        (1, [3]),
        (2, [3, 5]),
        (5, [3, 5, 2, 1, 4]),
        (-1, [3, 5, 2, 1, 4]),
        (-100, [3, 5, 2, 1, 4]),
        (2**63 - 1, [3, 5, 2, 1, 4]),
        (True, [3]),
        (False, []),
        (2.0, [3, 5]),
        ("2", [3, 5]),
        ("2e0", [3, 5]),
    ],
    ids=repr,
)
def test_limits(filled, limit, expected):
    assert ids(filled.get_alerts(limit)) == expected
    assert ids(filled.get_alerts(limit=limit)) == expected


@pytest.mark.parametrize(
    ("limit", "expected"),
    [
        (None, (sqlite3.IntegrityError, "datatype mismatch")),
        ("many", (sqlite3.IntegrityError, "datatype mismatch")),
        ("", (sqlite3.IntegrityError, "datatype mismatch")),
        (2.5, (sqlite3.IntegrityError, "datatype mismatch")),
        (b"2", (sqlite3.IntegrityError, "datatype mismatch")),
        ([], (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported")),
        (2**63, (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
    ids=repr,
)
def test_limits_that_the_engine_cannot_take(filled, limit, expected):
    assert type_and_text(error_of(filled.get_alerts, limit)) == expected


@pytest.mark.parametrize(
    ("column", "stored"),
    [
        ("watchlist_label", None),
        ("note", None),
        ("note", '{"not": "decoded"}'),
        ("detection_id", None),
        ("detection_id", "x"),
        ("confidence", None),
        ("confidence", "high"),
        ("is_read", None),
        ("is_read", 2),
        ("plate", b"\xff"),
        ("timestamp", ""),
    ],
    ids=repr,
)
def test_values_come_as_they_are_stored(store, db_path, column, stored):
    store.add_alert("AB", "l", 1, 0.5)
    database.query(db_path, f"UPDATE alerts SET {column} = ?", (stored,))
    (alert,) = store.get_alerts()
    assert exactly(alert[column]) == exactly(stored)
    assert list(alert) == database.columns(db_path, "alerts")


def test_the_list_and_its_alerts_are_the_callers_own(filled):
    first = filled.get_alerts()
    first[0]["plate"] = "changed"
    first.clear()
    assert [alert["plate"] for alert in filled.get_alerts()] == [
        TIMES[alert_id - 1] for alert_id in (3, 5, 2, 1, 4)
    ]


def test_alerts_of_one_time_all_come(store, clock):
    for _ in range(4):
        store.add_alert("AB", "l", 1, 0.5)
    assert sorted(ids(store.get_alerts())) == [1, 2, 3, 4]
    assert len(store.get_alerts(3)) == 3


def test_listing_writes_nothing(filled, db_path):
    before = db_path.read_bytes()
    filled.get_alerts()
    filled.get_alert_count()
    filled.get_alert_count(False)
    filled.get_alerts_for_detections([1, 2])
    assert db_path.read_bytes() == before


def test_many_alerts_come_whole_and_in_order(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO alerts (timestamp, plate, confidence)
            SELECT printf('t%05d', i), 'P' || i, i / 4.0 FROM n;
        """,
    )
    alerts = store.get_alerts(-1)
    assert ids(alerts) == list(range(5000, 0, -1))
    assert all((a["plate"], a["confidence"]) == (f"P{a['id']}", a["id"] / 4) for a in alerts)
