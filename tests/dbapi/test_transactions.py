"""Transactions begin, end and are seen as on Python's connection."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest

from support.alike import alike, assert_files_alike
from support.answering import answering
from support.sql_cases import Session, assert_sessions_alike, open_native, open_python, outcome

SETUP = "CREATE TABLE t (v UNIQUE, CHECK (v <> 'bad')); INSERT INTO t VALUES ('kept');"
SELECT = "SELECT v FROM t"

# fmt: off
LEVELS: tuple[Any, ...] = (
    "", "DEFERRED", "IMMEDIATE", "EXCLUSIVE", "deferred", "Immediate", "eXcLuSiVe", None, " ",
    "DEFERRED ", "BOGUS", "BEGIN", "IMMEDIATE; DROP TABLE t", "DEFERRED\0", "\0", "\ud800", "ı",
    "ΙMMEDIATE", 0, 1, 1.5, b"", b"DEFERRED", [], ["DEFERRED"], (), object, ...,
    *(answering(str, level) for level in ("IMMEDIATE", "immediate", "other")),
)
# fmt: on


@pytest.mark.parametrize("level", LEVELS, ids=ascii)
@alike(SETUP)
def test_any_isolation_level(connection, level):
    result = outcome(setattr, connection, "isolation_level", level)
    after = connection.isolation_level
    connection.execute("INSERT INTO t VALUES ('new')")
    return result, after, connection.in_transaction


@pytest.mark.parametrize("level", LEVELS, ids=ascii)
@alike(SETUP)
def test_any_isolation_level_set_inside_a_transaction(connection, level):
    connection.execute("INSERT INTO t VALUES ('new')")
    result = outcome(setattr, connection, "isolation_level", level)
    connection.rollback()
    return result, connection.execute(SELECT).fetchall()


@alike()
def test_what_cannot_be_set_or_removed(connection):
    removed = outcome(delattr, connection, "isolation_level")
    return removed, [
        (outcome(setattr, connection, name, True), outcome(delattr, connection, name))
        for name in ("in_transaction", "total_changes")
    ]


@pytest.mark.parametrize("level", ["", "DEFERRED", "IMMEDIATE", "EXCLUSIVE", None])
def test_which_lock_the_first_change_takes(tmp_path, level):
    def steps(open_one: Any, folder: Path) -> Any:
        path = folder / "x.db"
        with (
            closing(open_one(path)) as connection,
            closing(sqlite3.connect(path, timeout=0, isolation_level=None)) as other,
        ):
            connection.executescript(SETUP)
            connection.isolation_level = level
            connection.execute("UPDATE t SET v = 'none' WHERE v = 'missing'")
            locks = [
                outcome(lambda sql: other.execute(sql).fetchall(), sql)
                for sql in (SELECT, "BEGIN IMMEDIATE", "ROLLBACK", "BEGIN EXCLUSIVE", "ROLLBACK")
            ]
            return locks, connection.in_transaction

    assert_files_alike(tmp_path, steps)


def run(sql: str, place: int = 1) -> tuple[Any, ...]:
    return ("execute", place, sql)


def script(sql: str) -> tuple[Any, ...]:
    return ("executescript", 2, sql)


def rest(place: int, *given: Any) -> tuple[Any, ...]:
    return ("on_cursor", place, "fetchmany" if given else "fetchall", *given)


def insert(*values: str, returning: str = "") -> tuple[Any, ...]:
    listed = ", ".join(f"('{value}')" for value in values)
    return run(f"INSERT INTO t VALUES {listed}{returning}")


COMMIT = ("on_connection", 0, "commit")
ROLLBACK = ("on_connection", 0, "rollback")
AUTOCOMMIT = ("set", 0, "isolation_level", None)
NEXT = ("next", 2)

# fmt: off
SEQUENCES: dict[str, list[tuple[Any, ...]]] = {
    "commit and roll back": [
        insert("a"), COMMIT, insert("b"), ROLLBACK, run(SELECT), rest(1),
    ],
    "nothing to end": [COMMIT, ROLLBACK, COMMIT],
    "rolling back under a reader": [
        insert("a", "b", "c"), run(SELECT, 2), NEXT, ROLLBACK, NEXT, rest(2),
    ],
    "committing under a reader": [
        insert("a", "b", "c"), run(SELECT, 2), NEXT, COMMIT, NEXT,
        run("INSERT INTO t VALUES ('d')", 3), rest(2), COMMIT,
    ],
    "explicit begin": [
        run("BEGIN"), insert("a"), run("BEGIN"), run("COMMIT"), run("COMMIT"), run("ROLLBACK"),
    ],
    "savepoints": [
        run("SAVEPOINT one"), insert("a"), run("SAVEPOINT two"), insert("b"),
        run("ROLLBACK TO two"), run("RELEASE one"), run(SELECT, 2), rest(2),
    ],
    "a failing change keeps the transaction": [
        insert("a"), insert("a"), insert("bad"), run("INSERT OR ROLLBACK INTO t VALUES ('a')"),
        run(SELECT, 2), rest(2),
    ],
    "a change of the schema rolls back too": [
        insert("a"), run("CREATE TABLE u (x)"), ROLLBACK, run("SELECT * FROM u"),
    ],
    "scripts commit first": [
        insert("a"),
        script("INSERT INTO t VALUES ('b'); SELECT 1; BEGIN; INSERT INTO t VALUES ('c');"),
        ROLLBACK,
        script("INSERT INTO t VALUES ('d'); nonsense; INSERT INTO t VALUES ('e');"),
        run(SELECT, 3), rest(3),
    ],
    "none means autocommit": [
        AUTOCOMMIT, insert("a"), ROLLBACK, run("BEGIN"), insert("b"), AUTOCOMMIT, ROLLBACK,
        script("BEGIN; INSERT INTO t VALUES ('c');"), ROLLBACK, run(SELECT, 3), rest(3),
    ],
    "returning rows keep the change": [
        insert("a", "b", returning=" RETURNING v"), ("next", 1), COMMIT, ("next", 1), ("next", 1),
        run("UPDATE t SET v = v || '2' RETURNING v", 2), rest(2, 2), ROLLBACK, rest(2),
    ],
    "dropping a cursor with rows left": [
        run("SELECT v FROM t UNION ALL SELECT v FROM t"), ("next", 1), ("drop", 1),
        run("DROP TABLE t", 2), COMMIT,
    ],
}
# fmt: on


@pytest.mark.parametrize("name", SEQUENCES)
def test_a_sequence_of_steps(name, tmp_path):
    sessions = []
    for open_one in (open_native, open_python):
        connection = open_one(tmp_path / f"{open_one.__name__}.db")
        connection.executescript(SETUP)
        sessions.append(Session([connection]))
    assert_sessions_alike(SEQUENCES[name], *sessions)


class Stop(BaseException):
    pass


ERRORS = [None, ValueError("block"), KeyboardInterrupt(), Stop(), sqlite3.Error("x")]


@pytest.mark.parametrize("error", ERRORS)
@pytest.mark.parametrize("level", ["", None])
@alike(SETUP)
def test_with_commits_or_rolls_back(connection, level, error):
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
    return connection.in_transaction, connection.execute(SELECT).fetchall()


def test_with_of_a_failing_commit_rolls_back_and_tells(tmp_path):
    def steps(open_one: Any, folder: Path) -> Any:
        path = folder / "x.db"
        with (
            closing(open_one(path)) as connection,
            closing(sqlite3.connect(path, timeout=0, isolation_level=None)) as reader,
        ):
            connection.executescript(SETUP)
            connection.execute("PRAGMA busy_timeout = 0")
            reader.execute("BEGIN")
            reader.execute(SELECT).fetchall()
            error = None
            try:
                with connection:
                    connection.execute("INSERT INTO t VALUES ('lost')")
            except sqlite3.OperationalError as raised:
                error = raised
            return (
                error,
                str(error),
                connection.in_transaction,
                connection.execute(SELECT).fetchall(),
            )

    text, in_transaction = assert_files_alike(tmp_path, steps)["value"][1][1:3]
    assert text == ("str", "'database is locked'")
    assert in_transaction == ("bool", "False")


@pytest.mark.parametrize(
    "given",
    [(), (None,), (None, None), (None, None, None, None), (ValueError, None, None), (1, 2, 3)],
)
@alike(SETUP)
def test_exit_called_by_hand(connection, given):
    connection.execute("INSERT INTO t VALUES ('new')")
    try:
        result = connection.__exit__(*given)
    except TypeError:
        result = "TypeError"
    return result, connection.in_transaction, connection.execute(SELECT).fetchall()


@alike(SETUP)
def test_enter_begins_nothing_and_may_be_nested(connection):
    with connection:
        outer = connection.in_transaction
        connection.execute("INSERT INTO t VALUES ('outer')")
        with connection:
            connection.execute("INSERT INTO t VALUES ('inner')")
        after = connection.in_transaction
    return outer, after, connection.execute(SELECT).fetchall()
