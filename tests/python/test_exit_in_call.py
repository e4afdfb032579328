"""The interpreter ends well while daemon threads are in the middle of calls."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from pathlib import Path

import pytest

from support import child_process

PRELUDE = """
import sqlite3, sys, threading, time
from support.sql_cases import count_to, open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
GIVEN = (["AB123"] * 3, [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
LONG = count_to(100_000_000, "n")
store = ANPRDatabase(path)
for _ in range(20):
    store.add_detection(*GIVEN)
other = ANPRDatabase(path + "2")
ready = threading.Event()

def daemon(function):
    thread = threading.Thread(target=function, daemon=True)
    thread.start()
    return thread
"""

SITUATIONS = {
    "waiting for a lock": """
        holder = sqlite3.connect(path, isolation_level=None)
        holder.execute("BEGIN EXCLUSIVE")
        def work():
            ready.set()
            store.add_detection(*GIVEN)
        daemon(work)
    """,
    "several waiting for a lock": """
        holder = sqlite3.connect(path, isolation_level=None)
        holder.execute("BEGIN EXCLUSIVE")
        def work():
            ready.set()
            while True:
                try:
                    store.get_history()
                except sqlite3.OperationalError:
                    pass
        for _ in range(5):
            daemon(work)
    """,
    "in a long statement": """
        def work():
            ready.set()
            open_native().execute(count_to(100_000_000)).fetchall()
        daemon(work)
    """,
    "fetching many rows": """
        def work():
            ready.set()
            for row in open_native().execute(LONG):
                pass
        daemon(work)
    """,
    "in a slow sync": """
        from support import faults
        faults.install_file_layer()
        faults.slow_down("sync", 100)
        def work():
            ready.set()
            while True:
                store.add_detection(*GIVEN)
        daemon(work)
    """,
    "in a loop of calls": """
        def work():
            ready.set()
            while True:
                store.get_history()
                store.get_detection(3)
                store.add_detection(*GIVEN)
        for _ in range(4):
            daemon(work)
    """,
    "in a Python override of the conversion": """
        class Slow(ANPRDatabase):
            @staticmethod
            def _row_to_dict(row):
                ready.set()
                time.sleep(0.01)
                return dict(row)
        def work():
            while True:
                Slow(path).get_history()
        daemon(work)
    """,
    "in a Python override of the connection": """
        class Slow(ANPRDatabase):
            def _get_conn(self):
                ready.set()
                time.sleep(0.005)
                return super()._get_conn()
        def work():
            while True:
                Slow(path).add_detection(*GIVEN)
        daemon(work)
    """,
    "in the parameters of a statement": """
        def rows():
            while True:
                ready.set()
                time.sleep(0.001)
                yield (1,)
        def work():
            connection = open_native()
            connection.execute("CREATE TABLE t (x)")
            connection.executemany("INSERT INTO t VALUES (?)", rows())
        daemon(work)
    """,
    "in a row factory": """
        def factory(cursor, row):
            ready.set()
            time.sleep(0.001)
            return row
        def work():
            connection = open_native()
            connection.row_factory = factory
            connection.execute(LONG).fetchall()
        daemon(work)
    """,
    "in the text of a value": """
        class Slow(dict):
            def items(self):
                ready.set()
                time.sleep(0.001)
                return [("a", Slow())] if time.sleep(0.001) else [("a", 1)]
        def work():
            while True:
                store.update_mmc_data(1, Slow(a=1))
        daemon(work)
    """,
    "dropping a connection": """
        def work():
            while True:
                connection = store._get_conn()
                connection.execute("INSERT INTO alerts (timestamp, plate) VALUES ('x', 'y')")
                ready.set()
                del connection
        for _ in range(3):
            daemon(work)
    """,
}
ENDINGS = {
    "the end of the program": "",
    "sys.exit": "sys.exit(0)",
    "a call of an exit function": "import atexit; atexit.register(other.get_history)",
}


@pytest.mark.parametrize("ending", ENDINGS)
@pytest.mark.parametrize("situation", SITUATIONS)
def test_the_process_ends_without_a_word(tmp_path: Path, situation: str, ending: str) -> None:
    import textwrap

    source = (
        PRELUDE
        + textwrap.dedent(SITUATIONS[situation])
        + "ready.wait()\ntime.sleep(0.02)\n"
        + ENDINGS[ending]
    )
    done = child_process.run(source, str(tmp_path / "x.db"))
    child_process.assert_ended_well(done.returncode, done.stderr)
    with closing(sqlite3.connect(tmp_path / "x.db")) as connection:
        assert connection.execute("PRAGMA integrity_check").fetchone() == ("ok",)
        assert connection.execute("SELECT count(*) FROM detections").fetchone()[0] >= 20


def test_connections_cursors_and_rows_held_at_exit_are_dropped_in_any_order(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    output = child_process.output(
        PRELUDE
        + """
import builtins, weakref
connection = store._get_conn()
cursor = connection.execute("SELECT * FROM detections")
row = cursor.fetchone()
connection.execute("INSERT INTO alerts (timestamp, plate) VALUES ('x', 'y')")
builtins.kept = [connection, cursor, row]
class Holder:
    pass
cycle = Holder()
cycle.me, cycle.connection, cycle.cursor = cycle, store._get_conn(), cursor
connection.row_factory = lambda *given: cycle
class AtTheEnd:
    def __del__(self):
        # The module may be half gone by now: anything but a crash will do.
        try:
            store.get_history()
        except Exception:
            pass
last = AtTheEnd()
sys.modules["last of all"] = AtTheEnd()
print("fine")
""",
        str(path),
    )
    assert output == "fine\n"
    assert sorted(entry.name for entry in tmp_path.iterdir()) == ["x.db", "x.db2"]


def test_a_finished_interpreter_leaves_no_journal_behind(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    child_process.output(
        PRELUDE
        + """
connection = store._get_conn()
connection.execute("DELETE FROM detections")
""",
        str(path),
    )
    with closing(sqlite3.connect(path)) as connection:
        assert connection.execute("SELECT count(*) FROM detections").fetchone() == (20,)
