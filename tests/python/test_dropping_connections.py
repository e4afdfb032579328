"""Connections and cursors dropped on other threads, by the collector, and during calls."""

from __future__ import annotations

import gc
import os
import threading
from pathlib import Path
from typing import Any

import pytest

from support import child_process
from support.engine_library import open_descriptors
from support.sql_cases import open_native


def on_another_thread(function: Any) -> None:
    thread = threading.Thread(target=function)
    thread.start()
    thread.join()


@pytest.mark.parametrize("begun", ["idle", "reading", "writing"])
def test_a_connection_dropped_on_another_thread_is_closed_there(tmp_path: Path, begun: str) -> None:
    path = tmp_path / "x.db"
    held: list[Any] = [open_native(path)]
    held[0].executescript("CREATE TABLE t (v); INSERT INTO t VALUES (1), (2);")
    if begun == "reading":
        held.append(held[0].execute("SELECT v FROM t"))
        held[1].fetchone()
    elif begun == "writing":
        held[0].execute("INSERT INTO t VALUES (3)")
    assert open_descriptors(path)
    on_another_thread(held.clear)
    assert open_descriptors(path) == []
    assert os.listdir(tmp_path) == ["x.db"]
    connection = open_native(path)
    assert [row["v"] for row in connection.execute("SELECT v FROM t")] == [1, 2]
    connection.close()


def test_a_connection_in_a_cycle_is_closed_by_the_collector(tmp_path: Path) -> None:
    path = tmp_path / "x.db"

    class Holder:
        pass

    def make() -> None:
        holder: Any = Holder()
        holder.me = holder
        holder.connection = open_native(path)
        holder.connection.execute("CREATE TABLE IF NOT EXISTS t (v)")
        holder.cursor = holder.connection.execute("SELECT * FROM t")

    gc.collect()
    make()
    assert open_descriptors(path)
    on_another_thread(gc.collect)
    assert open_descriptors(path) == []


def test_a_cursor_dropped_on_another_thread_frees_its_table(tmp_path: Path) -> None:
    connection = open_native(tmp_path / "x.db")
    connection.executescript("CREATE TABLE t (v); INSERT INTO t VALUES (1), (2);")
    held = [connection.execute("SELECT v FROM t")]
    held[0].fetchone()
    on_another_thread(held.clear)
    connection.execute("DROP TABLE t")
    connection.close()


def test_cursors_dropped_on_another_thread_while_their_connection_is_in_a_call() -> None:
    # In a process of its own, since it ended in a crash where a statement was finalised at once.
    output = child_process.output("""
        import gc, threading
        from support.sql_cases import count_to, open_native
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
    """)
    assert output == "1500\n"


def test_a_connection_used_on_another_thread_during_a_call_is_refused(tmp_path: Path) -> None:
    output = child_process.output("""
        import sqlite3, threading
        from support.sql_cases import count_to, open_native
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
    """)
    assert output == "{'SQLite objects created in a thread can only be used in that same thread'}\n"


def test_every_call_closes_its_connection_without_the_collectors_help(tmp_path: Path) -> None:
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    path = tmp_path / "x.db"
    gc.collect()
    gc.disable()
    try:
        store: Any = ANPRDatabase(path)
        for call in (
            lambda: store.add_detection(["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3),
            lambda: store.add_detection([object()], [], [], 0.1, 0.2, 0.3),
            lambda: store.add_detection([], [], [], [], 0.2, 0.3),
            lambda: store.update_mmc_data(1, {}),
            lambda: store.update_mmc_data(object(), {}),
            lambda: store.get_history(),
            lambda: store.get_history("x"),
            lambda: store.get_detection(1),
            lambda: store.get_detection([]),
        ):
            try:
                call()
            except Exception as error:
                del error
            assert open_descriptors(path) == []
    finally:
        gc.enable()
