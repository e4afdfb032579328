"""A connection belongs to the thread that opened it; others are refused with Python's text."""

from __future__ import annotations

import re
import sqlite3
import threading
from collections.abc import Callable
from typing import Any

import pytest

from support.sql_cases import describe, open_native, open_python, outcome

USES: dict[str, Callable[[Any, Any], Any]] = {
    "execute": lambda connection, cursor: connection.execute("SELECT 1"),
    "execute with a bad argument": lambda connection, cursor: connection.execute(5),
    "executemany": lambda connection, cursor: connection.executemany("SELECT 1", []),
    "executescript": lambda connection, cursor: connection.executescript("SELECT 1"),
    "cursor": lambda connection, cursor: connection.cursor(),
    "commit": lambda connection, cursor: connection.commit(),
    "rollback": lambda connection, cursor: connection.rollback(),
    "close": lambda connection, cursor: connection.close(),
    "enter": lambda connection, cursor: connection.__enter__(),
    "exit": lambda connection, cursor: connection.__exit__(None, None, None),
    "exit with an error": lambda connection, cursor: connection.__exit__(
        ValueError, ValueError(), None
    ),
    "in_transaction": lambda connection, cursor: connection.in_transaction,
    "total_changes": lambda connection, cursor: connection.total_changes,
    "isolation_level": lambda connection, cursor: connection.isolation_level,
    "set isolation_level": lambda connection, cursor: setattr(
        connection, "isolation_level", "IMMEDIATE"
    ),
    "set isolation_level none": lambda connection, cursor: setattr(
        connection, "isolation_level", None
    ),
    "row_factory": lambda connection, cursor: connection.row_factory,
    "set row_factory": lambda connection, cursor: setattr(connection, "row_factory", None),
    "cursor.execute": lambda connection, cursor: cursor.execute("SELECT 1"),
    "cursor.executemany": lambda connection, cursor: cursor.executemany("SELECT 1", []),
    "cursor.executescript": lambda connection, cursor: cursor.executescript("SELECT 1"),
    "cursor.fetchone": lambda connection, cursor: cursor.fetchone(),
    "cursor.fetchmany": lambda connection, cursor: cursor.fetchmany(2),
    "cursor.fetchall": lambda connection, cursor: cursor.fetchall(),
    "cursor.next": lambda connection, cursor: next(cursor),
    "cursor.iter": lambda connection, cursor: iter(cursor) is cursor,
    "cursor.close": lambda connection, cursor: cursor.close(),
    "cursor.description": lambda connection, cursor: cursor.description,
    "cursor.rowcount": lambda connection, cursor: cursor.rowcount,
    "cursor.lastrowid": lambda connection, cursor: cursor.lastrowid,
    "cursor.arraysize": lambda connection, cursor: setattr(cursor, "arraysize", 3),
    "cursor.connection": lambda connection, cursor: cursor.connection is connection,
    "cursor.setinputsizes": lambda connection, cursor: cursor.setinputsizes([1]),
    "cursor.setoutputsize": lambda connection, cursor: cursor.setoutputsize(1),
}


def on_another_thread(function: Callable[[], Any]) -> Any:
    held: list[Any] = []
    thread = threading.Thread(target=lambda: held.append(function()))
    thread.start()
    thread.join()
    return held[0]


@pytest.mark.parametrize("use", USES)
def test_use_from_another_thread(use: str) -> None:
    opened = []
    for open_one in (open_native, open_python):
        connection = open_one()
        opened.append((connection, connection.execute("SELECT 1 UNION ALL SELECT 2")))

    def use_both() -> list[dict]:
        # One thread for both, so that the texts name the same two threads.
        return [outcome(USES[use], *pair) for pair in opened]

    ours, theirs = on_another_thread(use_both)
    assert ours == theirs
    if use not in (
        "cursor.execute",
        "cursor.executemany",
    ):  # Python drops the rows of the refused cursor
        rows = [describe(cursor.fetchall()) for _, cursor in opened]
        assert rows[0] == rows[1]
    for connection, _ in opened:
        connection.close()


def test_the_text_names_both_threads() -> None:
    connection = open_native()

    def use() -> str:
        try:
            connection.execute("SELECT 1")
        except sqlite3.ProgrammingError as error:
            return str(error)
        return "no error"

    text = on_another_thread(use)
    pattern = (
        r"SQLite objects created in a thread can only be used in that same thread\. "
        r"The object was created in thread id (\d+) and this is thread id (\d+)\."
    )
    match = re.fullmatch(pattern, text)
    assert match
    assert int(match[1]) == threading.get_ident() != int(match[2])
    connection.close()


# fmt: off
USES_OF_CLOSED = (
    "commit", "close", "execute", "cursor.fetchone", "cursor.execute", "cursor.close",
    "set isolation_level none",
)
# fmt: on


@pytest.mark.parametrize("use", USES_OF_CLOSED)
def test_the_thread_is_checked_before_a_closed_connection_is_named(use: str) -> None:
    opened = []
    for open_one in (open_native, open_python):
        connection = open_one()
        opened.append((connection, connection.cursor()))
        connection.close()
    ours, theirs = on_another_thread(lambda: [outcome(USES[use], *pair) for pair in opened])
    assert ours == theirs


def test_rows_may_be_read_on_any_thread() -> None:
    rows = [
        open_one().execute("SELECT 1 AS a, 'x' AS b").fetchone()
        for open_one in (open_native, open_python)
    ]
    ours, theirs = on_another_thread(
        lambda: [(describe(row), row["A"], row[1], len(row), row == row) for row in rows]
    )
    assert ours == theirs


def test_a_connection_opened_on_another_thread_is_used_there() -> None:
    def work() -> int:
        connection = open_native()
        connection.execute("CREATE TABLE t (x)")
        connection.executemany("INSERT INTO t VALUES (?)", [(n,) for n in range(10)])
        with connection:
            total = connection.execute("SELECT sum(x) FROM t").fetchone()[0]
        connection.close()
        return total

    assert on_another_thread(work) == 45
