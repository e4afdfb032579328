"""The connection factory: a new connection each time, with the default settings."""

from __future__ import annotations

import gc
import sqlite3

from support import database
from support.values import error_of, type_and_text


def test_each_call_opens_one_more(store):
    first, second = store._get_conn(), store._get_conn()
    assert first is not second
    gc.collect()  # what Python's own connection needs to be closed
    assert len(database.open_descriptors(store.db_path)) == 2


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
