"""What one recorded detection stores, column by column."""

from __future__ import annotations

import sqlite3
from datetime import datetime

import pytest

from support import database
from support.samples import DETECTION, DETECTION_COLUMNS, add
from support.values import exactly


def stored(store, **changes):
    return database.detection(store.db_path, add(store, **changes))


def test_a_detection_fills_its_columns(store, clock):
    row = stored(
        store,
        image_path="image.jpg",
        thumbnail_path="thumbnail.jpg",
        success=True,
        detection_confidences=[0.75, 0.5],
    )
    assert exactly(row) == exactly(
        {
            "id": 1,
            "timestamp": "2024-05-01T14:03:27.512034",
            "num_plates": 2,
            "plates": '["AB123", "XY-9"]',
            "confidences": "[0.93, 0.5]",
            "bboxes": "[[10, 20, 110, 60], [200, 20, 310, 60]]",
            "processing_time": 0.25,
            "detector_time": 0.1,
            "ocr_time": 0.15,
            "image_path": "image.jpg",
            "thumbnail_path": "thumbnail.jpg",
            "success": 1,
            "mmc_data": None,
            "detection_confidences": "[0.75, 0.5]",
        }
    )


def test_what_is_left_out_takes_its_default(store):
    row = stored(store)
    for name in ("image_path", "thumbnail_path", "mmc_data", "detection_confidences"):
        assert row[name] is None
    assert exactly(row["success"]) == exactly(1)


def test_the_id_is_new_and_an_integer(store):
    ids = [add(store) for _ in range(3)]
    assert exactly(ids) == exactly([1, 2, 3])


@pytest.mark.parametrize(
    ("moment", "text"),
    [
        ("2024-05-01T14:03:27.512034", "2024-05-01T14:03:27.512034"),
        ("2024-05-01T14:03:27.000001", "2024-05-01T14:03:27.000001"),
        ("2024-05-01T14:03:27", "2024-05-01T14:03:27"),
        ("2024-01-02T00:00:00", "2024-01-02T00:00:00"),
        ("0999-12-31T23:59:59.999999", "0999-12-31T23:59:59.999999"),
    ],
)
def test_the_timestamp_is_local_iso_text_without_an_empty_fraction(store, clock, moment, text):
    clock.set(moment)
    assert stored(store)["timestamp"] == text


def test_the_timestamp_is_the_local_now(store):
    before = datetime.now().isoformat(timespec="microseconds")
    timestamp = stored(store)["timestamp"]
    after = datetime.now().isoformat(timespec="microseconds")
    assert before <= timestamp <= after


def test_two_detections_of_one_moment_differ_in_their_id(store, clock):
    first, second = add(store), add(store)
    rows = database.query(store.db_path, "SELECT id, timestamp FROM detections ORDER BY id")
    assert rows == [
        (first, "2024-05-01T14:03:27.512034"),
        (second, "2024-05-01T14:03:27.512034"),
    ]
    assert first < second


def test_no_plates_are_an_empty_list(store):
    row = stored(store, plates=[], confidences=[], bboxes=[])
    assert exactly(row["num_plates"]) == exactly(0)
    assert (row["plates"], row["confidences"], row["bboxes"]) == ("[]", "[]", "[]")


def test_the_lists_are_encoded_independently_and_their_lengths_not_compared(store):
    row = stored(store, plates=[], confidences=[0.5, 0.25], bboxes=[[1]])
    assert row["num_plates"] == 0
    assert (row["plates"], row["confidences"], row["bboxes"]) == ("[]", "[0.5, 0.25]", "[[1]]")


@pytest.mark.parametrize(
    ("plates", "number", "text"),
    [
        ("AB123", 5, '"AB123"'),
        ("", 0, '""'),
        (("A", "B"), 2, '["A", "B"]'),
        ({"A": 1, "B": 2}, 2, '{"A": 1, "B": 2}'),
        ({}, 0, "{}"),
        ("車🚗", 2, '"\\u8eca\\ud83d\\ude97"'),
    ],
)
def test_whatever_has_a_length_and_can_be_written_is_accepted(store, plates, number, text):
    row = stored(store, plates=plates)
    assert exactly((row["num_plates"], row["plates"])) == exactly((number, text))


