"""Errors of the engine reach the caller unchanged, and leave the file as it was."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.values import error_of, type_and_text

WATCHLIST = {
    "get_watchlist": lambda store: store.get_watchlist(),
    "add_watchlist": lambda store: store.add_watchlist("CD", "l"),
    "remove_watchlist": lambda store: store.remove_watchlist(1),
    "check_watchlist": lambda store: store.check_watchlist(["AB"]),
}
ALERTS = {
    "add_alert": lambda store: store.add_alert("CD", "l", 1, 0.5),
    "get_alerts": lambda store: store.get_alerts(),
    "get_alert_count": lambda store: store.get_alert_count(),
    "get_alert_count of all": lambda store: store.get_alert_count(False),
    "mark_alerts_read": lambda store: store.mark_alerts_read(),
    "get_alerts_for_detections": lambda store: store.get_alerts_for_detections([1, 2]),
}
CALLS = {**WATCHLIST, **ALERTS}
WRITES = ["add_watchlist", "remove_watchlist", "add_alert", "mark_alerts_read"]
READS = [name for name in CALLS if name not in WRITES]

LOCKED = (sqlite3.OperationalError, "database is locked")


@pytest.fixture
def impatient(store_module, db_path):
    """A store whose connections do not wait, with an entry and an alert in its file."""

    class Impatient(store_module.ANPRDatabase):
        def _get_conn(self):
            connection = super()._get_conn()
            connection.execute("PRAGMA busy_timeout = 0")
            return connection

    made = Impatient(db_path)
    made.add_watchlist("AB")
    made.add_alert("AB", "l", 1, 0.5)
    return made


@pytest.mark.parametrize("name", WATCHLIST)
def test_a_missing_watchlist(store, db_path, name):
    database.run_script(db_path, "DROP TABLE watchlist")
    error = error_of(CALLS[name], store)
    assert type_and_text(error) == (sqlite3.OperationalError, "no such table: watchlist")
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (1, "SQLITE_ERROR")


@pytest.mark.parametrize("name", ALERTS)
def test_missing_alerts(store, db_path, name):
    database.run_script(db_path, "DROP TABLE alerts")
    error = error_of(CALLS[name], store)
    assert type_and_text(error) == (sqlite3.OperationalError, "no such table: alerts")
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (1, "SQLITE_ERROR")


@pytest.mark.parametrize("kind", ["IMMEDIATE", "EXCLUSIVE"])
@pytest.mark.parametrize("name", WRITES)
def test_a_write_fails_while_another_writes(impatient, db_path, name, kind):
    before = database.contents(db_path)
    with database.lock_held(db_path, kind):
        error = error_of(CALLS[name], impatient)
    assert type_and_text(error) == LOCKED
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (5, "SQLITE_BUSY")
    assert database.contents(db_path) == before
    CALLS[name](impatient)
    assert database.contents(db_path) != before


@pytest.mark.parametrize("name", WRITES)
def test_a_write_fails_at_its_commit_while_another_reads(impatient, db_path, name):
    before = database.contents(db_path)
    with database.lock_held(db_path, "SHARED"):
        assert type_and_text(error_of(CALLS[name], impatient)) == LOCKED
    assert database.contents(db_path) == before


@pytest.mark.parametrize("name", READS)
def test_a_read_fails_only_while_another_has_the_file_for_itself(impatient, db_path, name):
    expected = CALLS[name](impatient)
    with database.lock_held(db_path, "IMMEDIATE"):
        assert CALLS[name](impatient) == expected
    with database.lock_held(db_path, "EXCLUSIVE"):
        assert type_and_text(error_of(CALLS[name], impatient)) == LOCKED


@pytest.mark.parametrize("name", CALLS)
def test_a_file_that_became_another_thing(store, db_path, name):
    db_path.write_bytes(b"no database any more" * 100)
    assert type_and_text(error_of(CALLS[name], store)) == (
        sqlite3.DatabaseError,
        "file is not a database",
    )


@pytest.mark.parametrize("name", CALLS)
def test_a_file_that_cannot_be_opened(store, db_path, name):
    db_path.unlink()
    db_path.mkdir()
    assert type_and_text(error_of(CALLS[name], store)) == (
        sqlite3.OperationalError,
        "unable to open database file",
    )


@pytest.mark.parametrize(
    ("name", "trigger"),
    [
        ("add_watchlist", "AFTER INSERT ON watchlist"),
        ("remove_watchlist", "AFTER DELETE ON watchlist"),
        ("add_alert", "AFTER INSERT ON alerts"),
        ("mark_alerts_read", "AFTER UPDATE ON alerts"),
    ],
)
def test_a_trigger_that_refuses_undoes_the_whole_change(impatient, db_path, name, trigger):
    impatient.add_alert("XY", "l", 2, 0.5)
    database.run_script(
        db_path,
        f"""
        CREATE TRIGGER refuse {trigger} BEGIN
            INSERT INTO detections (timestamp) VALUES ('seen');
            SELECT RAISE(ABORT, 'refused');
        END
        """,
    )
    before = database.contents(db_path)
    assert type_and_text(error_of(CALLS[name], impatient)) == (sqlite3.IntegrityError, "refused")
    assert database.contents(db_path) == before


@pytest.mark.parametrize("name", CALLS)
def test_a_failing_commit_is_rolled_back(store, db_path, name):
    """The explicit commit of a writing operation; a reading one has none."""
    store.add_watchlist("AB")
    store.add_alert("AB", "l", 1, 0.5)
    opened = store._get_conn

    class Failing:
        def __init__(self):
            self.connection = opened()

        def __enter__(self):
            self.connection.__enter__()
            return self

        def __exit__(self, *error):
            return self.connection.__exit__(*error)

        def execute(self, *arguments):
            return self.connection.execute(*arguments)

        def commit(self):
            raise LookupError("no commit")

    before = database.contents(db_path)
    store._get_conn = Failing
    if name in WRITES:
        assert type_and_text(error_of(CALLS[name], store)) == (LookupError, "no commit")
    else:
        CALLS[name](store)
    assert database.contents(db_path) == before
