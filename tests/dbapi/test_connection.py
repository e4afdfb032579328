"""What the connection is, what it has, and what it has not."""

from __future__ import annotations

import copy
import os
import pickle
import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest

from support.alike import alike, assert_files_alike
from support.sql_cases import NativeConnection, NativeCursor, NativeRow, open_native, open_python

KINDS = pytest.mark.parametrize("kind", [NativeConnection, NativeCursor, NativeRow])

# fmt: off
ABSENT = (
    "create_function", "create_aggregate", "create_window_function", "create_collation",
    "set_authorizer", "set_progress_handler", "set_trace_callback", "backup", "iterdump",
    "blobopen", "serialize", "deserialize", "enable_load_extension", "load_extension", "getlimit",
    "setlimit", "getconfig", "setconfig", "nosuchname",
)
PRAGMAS = (
    "busy_timeout", "foreign_keys", "journal_mode", "synchronous", "locking_mode", "cache_size",
    "page_size", "encoding", "temp_store", "recursive_triggers", "read_uncommitted", "mmap_size",
    "wal_autocheckpoint", "trusted_schema", "auto_vacuum", "secure_delete", "legacy_alter_table",
    "query_only", "threads", "automatic_index", "defer_foreign_keys", "cell_size_check",
    "ignore_check_constraints",
)
# fmt: on


@pytest.fixture
def connection():
    with closing(open_native()) as opened:
        yield opened


@pytest.mark.parametrize("name", ABSENT)
def test_what_the_connection_does_not_have_is_missing(connection, name):
    with pytest.raises(AttributeError):
        getattr(connection, name)
    assert not hasattr(NativeConnection, name)


def test_the_types_are_not_the_standard_ones(connection):
    cursor = connection.execute("SELECT 1 AS a")
    row = cursor.fetchone()
    assert not isinstance(connection, sqlite3.Connection)
    assert not isinstance(cursor, sqlite3.Cursor)
    assert not isinstance(row, sqlite3.Row)


@KINDS
def test_the_types_can_be_inspected(kind):
    assert isinstance(kind.__name__, str)
    assert repr(kind)
    assert dir(kind)
    for name in dir(kind):
        getattr(kind, name)


@KINDS
def test_objects_made_without_a_connection_do_not_crash(kind):
    for make in (kind, lambda: kind.__new__(kind), lambda: object.__new__(kind)):
        try:
            made = make()
        except (TypeError, sqlite3.Error):
            continue
        for name in dir(made):
            try:
                value = getattr(made, name)
                if not name.startswith("_") and callable(value):
                    value()
            except (TypeError, IndexError, AttributeError, sqlite3.Error):
                pass


def test_objects_cannot_be_copied_or_pickled_by_accident(connection):
    for value in (connection, connection.execute("SELECT 1")):
        for use in (pickle.dumps, copy.copy):
            with pytest.raises(TypeError):
                use(value)


def test_a_uri_without_authority_is_not_resolved(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    with pytest.raises(sqlite3.OperationalError, match=r"^unable to open database file$"):
        open_native(f"file:{tmp_path}/absolute.db")
    assert os.listdir(tmp_path) == []


def test_the_empty_name_is_a_private_temporary_file():
    for open_one in (open_native, open_python):
        with closing(open_one("")) as connection:
            connection.execute("CREATE TABLE t (x)")
            assert [tuple(row)[2] for row in connection.execute("PRAGMA database_list")] == [""]


def test_every_setting_of_a_new_connection_is_that_of_python(tmp_path):
    def steps(open_one: Any, folder: Path) -> Any:
        with closing(open_one(folder / "x.db")) as connection:
            return [connection.execute(f"PRAGMA {name}").fetchall() for name in PRAGMAS]

    assert_files_alike(tmp_path, steps)


DEFENDED = (
    'SELECT "no such column"',
    "PRAGMA writable_schema = ON",
    "SELECT * FROM sqlite_dbpage",
    "SELECT load_extension('anything')",
)


@pytest.mark.parametrize("sql", DEFENDED)
@alike()
def test_double_quoted_texts_and_defences_are_as_in_python(connection, sql):
    return connection.execute(sql).fetchall()
