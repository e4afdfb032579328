"""Other Python threads run while the store waits for a lock, syncs a file, or works long."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process
from support.sql_cases import count_to

PRELUDE = """
import sqlite3, sys, threading, time
from support import faults
from support.busy_thread import counting
from support.sql_cases import open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
GIVEN = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)

def fair_share(counter, function, seconds):
    # What the counting thread does while this one sleeps as long as the call dawdles: the machine
    # may be slow, but then it is for both. A tenth is far from all and far from nothing.
    for _ in range(5):
        idle = counter.progress_of(lambda: time.sleep(seconds))
        during = counter.progress_of(function)
        if during * 10 > idle:
            return True
    return False
"""


def child(source: str, path: Path) -> str:
    import textwrap

    return child_process.output(PRELUDE + textwrap.dedent(source), str(path))


OPERATIONS = {
    "add_detection": "store.add_detection(*GIVEN)",
    "update_mmc_data": 'store.update_mmc_data(1, {"mmc_color": "red"})',
    "update_image_paths": 'store.update_image_paths(1, "a", "b")',
    "commit": 'connection.execute("INSERT INTO t VALUES (1)"); connection.commit()',
    "executescript": 'connection.executescript("BEGIN; INSERT INTO t VALUES (1); COMMIT;")',
    "execute": 'connection.execute("CREATE TABLE IF NOT EXISTS " + next(names) + " (x)")',
    "exit": "exec('with connection: connection.execute(\"INSERT INTO t VALUES (1)\")')",
}


@pytest.mark.parametrize("operation", OPERATIONS)
def test_while_a_file_is_synced(tmp_path: Path, operation: str) -> None:
    output = child(
        f"""
        faults.install_file_layer()
        store = ANPRDatabase(path)
        store.add_detection(*GIVEN)
        connection = store._get_conn()
        connection.execute("CREATE TABLE t (x)")
        names = iter(f"n{{n}}" for n in range(1000))
        faults.slow_down("sync", 50)
        with counting() as counter:
            print(fair_share(counter, lambda: exec({OPERATIONS[operation]!r}, globals()), 0.05))
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


@pytest.mark.parametrize("operation", ["read", "write"])
def test_while_a_file_operation_outlasts_the_switch_interval(
    tmp_path: Path, operation: str
) -> None:
    # The call turns out to be long at its second slow operation: from there on the others run.
    output = child(
        f"""
        faults.install_file_layer()
        store = ANPRDatabase(path)
        for _ in range(8):
            store.add_detection(["x" * 2000] * 5, [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        connection = store._get_conn()
        connection.execute("PRAGMA cache_size = 3")
        faults.slow_down({operation!r}, 10)
        def work():
            if {operation!r} == "read":
                connection.execute("SELECT sum(length(plates)) FROM detections").fetchall()
            else:
                connection.execute("UPDATE detections SET plates = plates || 'x'")
                connection.rollback()
        with counting() as counter:
            print(fair_share(counter, work, 0.2))
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


STATEMENTS = {
    "one row at the end": (count_to(2_000_000), "fetchall()"),
    "many small rows": (count_to(300_000, "n, 'text', n * 0.5"), "fetchall()"),
    "rows one by one": (count_to(300_000, "n"), "fetchmany(300000)"),
}


@pytest.mark.parametrize("statement", STATEMENTS)
def test_while_a_statement_runs_long(tmp_path: Path, statement: str) -> None:
    sql, fetch = STATEMENTS[statement]
    output = child(
        f"""
        with counting() as counter:
            connection = open_native()
            # Python's own connection lets go at every row, ours once in a switch interval.
            print(counter.progress_of(lambda: connection.execute({sql!r}).{fetch}) > 1000)
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


def test_while_a_long_list_is_written_and_read(tmp_path: Path) -> None:
    output = child(
        """
        store = ANPRDatabase(path)
        for _ in range(300):
            store.add_detection(["AB123"] * 300, [0.123456789] * 300, [[1, 2]] * 300, 0.1, 0.2, 0.3)
        with counting() as counter:
            moved = [counter.progress_of(lambda: store.get_history(-1)) for _ in range(5)]
            print(max(moved) > 100)
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


def test_while_another_thread_of_the_process_holds_the_lock_it_can_finish(tmp_path: Path) -> None:
    output = child(
        """
        store = ANPRDatabase(path)
        store.add_detection(*GIVEN)
        CALLS = [
            lambda: store.add_detection(*GIVEN),
            lambda: store.update_mmc_data(1, {}),
            lambda: store.update_image_paths(1, "a", "b"),
            lambda: store.get_history(),
            lambda: store.get_detection(1),
            lambda: ANPRDatabase(path),
        ]
        for call in CALLS:
            holding, calling = threading.Event(), threading.Event()
            def hold():
                holder = sqlite3.connect(path, isolation_level=None)
                holder.execute("BEGIN EXCLUSIVE")
                holding.set()
                calling.wait()
                # Python code, so it needs the interpreter that the waiting call must have let go.
                for _ in range(20):
                    holder.execute("UPDATE detections SET ocr_time = ocr_time + 1")
                holder.execute("COMMIT")
                holder.close()
            thread = threading.Thread(target=hold)
            thread.start()
            holding.wait()
            calling.set()
            call()
            thread.join()
        print("all done", store.get_detection(1)["ocr_time"] > 100)
        """,
        tmp_path / "x.db",
    )
    assert output == "all done True\n"


def test_while_it_waits_for_a_lock_in_vain(tmp_path: Path) -> None:
    output = child(
        """
        connection = ANPRDatabase(path)._get_conn()
        connection.execute("PRAGMA busy_timeout = 100")
        holder = sqlite3.connect(path, isolation_level=None)
        holder.execute("BEGIN EXCLUSIVE")
        def work():
            try:
                connection.execute("DELETE FROM detections")
            except sqlite3.OperationalError as error:
                assert str(error) == "database is locked"
            connection.rollback()
        with counting() as counter:
            print(fair_share(counter, work, 0.1))
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


def test_with_a_short_switch_interval_even_short_calls_let_go(tmp_path: Path) -> None:
    output = child(
        """
        store = ANPRDatabase(path)
        for _ in range(200):
            store.add_detection(*GIVEN)
        sys.setswitchinterval(1e-6)
        with counting() as counter:
            def work():
                for _ in range(50):
                    store.get_history(200)
            print(counter.progress_of(work) > 0)
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"