def test_the_length_is_asked_of_the_object(store):
    class Plates(list):
        def __len__(self):
            return 7

    assert stored(store, plates=Plates(["A"]))["num_plates"] == 7


@pytest.mark.parametrize(
    ("success", "expected"),
    [
        (True, 1),
        (False, 0),
        (None, 0),
        (0, 0),
        (0.0, 0),
        ("", 0),
        ([], 0),
        ({}, 0),
        (1, 1),
        (2, 1),
        (-1, 1),
        (0.1, 1),
        (float("nan"), 1),
        ("0", 1),
        ("False", 1),
        ([0], 1),
        (object, 1),
    ],
    ids=repr,
)
def test_success_is_a_truth_value(store, success, expected):
    assert exactly(stored(store, success=success)["success"]) == exactly(expected)


@pytest.mark.parametrize(
    ("given", "expected"),
    [
        (None, None),
        ([], None),
        ((), None),
        ({}, None),
        ("", None),
        (0, None),
        (False, None),
        ([0.0], "[0.0]"),
        ([None], "[null]"),
        ("x", '"x"'),
        (True, "true"),
        (0.5, "0.5"),
    ],
    ids=repr,
)
def test_detector_confidences_are_null_unless_true(store, given, expected):
    assert exactly(stored(store, detection_confidences=given)["detection_confidences"]) == exactly(
        expected
    )


@pytest.mark.parametrize("column", ["processing_time", "detector_time", "ocr_time"])
@pytest.mark.parametrize(
    ("given", "expected"),
    [
        (None, None),
        (1.5, 1.5),
        (2, 2.0),
        (-0.0, 0.0),
        (True, 1.0),
        ("3", 3.0),
        ("1e2", 100.0),
        ("soon", "soon"),
        (b"\x00", b"\x00"),
        (float("inf"), float("inf")),
        (float("nan"), None),
        (2**53 + 1, 2.0**53),
        (-(2**63), -(2.0**63)),
    ],
    ids=repr,
)
def test_a_time_is_bound_as_given_and_takes_the_columns_affinity(store, column, given, expected):
    assert exactly(stored(store, **{column: given})[column]) == exactly(expected)


@pytest.mark.parametrize("column", ["image_path", "thumbnail_path"])
@pytest.mark.parametrize(
    ("given", "expected"),
    [
        (None, None),
        ("", ""),
        ("a/b.jpg", "a/b.jpg"),
        ("車\0.jpg", "車\0.jpg"),
        (5, "5"),
        (0.5, "0.5"),
        (True, "1"),
        (b"\xff", b"\xff"),
        (bytearray(b"ab"), b"ab"),
        (memoryview(b"ab"), b"ab"),
    ],
)
def test_a_path_is_bound_as_given_and_takes_the_columns_affinity(store, column, given, expected):
    assert exactly(stored(store, **{column: given})[column]) == exactly(expected)


def test_an_adapter_is_honoured(store, monkeypatch):
    class Path:
        def __conform__(self, protocol):
            assert protocol is sqlite3.PrepareProtocol
            return "conforming.jpg"

    assert stored(store, image_path=Path())["image_path"] == "conforming.jpg"

    class Other:
        pass

    monkeypatch.setitem(sqlite3.adapters, (Other, sqlite3.PrepareProtocol), lambda other: "adapted")
    assert stored(store, image_path=Other())["image_path"] == "adapted"


def test_the_stored_row_has_all_columns(store):
    assert list(stored(store)) == DETECTION_COLUMNS


def test_the_row_is_in_the_file_when_the_call_returns(store):
    add(store)
    assert database.count(store.db_path) == 1
    with database.lock_held(store.db_path, "EXCLUSIVE"):
        pass  # no transaction is left open


def test_what_was_recorded_reads_back(store):
    detection_id = add(store, image_path="a", thumbnail_path="b", detection_confidences=[0.5])
    record = store.get_detection(detection_id)
    for name, value in DETECTION.items():
        assert exactly(record[name]) == exactly(value)
    assert (record["image_path"], record["thumbnail_path"]) == ("a", "b")
    assert record["detection_confidences"] == [0.5]
