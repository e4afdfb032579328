"""Transactions begin, end and are seen as on Python's connection."""

from __future__ import annotations

import sqlite3
from pathlib import Path
from typing import Any

import pytest

from support.sql_cases import (
    Session,
    assert_alike,
    assert_sessions_alike,
    describe,
    open_native,
    open_python,
    outcome,
)

SETUP = "CREATE TABLE t (v UNIQUE, CHECK (v <> 'bad')); INSERT INTO t VALUES ('kept');"

# fmt: off
LEVELS: tuple[Any, ...] = (
    "", "DEFERRED", "IMMEDIATE", "EXCLUSIVE", "deferred", "Immediate", "eXcLuSiVe", None, " ",
    "DEFERRED ", "BOGUS", "BEGIN", "IMMEDIATE; DROP TABLE t", "DEFERRED\0", "\0", "\ud800", "ı",
    "ΙMMEDIATE", 0, 1, 1.5, b"", b"DEFERRED", [], ["DEFERRED"], (), object, ...,
)
# fmt: on


@pytest.mark.parametrize("level", LEVELS, ids=ascii)
def test_any_isolation_level(level: Any) -> None:
    def steps(connection: Any) -> Any:
        try:
            connection.isolation_level = level
        finally:
            after = connection.isolation_level
        connection.execute("INSERT INTO t VALUES ('new')")
        return after, connection.in_transaction

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("level", LEVELS, ids=ascii)
def test_any_isolation_level_set_inside_a_transaction(level: Any) -> None:
    def steps(connection: Any) -> Any:
        connection.execute("INSERT INTO t VALUES ('new')")
        try:
            connection.isolation_level = level
        finally:
            connection.rollback()
        return connection.execute("SELECT * FROM t").fetchall()

    assert_alike(steps, setup=SETUP)


class LevelSubclass(str):
    __slots__ = ()


def level_after(connection: Any, level: str) -> Any:
    connection.isolation_level = level
    return connection.isolation_level


def test_an_isolation_level_of_a_subclass_and_its_removal() -> None:
    for level in ("IMMEDIATE", "immediate", "other"):
        assert_alike(level_after, LevelSubclass(level))
    assert_alike(lambda c: delattr(c, "isolation_level"))


@pytest.mark.parametrize("name", ["in_transaction", "total_changes"])
def test_what_is_only_read_cannot_be_set(name: str) -> None:
    for value in (True, 5):
        assert_alike(lambda c, value: setattr(c, name, value), value)
    assert_alike(lambda c: delattr(c, name))


@pytest.mark.parametrize("level", ["", "DEFERRED", "IMMEDIATE", "EXCLUSIVE", None])
def test_which_lock_the_first_change_takes(tmp_path: Path, level: str | None) -> None:
    seen = []
    for place, open_one in enumerate((open_native, open_python)):
        path = tmp_path / f"{place}.db"
        connection = open_one(path)
        connection.executescript(SETUP)
        connection.isolation_level = level
        connection.execute("UPDATE t SET v = 'none' WHERE v = 'missing'")
        other = sqlite3.connect(path, timeout=0, isolation_level=None)
        locks = [outcome(lambda sql: other.execute(sql).fetchall(), sql) for sql in (  # noqa: B023
            "SELECT * FROM t", "BEGIN IMMEDIATE", "ROLLBACK", "BEGIN EXCLUSIVE", "ROLLBACK",
        )]  # fmt: skip
        seen.append((locks, connection.in_transaction))
        other.close()
        connection.close()
    assert seen[0] == seen[1]


def test_begin_is_deferred_and_plain(tmp_path: Path) -> None:
    path = tmp_path / "plain.db"
    connection = open_native(path)
    connection.executescript(SETUP)
    reader = sqlite3.connect(path, timeout=0, isolation_level=None)
    reader.execute("BEGIN IMMEDIATE")
    # A plain BEGIN takes no lock: only the change itself finds the other writer.
    connection.execute("PRAGMA busy_timeout = 0")
    with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$"):
        connection.execute("INSERT INTO t VALUES ('new')")
    assert connection.in_transaction
    connection.rollback()
    reader.close()
    connection.close()


