"""Connections and cursors dropped on other threads, by the collector, and during calls."""

from __future__ import annotations

import gc
import os
import threading
from typing import Any

import pytest

from support.database import open_descriptors
from support.program import told
from support.sql_cases import open_native

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2);"


@pytest.fixture
def held(tmp_path):
    """The only reference to a connection, in a list."""
    connections = [open_native(tmp_path / "x.db")]
    connections[0].executescript(SETUP)
    return connections


def on_another_thread(function: Any) -> None:
    thread = threading.Thread(target=function)
    thread.start()
    thread.join()


@pytest.mark.parametrize("begun", ["idle", "reading", "writing"])
def test_a_connection_dropped_on_another_thread_is_closed_there(tmp_path, held, begun):
    if begun == "reading":
        held.append(held[0].execute("SELECT v FROM t"))
        held[1].fetchone()
    elif begun == "writing":
        held[0].execute("INSERT INTO t VALUES (3)")
    assert open_descriptors(tmp_path)
    on_another_thread(held.clear)
    assert open_descriptors(tmp_path) == []
    assert os.listdir(tmp_path) == ["x.db"]
    connection = open_native(tmp_path / "x.db")
    assert [row["v"] for row in connection.execute("SELECT v FROM t")] == [1, 2]
    connection.close()


def test_a_connection_in_a_cycle_is_closed_by_the_collector(tmp_path, held):
    class Holder:
        pass

    gc.collect()
    holder = Holder()
    holder.me = holder
    holder.connection = held.pop()
    holder.cursor = holder.connection.execute("SELECT * FROM t")
    del holder
    assert open_descriptors(tmp_path)
    on_another_thread(gc.collect)
    assert open_descriptors(tmp_path) == []


def test_a_cursor_dropped_on_another_thread_frees_its_table(held):
    cursors = [held[0].execute("SELECT v FROM t")]
    cursors[0].fetchone()
    on_another_thread(cursors.clear)
    held[0].execute("DROP TABLE t")
    held[0].close()


@pytest.mark.slow
def test_cursors_dropped_on_another_thread_while_their_connection_is_in_a_call():
    # In a process of its own, since it ended in a crash where a statement was finalised at once.
    output = told(
        """
        sql = count_to(20_000)
        connection = open_native()
        connection.executescript("CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3);")
        doomed, stop = [], threading.Event()
        dropped = 0
        def drop():
            global dropped
            while not stop.is_set():
                if doomed:
                    doomed.pop()
                    dropped += 1
                    gc.collect(0)
        threads = [threading.Thread(target=drop) for _ in range(2)]
        for thread in threads:
            thread.start()
        for number in range(300):
            for other in range(5):
                cursor = connection.execute(f"SELECT v, {number * 5 + other} FROM t")
                cursor.fetchone()
                doomed.append(cursor)
                del cursor
            assert connection.execute(sql).fetchone()[0] == 20000
        while doomed:
            pass
        stop.set()
        for thread in threads:
            thread.join()
        connection.execute("DROP TABLE t")
        connection.close()
        print(dropped)
        """,
        ":memory:",
    )
    assert output == "1500\n"


@pytest.mark.slow
def test_a_connection_used_on_another_thread_during_a_call_is_refused():
    output = told(
        """
        sql = count_to(500_000)
        connection = open_native()
        cursor = connection.cursor()
        texts, stop = set(), threading.Event()
        def use():
            while not stop.is_set():
                execute = lambda: connection.execute("SELECT 1")
                for call in (execute, cursor.fetchone, connection.close, cursor.close):
                    try:
                        call()
                        texts.add("no error")
                    except sqlite3.ProgrammingError as error:
                        texts.add(str(error).split(".")[0])
        threads = [threading.Thread(target=use) for _ in range(3)]
        for thread in threads:
            thread.start()
        for _ in range(5):
            assert connection.execute(sql).fetchone()[0] == 500000
        stop.set()
        for thread in threads:
            thread.join()
        print(texts)
        """,
        ":memory:",
    )
    assert output == "{'SQLite objects created in a thread can only be used in that same thread'}\n"
