"""What one recorded detection stores, column by column."""

from __future__ import annotations

import math
import sqlite3
from typing import Any

import pytest

from support import database
from support.samples import DETECTION, DETECTION_COLUMNS, add
from support.values import exactly

NAN, INF = math.nan, math.inf


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
    assert list(row) == DETECTION_COLUMNS
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


def test_the_lists_are_encoded_independently_and_their_lengths_not_compared(store):
    for plates, confidences, boxes, texts in (
        ([], [], [], ("[]", "[]", "[]")),
        ([], [0.5, 0.25], [[1]], ("[]", "[0.5, 0.25]", "[[1]]")),
    ):
        row = stored(store, plates=plates, confidences=confidences, bboxes=boxes)
        assert exactly(row["num_plates"]) == exactly(0)
        assert (row["plates"], row["confidences"], row["bboxes"]) == texts


@pytest.mark.parametrize(("plates", "number", "text"), [
    ("AB123", 5, '"AB123"'), ("", 0, '""'), (("A", "B"), 2, '["A", "B"]'),
    ({"A": 1, "B": 2}, 2, '{"A": 1, "B": 2}'), ({}, 0, "{}"),
    ("車🚗", 2, '"\\u8eca\\ud83d\\ude97"'),
])  # fmt: skip
def test_whatever_has_a_length_and_can_be_written_is_accepted(store, plates, number, text):
    row = stored(store, plates=plates)
    assert exactly((row["num_plates"], row["plates"])) == exactly((number, text))


def test_the_length_is_asked_of_the_object(store):
    class Plates(list):
        def __len__(self):
            return 7

    assert stored(store, plates=Plates(["A"]))["num_plates"] == 7


def test_success_is_a_truth_value(store):
    for false in (False, None, 0, 0.0, "", [], {}):
        assert exactly(stored(store, success=false)["success"]) == exactly(0), false
    for true in (True, 1, 2, -1, 0.1, NAN, "0", "False", [0], object):
        assert exactly(stored(store, success=true)["success"]) == exactly(1), true


# fmt: off
CONFIDENCES: list[Any] = [
    (None, None), ([], None), ((), None), ({}, None), ("", None), (0, None), (False, None),
    ([0.0], "[0.0]"), ([None], "[null]"), ("x", '"x"'), (True, "true"), (0.5, "0.5"),
]
TIMES = [
    (None, None), (1.5, 1.5), (2, 2.0), (-0.0, 0.0), (True, 1.0), ("3", 3.0), ("1e2", 100.0),
    ("soon", "soon"), (b"\x00", b"\x00"), (INF, INF), (NAN, None), (2**53 + 1, 2.0**53),
    (-(2**63), -(2.0**63)),
]
PATHS = [
    (None, None), ("", ""), ("a/b.jpg", "a/b.jpg"), ("車\0.jpg", "車\0.jpg"), (5, "5"),
    (0.5, "0.5"), (True, "1"), (b"\xff", b"\xff"), (bytearray(b"ab"), b"ab"),
    (memoryview(b"ab"), b"ab"),
]
# fmt: on
COLUMNS = {"detection_confidences": CONFIDENCES, "image_path": PATHS, "thumbnail_path": PATHS}
COLUMNS |= dict.fromkeys(["processing_time", "detector_time", "ocr_time"], TIMES)


@pytest.mark.parametrize("column", COLUMNS)
def test_a_value_is_bound_as_given_and_takes_the_columns_affinity(store, column):
    for given, expected in COLUMNS[column]:
        assert exactly(stored(store, **{column: given})[column]) == exactly(expected), given


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


@pytest.fixture
def row(store, db_path):
    """Reads one stored row; three detections are there."""
    for _ in range(3):
        add(store, image_path="old.jpg", thumbnail_path="old_small.jpg")
    return lambda detection_id: database.detection(db_path, detection_id)


def test_image_paths_are_both_written_to_that_row_alone(store, row):
    others = row(1), row(3)
    for given in (("new.jpg", "s.jpg"), (None, "s.jpg"), ("new.jpg", None), (None, None), ("", "")):
        before = row(2)
        assert store.update_image_paths(2, *given) is None
        assert row(2) == {**before, "image_path": given[0], "thumbnail_path": given[1]}
    assert (row(1), row(3)) == others


def test_attributes_are_written_to_that_row_alone(store, row):
    before, others = row(2), (row(1), row(3))
    assert store.update_mmc_data(2, {"mmc_color": "white", "mmc_type": "sedan"}) is None
    assert row(2) == {**before, "mmc_data": '{"mmc_color": "white", "mmc_type": "sedan"}'}
    assert (row(1), row(3)) == others


def test_attributes_are_encoded_whatever_they_hold_and_replace_what_was_there(store, row):
    store.update_mmc_data(1, {"mmc_color": "red", "mmc_make": "VW"})
    for given, text in (
        ({"mmc_color": "blue"}, '{"mmc_color": "blue"}'),
        ({}, "{}"),
        (None, "null"),
        ([], "[]"),
        (["a", 1], '["a", 1]'),
        ("", '""'),
        (0, "0"),
        (False, "false"),
    ):
        store.update_mmc_data(1, given)
        assert exactly(row(1)["mmc_data"]) == exactly(text)
