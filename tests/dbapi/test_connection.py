"""What the connection is, what it has, and what it has not."""

from __future__ import annotations

import copy
import os
import pickle
import sqlite3
import weakref
from pathlib import Path
from typing import Any

import pytest

from support.sql_cases import NativeConnection, NativeCursor, NativeRow, open_native, open_python

# fmt: off
ABSENT = (
    "create_function", "create_aggregate", "create_window_function", "create_collation",
    "set_authorizer", "set_progress_handler", "set_trace_callback", "backup", "iterdump",
    "blobopen", "serialize", "deserialize", "enable_load_extension", "load_extension", "getlimit",
    "setlimit", "getconfig", "setconfig", "nosuchname",
)
# fmt: on


@pytest.mark.parametrize("name", ABSENT)
def test_what_the_connection_does_not_have_is_missing(name: str) -> None:
    connection = open_native()
    with pytest.raises(AttributeError):
        getattr(connection, name)
    assert not hasattr(NativeConnection, name)
    connection.close()


def test_the_types_are_not_the_standard_ones() -> None:
    connection = open_native()
    cursor = connection.execute("SELECT 1 AS a")
    row = cursor.fetchone()
    assert not isinstance(connection, sqlite3.Connection)
    assert not isinstance(cursor, sqlite3.Cursor)
    assert not isinstance(row, sqlite3.Row)
    connection.close()


def test_each_call_gives_another_connection(tmp_path: Path) -> None:
    first, second = open_native(tmp_path / "x.db"), open_native(tmp_path / "x.db")
    assert first is not second
    assert type(first) is type(second) is NativeConnection
    first.close()
    second.close()


@pytest.mark.parametrize("kind", [NativeConnection, NativeCursor, NativeRow])
def test_the_types_can_be_inspected(kind: type) -> None:
    assert isinstance(kind.__name__, str)
    assert repr(kind)
    assert dir(kind)
    for name in dir(kind):
        getattr(kind, name)


@pytest.mark.parametrize("kind", [NativeConnection, NativeCursor, NativeRow])
def test_objects_made_without_a_connection_do_not_crash(kind: type) -> None:
    new: Any = kind.__new__
    for make in (kind, lambda: new(kind), lambda: object.__new__(kind)):
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


def test_objects_cannot_be_copied_or_pickled_by_accident() -> None:
    connection = open_native()
    cursor = connection.execute("SELECT 1")
    for value in (connection, cursor):
        with pytest.raises(TypeError):
            pickle.dumps(value)
        with pytest.raises(TypeError):
            copy.copy(value)
    connection.close()


def test_a_cursor_can_be_referred_to_weakly() -> None:
    connection = open_native()
    cursor = connection.cursor()
    seen = weakref.ref(cursor)
    assert seen() is cursor
    del cursor
    assert seen() is None
    connection.close()


def test_a_name_like_a_uri_is_a_plain_file(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    for name in ("file:plain.db", "file:plain.db?mode=memory", "file:plain.db?mode=ro", "file:"):
        connection = open_native(name)
        connection.execute("CREATE TABLE t (x)")
        connection.close()
        assert name in os.listdir(tmp_path)
        assert (tmp_path / name).stat().st_size > 0


def test_a_uri_without_authority_is_not_resolved(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(tmp_path)
    with pytest.raises(sqlite3.OperationalError, match=r"^unable to open database file$"):
        open_native(f"file:{tmp_path}/absolute.db")
    assert os.listdir(tmp_path) == []


def test_the_memory_name_is_private_to_each_connection() -> None:
    first, second = open_native(":memory:"), open_native(":memory:")
    first.execute("CREATE TABLE t (x)")
    with pytest.raises(sqlite3.OperationalError, match=r"^no such table: t$"):
        second.execute("SELECT * FROM t")
    first.close()
    second.close()


def test_the_empty_name_is_a_private_temporary_file() -> None:
    for open_one in (open_native, open_python):
        connection = open_one("")
        connection.execute("CREATE TABLE t (x)")
        assert [tuple(row)[2] for row in connection.execute("PRAGMA database_list")] == [""]
        connection.close()


@pytest.mark.parametrize(
    "pragma",
    [
        *(
            "busy_timeout",
            "foreign_keys",
            "journal_mode",
            "synchronous",
            "locking_mode",
            "cache_size",
            "page_size",
        ),
        *(
            "encoding",
            "temp_store",
            "recursive_triggers",
            "read_uncommitted",
            "mmap_size",
            "wal_autocheckpoint",
        ),
        *(
            "trusted_schema",
            "auto_vacuum",
            "secure_delete",
            "legacy_alter_table",
            "query_only",
            "threads",
        ),
        *("automatic_index", "defer_foreign_keys", "cell_size_check", "ignore_check_constraints"),
    ],
)
def test_every_setting_of_a_new_connection_is_that_of_python(tmp_path: Path, pragma: str) -> None:
    seen = []
    for place, open_one in enumerate((open_native, open_python)):
        connection = open_one(tmp_path / f"{place}.db")
        seen.append([tuple(row) for row in connection.execute(f"PRAGMA {pragma}")])
        connection.close()
    assert seen[0] == seen[1]


def test_the_busy_timeout_is_five_seconds_and_can_be_changed(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    connection = open_native(path)
    assert connection.execute("PRAGMA busy_timeout").fetchone()[0] == 5000
    connection.execute("CREATE TABLE t (x)")
    other = sqlite3.connect(path, timeout=0, isolation_level=None)
    other.execute("BEGIN EXCLUSIVE")
    connection.execute("PRAGMA busy_timeout = 1")
    with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$") as caught:
        connection.execute("SELECT * FROM t")
    assert caught.value.sqlite_errorname == "SQLITE_BUSY"
    assert connection.execute("PRAGMA busy_timeout").fetchone()[0] == 1
    other.close()
    connection.close()


def test_double_quoted_texts_and_schema_defences_are_as_in_python() -> None:
    for sql in (
        'SELECT "no such column"',
        "PRAGMA writable_schema = ON",
        "SELECT * FROM sqlite_dbpage",
    ):
        seen = []
        for open_one in (open_native, open_python):
            connection = open_one()
            try:
                seen.append([tuple(row) for row in connection.execute(sql)])
            except sqlite3.Error as error:
                seen.append([(type(error), str(error))])
            connection.close()
        assert seen[0] == seen[1]


def test_sql_cannot_load_code() -> None:
    connection = open_native()
    with pytest.raises(sqlite3.OperationalError, match=r"^not authorized$"):
        connection.execute("SELECT load_extension('anything')")
    connection.close()