SCRIPTS: dict[str, list[tuple[Any, ...]]] = {
    "commit and roll back": [
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("on_connection", 0, "commit"),
        ("execute", 1, "INSERT INTO t VALUES ('b')"),
        ("on_connection", 0, "rollback"),
        ("execute", 1, "SELECT v FROM t"),
        ("on_cursor", 1, "fetchall"),
    ],
    "nothing to end": [
        ("on_connection", 0, "commit"),
        ("on_connection", 0, "rollback"),
        ("on_connection", 0, "commit"),
    ],
    "rolling back under a reader": [
        ("execute", 1, "INSERT INTO t VALUES ('a'), ('b'), ('c')"),
        ("execute", 2, "SELECT v FROM t"),
        ("next", 2),
        ("on_connection", 0, "rollback"),
        ("next", 2),
        ("on_cursor", 2, "fetchall"),
    ],
    "committing under a reader": [
        ("execute", 1, "INSERT INTO t VALUES ('a'), ('b'), ('c')"),
        ("execute", 2, "SELECT v FROM t"),
        ("next", 2),
        ("on_connection", 0, "commit"),
        ("next", 2),
        ("execute", 3, "INSERT INTO t VALUES ('d')"),
        ("on_cursor", 2, "fetchall"),
        ("on_connection", 0, "commit"),
    ],
    "explicit begin": [
        ("execute", 1, "BEGIN"),
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("execute", 1, "BEGIN"),
        ("execute", 1, "COMMIT"),
        ("execute", 1, "COMMIT"),
        ("execute", 1, "ROLLBACK"),
    ],
    "savepoints": [
        ("execute", 1, "SAVEPOINT one"),
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("execute", 1, "SAVEPOINT two"),
        ("execute", 1, "INSERT INTO t VALUES ('b')"),
        ("execute", 1, "ROLLBACK TO two"),
        ("execute", 1, "RELEASE one"),
        ("execute", 2, "SELECT v FROM t"),
        ("on_cursor", 2, "fetchall"),
    ],
    "a failing change keeps the transaction": [
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("execute", 1, "INSERT INTO t VALUES ('bad')"),
        ("execute", 1, "INSERT OR ROLLBACK INTO t VALUES ('a')"),
        ("execute", 2, "SELECT v FROM t"),
        ("on_cursor", 2, "fetchall"),
    ],
    "a change of the schema rolls back too": [
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("execute", 1, "CREATE TABLE u (x)"),
        ("on_connection", 0, "rollback"),
        ("execute", 1, "SELECT * FROM u"),
    ],
    "scripts commit first": [
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        (
            "executescript",
            2,
            "INSERT INTO t VALUES ('b'); SELECT 1; BEGIN; INSERT INTO t VALUES ('c');",
        ),
        ("on_connection", 0, "rollback"),
        ("executescript", 2, "INSERT INTO t VALUES ('d'); nonsense; INSERT INTO t VALUES ('e');"),
        ("execute", 3, "SELECT v FROM t"),
        ("on_cursor", 3, "fetchall"),
    ],
    "none means autocommit": [
        ("set", 0, "isolation_level", None),
        ("execute", 1, "INSERT INTO t VALUES ('a')"),
        ("on_connection", 0, "rollback"),
        ("execute", 1, "BEGIN"),
        ("execute", 1, "INSERT INTO t VALUES ('b')"),
        ("set", 0, "isolation_level", None),
        ("on_connection", 0, "rollback"),
        ("executescript", 2, "BEGIN; INSERT INTO t VALUES ('c');"),
        ("on_connection", 0, "rollback"),
        ("execute", 3, "SELECT v FROM t"),
        ("on_cursor", 3, "fetchall"),
    ],
    "returning rows keep the change": [
        ("execute", 1, "INSERT INTO t VALUES ('a'), ('b') RETURNING v"),
        ("next", 1),
        ("on_connection", 0, "commit"),
        ("next", 1),
        ("next", 1),
        ("execute", 2, "UPDATE t SET v = v || '2' RETURNING v"),
        ("on_cursor", 2, "fetchmany", 2),
        ("on_connection", 0, "rollback"),
        ("on_cursor", 2, "fetchall"),
    ],
    "dropping a cursor with rows left": [
        ("execute", 1, "SELECT v FROM t UNION ALL SELECT v FROM t"),
        ("next", 1),
        ("drop", 1),
        ("execute", 2, "DROP TABLE t"),
        ("on_connection", 0, "commit"),
    ],
}


