"""The alerts of a set of detections, grouped by detection; what may stand for the list of ids."""

from __future__ import annotations

from collections import deque

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


@pytest.mark.parametrize(("ids", "expected"), [
    ([1, 2, 3], []), ([1, 5, 8], [(5, [4])]), ([9, 9, 9], [(9, [1, 3, 6])]),
    # Keys come in order of their first alert, not as asked; alerts as they were added.
    ([5, 7, 9], [(9, [1, 3, 6]), (7, [2, 5]), (5, [4])]),
    ([9, 7, 5], [(9, [1, 3, 6]), (7, [2, 5]), (5, [4])]), ([5, 7], [(7, [2, 5]), (5, [4])]),
    # Any sequence will do.
    ((7, 9), [(9, [1, 3, 6]), (7, [2, 5])]), (range(5, 8), [(7, [2, 5]), (5, [4])]),
    ("75", [(7, [2, 5]), (5, [4])]), (b"\x07\x05", [(7, [2, 5]), (5, [4])]),
    (bytearray(b"\x05"), [(5, [4])]), (memoryview(b"\x05"), [(5, [4])]), (deque([5]), [(5, [4])]),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_alerts_are_grouped_by_detection(filled, ids, expected):
    copy = list(ids)
    assert grouped(filled, ids) == expected
    assert list(ids) == copy


def test_alerts_of_one_detection_come_as_they_were_added(filled):
    # Their times fall, so newest first would be this order, and the list of all is the reverse.
    database.query(filled.db_path, "UPDATE alerts SET timestamp = printf('t%02d', id)")
    assert grouped(filled, [9]) == [(9, [1, 3, 6])]
    assert [alert["id"] for alert in filled.get_alerts()] == [6, 5, 4, 3, 2, 1]


def test_stored_ids_of_other_types_are_keys_as_they_are(store, db_path):
    for detection_id in ("x", 7, b"7", 7.5, None, "7"):
        store.add_alert("AB", "l", detection_id, 0.5)
    result = store.get_alerts_for_detections([b"7", 7.5, "x", None, 7])
    assert exactly(list(result)) == exactly(["x", 7, b"7", 7.5])
    assert [alert["id"] for alert in result[7]] == [2, 6]  # the column made a number of the text


def test_rows_are_grouped_by_their_entry_and_none_where_it_is_missing(store, answering):
    keys = [5, ..., 5.0, True, None, 1]
    rows = [{"id": n, "detection_id": key} for n, key in enumerate(keys, 1)]
    del rows[1]["detection_id"]
    answering(rows)
    assert [(repr(key), alerts) for key, alerts in grouped(store, [0.5])] == [
        ("5", [1, 3]),
        ("None", [2, 5]),
        ("True", [4, 6]),
    ]
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
