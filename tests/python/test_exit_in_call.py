"""The interpreter ends well while daemon threads are in the middle of calls."""

from __future__ import annotations

import pytest

from support import child, database
from support.program import source_of, told

pytestmark = pytest.mark.slow

PRELUDE = """
LONG = count_to(100_000_000, "n")
store = ANPRDatabase(path)
for _ in range(20):
    store.add_detection(*GIVEN)
other = ANPRDatabase(path + "2")
ready = threading.Event()

def daemon(*calls, threads=1):
    # Each thread makes the calls for ever; the errors of a locked file do not end it.
    def work():
        while True:
            ready.set()
            for call in calls:
                try:
                    call()
                except sqlite3.OperationalError:
                    pass
    for _ in range(threads):
        threading.Thread(target=work, daemon=True).start()

def pause():
    ready.set()
    time.sleep(0.001)

def locked():
    holder = sqlite3.connect(path, isolation_level=None)
    holder.execute("BEGIN EXCLUSIVE")
    return holder
"""

SITUATIONS = {
    "waiting for a lock": """
        holder = locked()
        daemon(lambda: store.add_detection(*GIVEN))
    """,
    "several waiting for a lock": """
        holder = locked()
        daemon(store.get_history, threads=5)
    """,
    "in a long statement": """
        daemon(lambda: open_native().execute(count_to(100_000_000)).fetchall())
    """,
    "fetching many rows": """
        daemon(lambda: [None for row in open_native().execute(LONG) if False])
    """,
    "in a slow sync": """
        faults.install_file_layer()
        faults.slow_down("sync", 100)
        daemon(lambda: store.add_detection(*GIVEN))
    """,
    "in a loop of calls": """
        record = lambda: store.add_detection(*GIVEN)
        daemon(store.get_history, lambda: store.get_detection(3), record, threads=4)
    """,
    "in a Python override of the conversion": """
        class Slow(ANPRDatabase):
            @staticmethod
            def _row_to_dict(row):
                pause()
                return dict(row)
        daemon(lambda: Slow(path).get_history())
    """,
    "in a Python override of the connection": """
        class Slow(ANPRDatabase):
            def _get_conn(self):
                pause()
                return super()._get_conn()
        daemon(lambda: Slow(path).add_detection(*GIVEN))
    """,
    "in the parameters of a statement": """
        def rows():
            while True:
                pause()
                yield (1,)
        def work():
            connection = open_native()
            connection.execute("CREATE TABLE t (x)")
            connection.executemany("INSERT INTO t VALUES (?)", rows())
        daemon(work)
    """,
    "in a row factory": """
        def factory(cursor, row):
            pause()
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
                pause()
                return [("a", 1)]
        daemon(lambda: store.update_mmc_data(1, Slow(a=1)))
    """,
    "dropping a connection": """
        def work():
            connection = store._get_conn()
            connection.execute("INSERT INTO alerts (timestamp, plate) VALUES ('x', 'y')")
            del connection
        daemon(work, threads=3)
    """,
}
ENDINGS = {
    "the end of the program": "",
    "sys.exit": "sys.exit(0)",
    "a call of an exit function": "import atexit; atexit.register(other.get_history)",
}


@pytest.mark.parametrize("ending", ENDINGS)
@pytest.mark.parametrize("situation", SITUATIONS)
def test_the_process_ends_without_a_word(db_path, situation, ending):
    busy = "ready.wait()\ntime.sleep(0.02)"
    done = child.run(source_of(PRELUDE, SITUATIONS[situation], busy, ENDINGS[ending]), str(db_path))
    child.assert_ended_well(done.returncode, done.stderr)
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]
    assert database.count(db_path) >= 20


def test_connections_cursors_and_rows_held_at_exit_are_dropped_in_any_order(tmp_path, db_path):
    output = told(
        PRELUDE
        + """
import builtins
connection = store._get_conn()
cursor = connection.execute("SELECT * FROM detections")
row = cursor.fetchone()
connection.execute("DELETE FROM detections")
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
        db_path,
    )
    assert output == "fine\n"
    assert sorted(entry.name for entry in tmp_path.iterdir()) == ["anpr.db", "anpr.db2"]
    assert database.count(db_path) == 20
