"""The alerts of a set of detections, grouped by detection."""

from __future__ import annotations

import pytest

from support import database
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def filled(store, clock):
    """Alerts 1 to 6 of the detections 9, 7, 9, 5, 7, 9; the later, the older their time."""
    for hour, detection_id in zip(range(23, 0, -1), (9, 7, 9, 5, 7, 9), strict=False):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        store.add_alert(f"P{detection_id}", "l", detection_id, 0.5)
    return store


def grouped(store, ids):
    """Detection ids in their order, each with the ids of its alerts."""
    result = store.get_alerts_for_detections(ids)
    assert type(result) is dict
    return [(key, [alert["id"] for alert in alerts]) for key, alerts in result.items()]


@pytest.mark.parametrize("nothing", [[], None, (), {}, "", 0, False, range(0), b""], ids=repr)
def test_nothing_asked_is_an_empty_mapping_and_opens_no_connection(recorded, nothing):
    store, log = recorded
    first = store.get_alerts_for_detections(nothing)
    assert exactly(first) == exactly({})
    assert log == []
    assert store.get_alerts_for_detections(nothing) is not first


def test_nothing_asked_needs_no_database(store, db_path):
    db_path.unlink()
    assert store.get_alerts_for_detections([]) == {}
    assert not db_path.exists()


def test_an_alert_has_every_column_in_the_tables_order(store, clock):
    store.add_alert("AB", "stolen", 9, 0.5)
    assert exactly(store.get_alerts_for_detections([7, 9])) == exactly(
        {
            9: [
                {
                    "id": 1,
                    "timestamp": "2024-05-01T14:03:27.512034",
                    "plate": "AB",
                    "watchlist_label": "stolen",
                    "note": "",
                    "detection_id": 9,
                    "confidence": 0.5,
                    "is_read": 0,
                }
            ]
        }
    )


def test_detections_without_alerts_are_absent(filled):
    assert grouped(filled, [1, 2, 3]) == []
    assert grouped(filled, [1, 5, 8]) == [(5, [4])]


def test_keys_come_in_order_of_their_first_alert_and_not_as_asked(filled):
    for ids in ([5, 7, 9], [9, 7, 5], [7, 5, 9]):
        assert grouped(filled, ids) == [(9, [1, 3, 6]), (7, [2, 5]), (5, [4])]
    assert grouped(filled, [5, 7]) == [(7, [2, 5]), (5, [4])]


def test_alerts_of_one_detection_come_as_they_were_added(filled):
    # Their times fall, so newest first would be this order, and the list of all is the reverse.
    database.query(filled.db_path, "UPDATE alerts SET timestamp = printf('t%02d', id)")
    assert grouped(filled, [9]) == [(9, [1, 3, 6])]
    assert [alert["id"] for alert in filled.get_alerts()] == [6, 5, 4, 3, 2, 1]


def test_the_same_id_twice_gives_each_alert_once(filled):
    assert grouped(filled, [9, 9, 9]) == [(9, [1, 3, 6])]


def test_read_alerts_are_among_them(filled):
    filled.mark_alerts_read()
    (alert,) = filled.get_alerts_for_detections([5])[5]
    assert alert["is_read"] == 1


@pytest.mark.parametrize("asked", ["9", "9.0", " 9 ", 9.0, "9e0", True + 8], ids=repr)
def test_the_engine_compares_the_id_as_a_number_and_the_key_is_the_stored_one(filled, asked):
    result = filled.get_alerts_for_detections([asked])
    assert exactly(list(result)) == exactly([9])
    assert len(result[9]) == 3


@pytest.mark.parametrize("asked", [None, "x", b"9", 9.5, "9 x", "", 2**63 - 1], ids=repr)
def test_what_is_no_such_number_finds_nothing(filled, asked):
    assert grouped(filled, [asked]) == []


def test_stored_ids_of_other_types_are_keys_as_they_are(store, db_path):
    for detection_id in ("x", 7, b"7", 7.5, None, "7"):
        store.add_alert("AB", "l", detection_id, 0.5)
    result = store.get_alerts_for_detections([b"7", 7.5, "x", None, 7])
    assert exactly(list(result)) == exactly(["x", 7, b"7", 7.5])
    assert [alert["id"] for alert in result[7]] == [2, 6]  # the column made a number of the text


@pytest.mark.parametrize(
    ("ids", "expected"),
    [
        ((7, 9), [(9, [1, 3, 6]), (7, [2, 5])]),
        (range(5, 8), [(7, [2, 5]), (5, [4])]),
        ("75", [(7, [2, 5]), (5, [4])]),
        (b"\x07\x05", [(7, [2, 5]), (5, [4])]),
        (bytearray(b"\x05"), [(5, [4])]),
        (memoryview(b"\x05"), [(5, [4])]),
    ],
    ids=lambda value: type(value).__name__,
)
def test_any_sequence_will_do(filled, ids, expected):
    assert grouped(filled, ids) == expected


def test_the_mapping_and_its_lists_are_the_callers_own(filled):
    first = filled.get_alerts_for_detections([9])
    first[9][0]["plate"] = "changed"
    first[9].clear()
    again = filled.get_alerts_for_detections([9])
    assert [alert["plate"] for alert in again[9]] == ["P9"] * 3
    assert len({id(alert) for alert in again[9]}) == 3


def test_ids_may_be_given_by_keyword_and_are_not_changed(filled):
    ids = [9, 9, 5]
    assert list(filled.get_alerts_for_detections(detection_ids=ids)) == [9, 5]
    assert ids == [9, 9, 5]


def test_rows_are_grouped_by_their_entry_and_none_where_it_is_missing(store, answering):
    answering(
        [
            {"id": 1, "detection_id": 5},
            {"id": 2},
            {"id": 3, "detection_id": 5.0},
            {"id": 4, "detection_id": True},
            {"id": 5, "detection_id": None},
            {"id": 6, "detection_id": 1},
        ]
    )
    assert [(repr(key), alerts) for key, alerts in grouped(store, [0.5])] == [
        ("5", [1, 3]),
        ("None", [2, 5]),
        ("True", [4, 6]),
    ]


def test_a_key_that_cannot_be_one(store, answering):
    answering([{"id": 1, "detection_id": []}])
    assert type_and_text(error_of(store.get_alerts_for_detections, [1])) == (
        TypeError,
        "unhashable type: 'list'",
    )


def test_thousands_of_ids_and_alerts(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 6000)
        INSERT INTO alerts (timestamp, plate, detection_id) SELECT 't', i, i % 2000 FROM n;
        """,
    )
    result = grouped(store, list(range(1000, 5000)))
    assert result == [(key, [key, key + 2000, key + 4000]) for key in range(1000, 2000)]
