"""One detection by its id."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.samples import DETECTION, DETECTION_COLUMNS, add
from support.values import error_of, exactly, type_and_text


def test_the_record_has_every_column_in_order(store):
    detection_id = add(store)
    record = store.get_detection(detection_id)
    assert type(record) is dict
    assert list(record) == DETECTION_COLUMNS
    assert record["id"] == detection_id
    assert exactly({name: record[name] for name in DETECTION}) == exactly(DETECTION)


def test_it_equals_the_record_of_the_history(store):
    for number in range(3):
        add(store, plates=[str(number)])
    by_id = {record["id"]: record for record in store.get_history()}
    assert exactly([store.get_detection(n) for n in (1, 2, 3)]) == exactly(
        [by_id[n] for n in (1, 2, 3)]
    )


@pytest.mark.parametrize("missing", [2, 0, -1, None, "x", "", 1.5, b"1", 2**63 - 1], ids=repr)
def test_an_id_that_is_not_there_is_none(store, missing):
    add(store)
    assert store.get_detection(missing) is None


def test_a_deleted_id_is_none(store, db_path):
    detection_id = add(store)
    database.run_script(db_path, "DELETE FROM detections")
    assert store.get_detection(detection_id) is None


@pytest.mark.parametrize("same", [1, 1.0, "1", "1.0", True, " 1 "], ids=repr)
def test_an_id_is_compared_as_the_engine_compares(store, same):
    add(store)
    assert store.get_detection(same)["id"] == 1


@pytest.mark.parametrize(
    ("given", "expected"),
    [
        (
            [1],
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        ({}, (sqlite3.ProgrammingError, "Error binding parameter 1: type 'dict' is not supported")),
        (2**63, (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
)
def test_an_id_that_cannot_be_bound(store, given, expected):
    assert type_and_text(error_of(store.get_detection, given)) == expected


def test_it_may_be_given_by_keyword(store):
    assert store.get_detection(detection_id=add(store))["id"] == 1


def test_a_row_of_another_program_comes_with_its_own_values(store, db_path):
    database.run_script(
        db_path,
        """
        INSERT INTO detections (id, timestamp, success, num_plates, plates, confidences, bboxes)
        VALUES (9000000000, 'whenever', 7, 'many', '"AB12"', '', 'broken')
        """,
    )
    record = store.get_detection(9_000_000_000)
    assert exactly(record["success"]) == exactly(7)
    assert record["num_plates"] == "many"
    assert (record["plates"], record["confidences"], record["bboxes"]) == ("AB12", "", "broken")
    assert record["timestamp"] == "whenever"


def test_the_row_keeps_the_files_own_column_order(store, db_path):
    database.run_script(
        db_path,
        "ALTER TABLE detections DROP COLUMN image_path;"
        "ALTER TABLE detections ADD COLUMN image_path TEXT DEFAULT 'late'",
    )
    add(store)
    assert list(store.get_detection(1))[-1] == "image_path"
