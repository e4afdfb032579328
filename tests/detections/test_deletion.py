"""Deleting one detection, and what a deletion leaves alone."""

from __future__ import annotations

import sqlite3
from types import SimpleNamespace

import pytest

from support import database
from support.recording import RecordingConnection, executed, steps
from support.samples import add
from support.stored_rows import plan, stored_ids
from support.values import error_of, exactly, type_and_text

STATEMENT = "DELETE FROM detections WHERE id = ?"


def test_the_statement_its_one_parameter_and_its_steps(recorded):
    store, log = recorded
    for given in (5, "5", None, 5.5):
        log.clear()
        store.delete_detection(given)
        statement, parameters = executed(log)
        assert statement == STATEMENT
        assert exactly(list(parameters)) == exactly([given])
        assert steps(log) == ["_get_conn", "enter", "execute", "commit", "rowcount", "exit"]


def test_it_goes_by_the_row_id(store, db_path):
    assert plan(db_path, STATEMENT, [1]) == [
        "SEARCH detections USING INTEGER PRIMARY KEY (rowid=?)"
    ]


def test_true_once_and_false_from_then_on(store, db_path):
    for _ in range(3):
        add(store)
    assert store.delete_detection(2) is True
    assert stored_ids(db_path) == [1, 3]
    assert store.delete_detection(2) is False
    assert store.delete_detection(detection_id=3) is True
    assert stored_ids(db_path) == [1]


@pytest.mark.parametrize("missing", [2, 0, -1, None, "x", "", 1.5, b"1", 2**63 - 1], ids=repr)
def test_an_id_that_is_not_there_is_false(store, db_path, missing):
    add(store)
    assert store.delete_detection(missing) is False
    assert stored_ids(db_path) == [1]


@pytest.mark.parametrize("same", [1, 1.0, "1", "1.0", True, " 1 "], ids=repr)
def test_an_id_is_compared_as_the_engine_compares(store, db_path, same):
    add(store)
    assert store.delete_detection(same) is True
    assert stored_ids(db_path) == []


@pytest.mark.parametrize(("changed", "deleted"), [(0, False), (1, True), (7, True), (-1, False)])
def test_whether_the_count_of_changed_rows_is_above_0(store, changed, deleted):
    opened = store._get_conn

    class Connection(RecordingConnection):
        def execute(self, statement, parameters):
            return SimpleNamespace(rowcount=changed)

    store._get_conn = lambda: Connection(opened(), [])
    assert store.delete_detection(1) is deleted


def test_a_deleted_detection_is_gone_for_every_reader(store):
    add(store, plates=["GONE"])
    add(store, plates=["KEPT"])
    store.delete_detection(1)
    assert store.get_detection(1) is None
    assert [record["id"] for record in store.get_history()] == [2]
    assert store.search_plates("GONE") == []
    assert store.get_statistics()["total_detections"] == 1
    assert [entry["plate"] for entry in store.get_top_plates()] == ["KEPT"]


DELETIONS = {
    "delete_detection": lambda store: store.delete_detection(3),
    "delete_detections": lambda store: store.delete_detections([1, 2, 3]),
    "cleanup_old": lambda store: store.cleanup_old(0),
}


@pytest.fixture(params=DELETIONS.values(), ids=list(DELETIONS))
def delete(request):
    """Each way to delete, the newest detection at least."""
    return request.param


@pytest.fixture
def three(store):
    for _ in range(3):
        add(store)
    return store


def test_ids_are_never_used_again(three, delete):
    delete(three)
    assert add(three) == 4


def test_alerts_of_a_deleted_detection_stay_as_they_are(three, db_path, delete):
    three.add_alert("AB12", "stolen", 3, 0.5)
    before = database.query(db_path, "SELECT * FROM alerts")
    grouped = three.get_alerts_for_detections([3])
    assert list(grouped) == [3]
    delete(three)
    assert three.get_detection(3) is None
    assert database.query(db_path, "SELECT * FROM alerts") == before
    assert exactly(three.get_alerts_for_detections([3])) == exactly(grouped)


def test_the_connection_does_not_enforce_foreign_keys(store):
    assert tuple(store._get_conn().execute("PRAGMA foreign_keys").fetchone()) == (0,)


def test_watched_plates_stay(three, db_path, delete):
    three.add_watchlist("AB12", "stolen")
    before = database.query(db_path, "SELECT * FROM watchlist")
    delete(three)
    assert database.query(db_path, "SELECT * FROM watchlist") == before


def test_image_files_stay(three, tmp_path, delete):
    image, thumbnail = tmp_path / "image.jpg", tmp_path / "thumbnail.jpg"
    for file in (image, thumbnail):
        file.write_bytes(b"picture")
    three.update_image_paths(3, str(image), str(thumbnail))
    delete(three)
    assert image.read_bytes() == thumbnail.read_bytes() == b"picture"


def test_a_deletion_is_in_the_file_when_it_returns(three, db_path, delete):
    delete(three)
    assert 3 not in stored_ids(db_path)
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]


@pytest.fixture
def impatient(three):
    """Its connections give up soon, so that the tests need not wait long."""
    opened = three._get_conn

    def open_connection():
        connection = opened()
        connection.execute("PRAGMA busy_timeout = 20")
        return connection

    three._get_conn = open_connection
    return three


@pytest.mark.parametrize("kind", ["IMMEDIATE", "EXCLUSIVE", "SHARED"])
def test_a_locked_file_fails_it_and_nothing_is_deleted(impatient, db_path, delete, kind):
    # A reader alone is in the way only of the commit.
    before = database.contents(db_path)
    with database.lock_held(db_path, kind):
        error = error_of(delete, impatient)
        assert type_and_text(error) == (sqlite3.OperationalError, "database is locked")
    assert database.contents(db_path) == before
    delete(impatient)
    assert 3 not in stored_ids(db_path)


def test_an_error_of_the_commit_deletes_nothing(three, db_path, delete):
    opened = three._get_conn
    log = []

    class Connection(RecordingConnection):
        def commit(self):
            raise LookupError("no commit")

    three._get_conn = lambda: Connection(opened(), log)
    assert type_and_text(error_of(delete, three)) == (LookupError, "no commit")
    assert log[-1] == ("exit", LookupError)
    assert stored_ids(db_path) == [1, 2, 3]


def test_a_missing_table(three, db_path, delete):
    database.run_script(db_path, "DROP TABLE detections")
    assert type_and_text(error_of(delete, three)) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )


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
    ids=repr,
)
def test_an_id_that_cannot_be_bound(recorded, db_path, given, expected):
    store, log = recorded
    add(store)
    log.clear()
    assert type_and_text(error_of(store.delete_detection, given)) == expected
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert stored_ids(db_path) == [1]
