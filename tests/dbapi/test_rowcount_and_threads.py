"""A cursor's rowcount is its own thread's: a call that another thread is refused leaves it."""

from __future__ import annotations

import sqlite3
import threading
from pathlib import Path
from typing import Any

import pytest

from support.sql_cases import open_native

CALLS = {
    "execute": lambda cursor: cursor.execute("DELETE FROM t"),
    "executemany": lambda cursor: cursor.executemany("INSERT INTO t VALUES (?)", [(1,)]),
    "executescript": lambda cursor: cursor.executescript("DELETE FROM t"),
    "close": lambda cursor: cursor.close(),
}


def refused_elsewhere(call: Any, *arguments: Any) -> BaseException:
    errors: list[BaseException] = []

    def run() -> None:
        try:
            call(*arguments)
        except BaseException as error:
            errors.append(error)

    thread = threading.Thread(target=run)
    thread.start()
    thread.join()
    (error,) = errors
    return error


@pytest.mark.parametrize("name", CALLS)
def test_a_refused_call_of_another_thread_leaves_the_count(tmp_path: Path, name: str) -> None:
    connection = open_native(tmp_path / "x.db")
    connection.execute("CREATE TABLE t (a)")
    cursor = connection.executemany("INSERT INTO t VALUES (?)", [(1,), (2,), (3,)])
    error = refused_elsewhere(CALLS[name], cursor)
    assert type(error) is sqlite3.ProgrammingError
    assert str(error).startswith("SQLite objects created in a thread can only be used in that same")
    assert cursor.rowcount == 3
    assert connection.execute("SELECT count(*) FROM t").fetchone()[0] == 3


def test_another_thread_that_keeps_trying_does_not_disturb_the_count(tmp_path: Path) -> None:
    connection = open_native(tmp_path / "x.db")
    connection.execute("CREATE TABLE t (a)")
    cursor = connection.cursor()
    stop = threading.Event()

    def keep_trying() -> None:
        while not stop.is_set():
            with pytest.raises(sqlite3.ProgrammingError):
                cursor.execute("DELETE FROM t")

    thread = threading.Thread(target=keep_trying)
    thread.start()
    try:
        for _ in range(20):
            cursor.executemany("INSERT INTO t VALUES (?)", [(i,) for i in range(1000)])
            assert cursor.rowcount == 1000
    finally:
        stop.set()
        thread.join()
