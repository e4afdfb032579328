"""Closed connections, and cursors of closed connections, refuse as Python's do."""

from __future__ import annotations

import os
import sqlite3
from pathlib import Path
from typing import Any

import pytest

from support.sql_cases import assert_alike, open_native, outcome

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3);"

CONNECTION_USES: dict[str, Any] = {
    "execute": lambda c: c.execute("SELECT 1"),
    "execute of nonsense": lambda c: c.execute(5),
    "executemany": lambda c: c.executemany("SELECT 1", []),
    "executescript": lambda c: c.executescript(""),
    "cursor": lambda c: c.cursor(),
    "commit": lambda c: c.commit(),
    "rollback": lambda c: c.rollback(),
    "close": lambda c: c.close(),
    "enter": lambda c: c.__enter__(),
    "exit": lambda c: c.__exit__(None, None, None),
    "exit with an error": lambda c: c.__exit__(ValueError, ValueError("x"), None),
    "in_transaction": lambda c: c.in_transaction,
    "total_changes": lambda c: c.total_changes,
    "isolation_level": lambda c: c.isolation_level,
    "set isolation_level": lambda c: setattr(c, "isolation_level", "IMMEDIATE"),
    "set isolation_level none": lambda c: setattr(c, "isolation_level", None),
    "set isolation_level badly": lambda c: setattr(c, "isolation_level", "bad"),
    "row_factory": lambda c: c.row_factory,
    "set row_factory": lambda c: setattr(c, "row_factory", None),
}
CURSOR_USES: dict[str, Any] = {
    "execute": lambda c: c.execute("SELECT 1"),
    "executemany": lambda c: c.executemany("SELECT 1", []),
    "executescript": lambda c: c.executescript(""),
    "fetchone": lambda c: c.fetchone(),
    "fetchmany": lambda c: c.fetchmany(),
    "fetchmany badly": lambda c: c.fetchmany("x"),
    "fetchall": lambda c: c.fetchall(),
    "next": lambda c: next(c),
    "iter": lambda c: list(c),
    "close": lambda c: c.close(),
    "description": lambda c: c.description,
    "rowcount": lambda c: c.rowcount,
    "lastrowid": lambda c: c.lastrowid,
    "arraysize": lambda c: c.arraysize,
    "set arraysize": lambda c: setattr(c, "arraysize", 5),
    "row_factory": lambda c: c.row_factory,
    "setinputsizes": lambda c: c.setinputsizes([]),
    "setoutputsize": lambda c: c.setoutputsize(1),
}


@pytest.mark.parametrize("use", CONNECTION_USES)
def test_a_closed_connection(use: str) -> None:
    def steps(connection: Any) -> Any:
        connection.close()
        return str(outcome(CONNECTION_USES[use], connection))

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("use", CURSOR_USES)
@pytest.mark.parametrize("begun", [True, False])
def test_a_cursor_of_a_closed_connection(use: str, begun: bool) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        if begun:
            cursor.execute("SELECT v FROM t").fetchone()
        connection.close()
        return str(outcome(CURSOR_USES[use], cursor))

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("use", CURSOR_USES)
@pytest.mark.parametrize("begun", [True, False])
def test_a_closed_cursor(use: str, begun: bool) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        if begun:
            cursor.execute("SELECT v FROM t").fetchone()
        closed = cursor.close()
        return closed, str(outcome(CURSOR_USES[use], cursor)), cursor.connection is connection

    assert_alike(steps, setup=SETUP)


def test_closing_a_cursor_frees_its_table() -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.execute("SELECT v FROM t")
        cursor.fetchone()
        locked = str(outcome(lambda: connection.execute("DROP TABLE t")))
        cursor.close()
        connection.execute("DROP TABLE t")
        return locked

    assert_alike(steps, setup=SETUP)


def test_closing_with_an_open_transaction_loses_it(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    connection = open_native(path)
    connection.executescript(SETUP)
    connection.execute("INSERT INTO t VALUES (4)")
    reader = connection.execute("SELECT v FROM t")
    reader.fetchone()
    connection.close()
    del reader
    assert os.listdir(tmp_path) == ["x.db"]
    other = sqlite3.connect(path, timeout=0)
    assert other.execute("SELECT count(*) FROM t").fetchone() == (3,)
    other.close()


def test_closing_with_statements_unfinished_closes_the_file_when_they_go(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    connection = open_native(path)
    connection.executescript(SETUP)
    cursors = [connection.execute("SELECT v FROM t") for _ in range(5)]
    for cursor in cursors:
        cursor.fetchone()
    connection.close()
    del cursor, cursors
    assert descriptors_of(path) == []


@pytest.mark.parametrize("dropped_first", ["connection", "cursor", "row"])
def test_dropping_the_last_reference_closes_the_file(tmp_path: Path, dropped_first: str) -> None:
    path = tmp_path / "x.db"
    connection: Any = open_native(path)
    connection.executescript(SETUP)
    connection.execute("INSERT INTO t VALUES (4)")
    cursor: Any = connection.execute("SELECT v FROM t")
    row: Any = cursor.fetchone()
    order = ["connection", "cursor", "row"]
    order.remove(dropped_first)
    for name in (dropped_first, *order):
        if name == "connection":
            connection = None
        elif name == "cursor":
            cursor = None
        else:
            row = None
    assert (connection, cursor, row) == (None, None, None)
    assert descriptors_of(path) == []
    assert os.listdir(tmp_path) == ["x.db"]


def test_a_row_alone_keeps_no_file_open(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    connection = open_native(path)
    connection.executescript(SETUP)
    row = connection.execute("SELECT v AS a FROM t").fetchone()
    del connection
    assert descriptors_of(path) == []
    assert (row["a"], row.keys()) == (1, ["a"])


def test_a_cursor_keeps_its_connection_open(tmp_path: Path) -> None:
    connection = open_native(tmp_path / "x.db")
    connection.executescript(SETUP)
    cursor = connection.execute("SELECT v FROM t")
    del connection
    assert [row["v"] for row in cursor] == [1, 2, 3]
    assert cursor.connection.in_transaction is False


def descriptors_of(path: Path) -> list[str]:
    found = []
    for entry in os.listdir("/proc/self/fd"):
        try:
            target = os.readlink(f"/proc/self/fd/{entry}")
        except OSError:
            continue
        if target.startswith(str(path)):
            found.append(target)
    return found
