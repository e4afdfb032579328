"""A connection belongs to the thread that opened it; others are refused with Python's text."""

from __future__ import annotations

import re
import sqlite3
import threading
from collections.abc import Callable
from typing import Any

import pytest

from support.dbapi_uses import USES, use
from support.sql_cases import describe, open_native, open_python, outcome
from support.values import error_of


def on_another_thread(function: Callable[[], Any]) -> Any:
    held: list[Any] = []
    thread = threading.Thread(target=lambda: held.append(function()))
    thread.start()
    thread.join()
    return held[0]


@pytest.fixture
def opened():
    """Either kind of connection, each with a cursor that has two rows to give."""
    pairs = [
        (connection := open_one(), connection.execute("SELECT 1 UNION ALL SELECT 2"))
        for open_one in (open_native, open_python)
    ]
    yield pairs
    for connection, _ in pairs:
        connection.close()


@pytest.mark.parametrize("name", USES)
def test_use_from_another_thread(opened, name):
    # One thread for both, so that the texts name the same two threads.
    ours, theirs = on_another_thread(lambda: [outcome(use, name, *pair) for pair in opened])
    assert ours == theirs
    if name not in ("cursor.execute", "cursor.executemany"):
        # Python drops the rows of a cursor that was refused so.
        rows = [describe(cursor.fetchall()) for _, cursor in opened]
        assert rows[0] == rows[1]


def test_the_text_names_both_threads(opened):
    connection, _ = opened[0]
    error = on_another_thread(lambda: error_of(connection.execute, "SELECT 1"))
    pattern = (
        r"SQLite objects created in a thread can only be used in that same thread\. "
        r"The object was created in thread id (\d+) and this is thread id (\d+)\."
    )
    match = re.fullmatch(pattern, str(error))
    assert type(error) is sqlite3.ProgrammingError
    assert match
    assert int(match[1]) == threading.get_ident() != int(match[2])


@pytest.mark.parametrize("name", USES)
def test_the_thread_is_checked_before_a_closed_connection_is_named(opened, name):
    for connection, _ in opened:
        connection.close()
    ours, theirs = on_another_thread(lambda: [outcome(use, name, *pair) for pair in opened])
    assert ours == theirs


def test_rows_may_be_read_on_any_thread():
    rows = [
        open_one().execute("SELECT 1 AS a, 'x' AS b").fetchone()
        for open_one in (open_native, open_python)
    ]
    ours, theirs = on_another_thread(
        lambda: [(describe(row), row["A"], row[1], len(row), row == row) for row in rows]
    )
    assert ours == theirs
