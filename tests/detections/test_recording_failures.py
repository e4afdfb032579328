"""Recording that fails: the named error, and a file as it was."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.samples import add
from support.values import error_of, type_and_text

TOO_LARGE = (OverflowError, "Python int too large to convert to SQLite INTEGER")


def unsupported(parameter: int, kind: str) -> tuple[type, str]:
    return (
        sqlite3.ProgrammingError,
        f"Error binding parameter {parameter}: type '{kind}' is not supported",
    )


@pytest.fixture
def unchanged(store, db_path):
    """A file with a detection in it, which the test must leave as it is, and usable."""
    add(store)
    before = database.contents(db_path)
    yield
    assert database.contents(db_path) == before
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]
    assert add(store) == 2


@pytest.mark.parametrize(
    ("plates", "kind"),
    [(None, "NoneType"), (5, "int"), (0.5, "float"), (iter([]), "list_iterator")],
)
def test_plates_without_a_length(store, unchanged, plates, kind):
    assert type_and_text(error_of(add, store, plates=plates)) == (
        TypeError,
        f"object of type '{kind}' has no len()",
    )


@pytest.mark.parametrize("name", ["plates", "confidences", "bboxes", "detection_confidences"])
def test_a_value_that_cannot_be_written(store, unchanged, name):
    assert type_and_text(error_of(add, store, **{name: [{"A"}]})) == (
        TypeError,
        "Object of type set is not JSON serializable",
    )


@pytest.mark.parametrize(
    ("name", "parameter"),
    [
        ("processing_time", 6),
        ("detector_time", 7),
        ("ocr_time", 8),
        ("image_path", 9),
        ("thumbnail_path", 10),
    ],
)
def test_a_time_or_path_that_cannot_be_bound(store, unchanged, name, parameter):
    for value, kind in (([], "list"), ({}, "dict"), ((), "tuple"), (object(), "object")):
        assert type_and_text(error_of(add, store, **{name: value})) == unsupported(parameter, kind)
    for value in (2**63, -(2**63) - 1, 10**40):
        assert type_and_text(error_of(add, store, **{name: value})) == TOO_LARGE


def test_the_first_parameter_that_cannot_be_bound_is_told(store, unchanged):
    assert type_and_text(error_of(add, store, image_path=[], ocr_time={})) == unsupported(8, "dict")


def test_a_text_that_has_no_encoding(store, unchanged):
    error = error_of(add, store, image_path="\ud800")
    assert type_and_text(error) == (
        UnicodeEncodeError,
        "'utf-8' codec can't encode character '\\ud800' in position 0: surrogates not allowed",
    )


def test_updates_that_cannot_be_bound(store, unchanged):
    update_paths, update_data = store.update_image_paths, store.update_mmc_data
    for call, expected in (
        (lambda: update_paths(1, [], None), unsupported(1, "list")),
        (lambda: update_paths(1, None, {}), unsupported(2, "dict")),
        (lambda: update_paths([], None, None), unsupported(3, "list")),
        (lambda: update_data({}, {}), unsupported(2, "dict")),
        (lambda: update_paths(2**63, None, None), TOO_LARGE),
        (lambda: update_data(2**63, {}), TOO_LARGE),
    ):
        assert type_and_text(error_of(call)) == expected


def test_a_value_is_written_before_the_id_is_bound(store, unchanged):
    assert type_and_text(error_of(store.update_mmc_data, [], {1})) == (
        TypeError,
        "Object of type set is not JSON serializable",
    )


def test_a_missing_table(store, db_path):
    database.run_script(db_path, "DROP TABLE detections")
    for call in (
        lambda: add(store),
        lambda: store.update_image_paths(1, "a", "b"),
        lambda: store.update_mmc_data(1, {}),
    ):
        error = error_of(call)
        assert type_and_text(error) == (sqlite3.OperationalError, "no such table: detections")
        assert (error.sqlite_errorcode, error.sqlite_errorname) == (1, "SQLITE_ERROR")


def test_a_missing_column(store, db_path):
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN ocr_time")
    assert type_and_text(error_of(add, store)) == (
        sqlite3.OperationalError,
        "table detections has no column named ocr_time",
    )
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN mmc_data")
    assert type_and_text(error_of(store.update_mmc_data, 1, {})) == (
        sqlite3.OperationalError,
        "no such column: mmc_data",
    )


def test_an_error_of_the_engine_is_told_before_one_of_a_parameter(store, db_path):
    database.run_script(db_path, "DROP TABLE detections")
    assert type_and_text(error_of(add, store, ocr_time=[])) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )


def test_a_trigger_that_refuses_the_row(store, db_path):
    database.run_script(
        db_path,
        """
        CREATE TRIGGER refuse AFTER INSERT ON detections WHEN new.num_plates = 0
        BEGIN
            INSERT INTO watchlist (plate, created_at) VALUES ('seen', 'now');
            SELECT RAISE(ABORT, 'no plates, no row');
        END
        """,
    )
    before = database.contents(db_path)
    error = error_of(add, store, plates=[])
    assert type_and_text(error) == (sqlite3.IntegrityError, "no plates, no row")
    assert error.sqlite_errorname == "SQLITE_CONSTRAINT_TRIGGER"
    assert database.contents(db_path) == before
    assert add(store) == 1


def test_a_file_that_became_another_thing(store, db_path):
    add(store)
    db_path.write_bytes(b"no database any more" * 100)
    for call in (lambda: add(store), lambda: store.get_history(), lambda: store.get_detection(1)):
        assert type_and_text(error_of(call)) == (sqlite3.DatabaseError, "file is not a database")


def test_a_file_that_went_away_is_made_anew_and_empty(store, db_path):
    db_path.unlink()
    assert type_and_text(error_of(add, store)) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )
    assert db_path.exists()
