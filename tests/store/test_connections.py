"""The store's connections: a new one each time, with the default settings, closed when dropped."""

from __future__ import annotations

import gc
import sqlite3

import pytest

from support.database import lock_held, open_descriptors
from support.fakes import impatient_class
from support.samples import add
from support.values import error_of, type_and_text


def test_each_call_opens_one_more(store):
    first, second = store._get_conn(), store._get_conn()
    assert first is not second
    gc.collect()  # what Python's own connection needs to be closed
    assert len(open_descriptors(store.db_path)) == 2


def test_the_settings_are_the_defaults(store):
    connection = store._get_conn()
    assert connection.row_factory is sqlite3.Row
    assert connection.isolation_level == ""
    assert connection.in_transaction is False
    assert connection.execute("PRAGMA busy_timeout").fetchone()[0] == 5000
    assert connection.execute("PRAGMA foreign_keys").fetchone()[0] == 0


def test_a_missing_file_is_made_empty(store, tmp_path):
    store.db_path = tmp_path / "missing.db"
    connection = store._get_conn()
    assert connection.execute("SELECT * FROM sqlite_master").fetchall() == []
    assert store.db_path.read_bytes() == b""


def test_a_missing_directory_is_not_made(store, tmp_path):
    store.db_path = tmp_path / "missing" / "anpr.db"
    for call in (store._get_conn, store.get_history):
        error = error_of(call)
        assert type_and_text(error) == (sqlite3.OperationalError, "unable to open database file")
        assert (error.sqlite_errorcode, error.sqlite_errorname) == (14, "SQLITE_CANTOPEN")
    assert not store.db_path.parent.exists()


@pytest.fixture
def uncollected(native, db_path):
    """A native store while nothing is collected: Python's own connections wait for that."""
    gc.disable()
    yield native.ANPRDatabase(db_path)
    gc.enable()


def test_constructing_leaves_no_descriptor(uncollected, native, tmp_path):
    assert open_descriptors(tmp_path) == []
    path = tmp_path / "no.db"
    path.write_bytes(b"no database " * 100)
    error = error_of(native.ANPRDatabase, path)
    assert type(error) is sqlite3.DatabaseError
    assert open_descriptors(tmp_path) == []


def test_a_locked_file_leaves_only_the_holders_descriptors(native, uncollected, db_path):
    impatient = impatient_class(native.ANPRDatabase)(db_path)
    with lock_held(db_path, "EXCLUSIVE"):
        held = len(open_descriptors(db_path))
        error = error_of(impatient.get_history)
        assert str(error) == "database is locked"
        # While another connection of this process has a lock, the engine puts off closing a
        # descriptor of the same file: POSIX locks go with the first one closed.
        assert len(open_descriptors(db_path)) <= held + 1
    assert open_descriptors(db_path) == []


def test_a_row_that_the_caller_keeps_keeps_no_file_open(uncollected, db_path):
    add(uncollected)
    kept = []
    uncollected._row_to_dict = kept.append
    uncollected.get_history()
    assert open_descriptors(db_path) == []
    assert kept[0]["id"] == 1
