"""Attaching image paths and vehicle attributes to a recorded detection."""

from __future__ import annotations

import pytest

from support import database
from support.recording import executed, steps
from support.samples import add
from support.values import exactly


@pytest.fixture
def row(store, db_path):
    """Reads one stored row; three detections are there."""
    for _ in range(3):
        add(store, image_path="old.jpg", thumbnail_path="old_small.jpg")
    return lambda detection_id: database.detection(db_path, detection_id)


def paths(stored):
    return stored["image_path"], stored["thumbnail_path"]


def test_image_paths_are_written_to_that_row_alone(store, row):
    before = row(2)
    assert store.update_image_paths(2, "new.jpg", "new_small.jpg") is None
    assert row(2) == {**before, "image_path": "new.jpg", "thumbnail_path": "new_small.jpg"}
    assert paths(row(1)) == paths(row(3)) == ("old.jpg", "old_small.jpg")


def test_both_paths_are_always_written(store, row):
    store.update_image_paths(1, None, "new_small.jpg")
    assert paths(row(1)) == (None, "new_small.jpg")
    store.update_image_paths(1, "new.jpg", None)
    assert paths(row(1)) == ("new.jpg", None)
    store.update_image_paths(1, None, None)
    assert paths(row(1)) == (None, None)
    store.update_image_paths(1, "", "")
    assert paths(row(1)) == ("", "")


def test_attributes_are_written_to_that_row_alone(store, row):
    before = row(2)
    assert store.update_mmc_data(2, {"mmc_color": "white", "mmc_type": "sedan"}) is None
    assert row(2) == {**before, "mmc_data": '{"mmc_color": "white", "mmc_type": "sedan"}'}
    assert row(1)["mmc_data"] is row(3)["mmc_data"] is None


@pytest.mark.parametrize(
    ("given", "text"),
    [
        ({}, "{}"),
        (None, "null"),
        ([], "[]"),
        (["a", 1], '["a", 1]'),
        ("", '""'),
        (0, "0"),
        (False, "false"),
    ],
    ids=repr,
)
def test_attributes_are_encoded_whatever_they_hold(store, row, given, text):
    store.update_mmc_data(1, given)
    assert exactly(row(1)["mmc_data"]) == exactly(text)


def test_attributes_replace_and_are_not_merged(store, row):
    store.update_mmc_data(1, {"mmc_color": "red", "mmc_make": "VW"})
    store.update_mmc_data(1, {"mmc_color": "blue"})
    assert row(1)["mmc_data"] == '{"mmc_color": "blue"}'
    store.update_mmc_data(1, None)
    assert row(1)["mmc_data"] == "null"


def test_null_attributes_are_text_and_null_paths_are_null(store, row):
    store.update_mmc_data(1, None)
    store.update_image_paths(1, None, None)
    assert row(1)["mmc_data"] == "null"
    assert paths(row(1)) == (None, None)


@pytest.mark.parametrize("missing", [99, 0, -1, None, "x", 1.5, b"1", 2**63 - 1], ids=repr)
def test_an_id_that_is_not_there_changes_nothing_and_is_no_error(store, row, db_path, missing):
    before = database.contents(db_path)
    assert store.update_image_paths(missing, "a", "b") is None
    assert store.update_mmc_data(missing, {"a": 1}) is None
    assert database.contents(db_path) == before


def test_a_deleted_id_is_not_there(store, row, db_path):
    database.run_script(db_path, "DELETE FROM detections WHERE id = 2")
    before = database.contents(db_path)
    assert store.update_image_paths(2, "a", "b") is None
    assert store.update_mmc_data(2, {}) is None
    assert database.contents(db_path) == before


@pytest.mark.parametrize("same", [2, 2.0, "2", True + 1])
def test_an_id_is_compared_as_the_engine_compares(store, row, same):
    store.update_image_paths(same, "new.jpg", "new_small.jpg")
    assert paths(row(2)) == ("new.jpg", "new_small.jpg")


def test_everything_may_be_given_by_keyword(store, row):
    store.update_image_paths(thumbnail_path="b", image_path="a", detection_id=3)
    store.update_mmc_data(mmc_data={"c": 1}, detection_id=3)
    assert paths(row(3)) == ("a", "b")
    assert row(3)["mmc_data"] == '{"c": 1}'


def test_the_statement_of_image_paths(recorded):
    store, log = recorded
    store.update_image_paths(5, "a", None)
    assert executed(log) == (
        "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?",
        ("a", None, 5),
    )
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "exit"]


def test_the_statement_of_attributes(recorded):
    store, log = recorded
    store.update_mmc_data(5, {"a": None})
    assert executed(log) == ("UPDATE detections SET mmc_data = ? WHERE id = ?", ('{"a": null}', 5))
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "exit"]


def test_updates_read_no_clock(store, row, clock):
    store.update_image_paths(1, "a", "b")
    store.update_mmc_data(1, {})
    assert clock.readings == 0