@pytest.mark.parametrize("name", SCRIPTS)
def test_a_sequence_of_steps(name: str, tmp_path: Path) -> None:
    sessions = []
    for place, open_one in enumerate((open_native, open_python)):
        connection = open_one(tmp_path / f"{place}.db")
        connection.executescript(SETUP)
        sessions.append(Session([connection]))
    assert_sessions_alike(SCRIPTS[name], *sessions)


class Stop(BaseException):
    pass


@pytest.mark.parametrize(
    "error", [None, ValueError("block"), KeyboardInterrupt(), Stop(), sqlite3.Error("x")]
)
@pytest.mark.parametrize("level", ["", None])
def test_with_commits_or_rolls_back(error: BaseException | None, level: str | None) -> None:
    def steps(connection: Any) -> Any:
        connection.isolation_level = level
        caught = None
        try:
            with connection as entered:
                assert entered is connection
                connection.execute("INSERT INTO t VALUES ('in the block')")
                if error is not None:
                    raise error
        except BaseException as raised:
            caught = raised
        assert caught is error
        still_open = connection.in_transaction
        return still_open, connection.execute("SELECT v FROM t").fetchall()

    assert_alike(steps, setup=SETUP)


def test_with_of_a_failing_commit_rolls_back_and_tells(tmp_path: Path) -> None:
    seen = []
    for place, open_one in enumerate((open_native, open_python)):
        path = tmp_path / f"{place}.db"
        connection = open_one(path)
        connection.executescript(SETUP)
        connection.execute("PRAGMA busy_timeout = 0")
        reader = sqlite3.connect(path, timeout=0, isolation_level=None)
        reader.execute("BEGIN")
        reader.execute("SELECT * FROM t").fetchall()

        def block() -> None:
            with connection:  # noqa: B023
                connection.execute("INSERT INTO t VALUES ('lost')")  # noqa: B023

        failed = outcome(block)
        seen.append(
            (
                failed,
                connection.in_transaction,
                describe(connection.execute("SELECT v FROM t").fetchall()),
            )
        )
        assert failed["error"]["text"] == "database is locked"
        assert not connection.in_transaction
        reader.close()
        connection.close()
    assert seen[0] == seen[1]


@pytest.mark.parametrize(
    "given",
    [(), (None,), (None, None), (None, None, None, None), (ValueError, None, None), (1, 2, 3)],
)
def test_exit_called_by_hand(given: tuple) -> None:
    def steps(connection: Any) -> Any:
        connection.execute("INSERT INTO t VALUES ('new')")
        try:
            result = connection.__exit__(*given)
        except TypeError:
            result = "TypeError"
        return result, connection.in_transaction, connection.execute("SELECT v FROM t").fetchall()

    assert_alike(steps, setup=SETUP)


def test_enter_begins_nothing_and_may_be_nested() -> None:
    def steps(connection: Any) -> Any:
        with connection:
            outer = connection.in_transaction
            connection.execute("INSERT INTO t VALUES ('outer')")
            with connection:
                connection.execute("INSERT INTO t VALUES ('inner')")
            after = connection.in_transaction
        return outer, after, connection.execute("SELECT v FROM t").fetchall()

    assert_alike(steps, setup=SETUP)
