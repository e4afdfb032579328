"""A signal that comes while an operation waits is seen before the operation commits.

Another connection holds the file's lock. A thread sends the signal while the operation waits, and
lets the lock go afterwards; should the operation not wait yet, the signal comes earlier still.
"""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child

PRELUDE = """
import os, signal, sqlite3, sys, threading, time
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
store = ANPRDatabase(path)
store.add_detection(["AB123"], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
store.add_watchlist("AB123")
store.add_alert("AB123", "", 1, 0.5)

def contents():
    with sqlite3.connect(path) as looking:
        tables = ("detections", "watchlist", "alerts")
        return [looking.execute(f"SELECT * FROM {table}").fetchall() for table in tables]

other = sqlite3.connect(path, isolation_level=None, check_same_thread=False)

def interrupt():
    time.sleep(0.2)
    os.kill(os.getpid(), signal.SIGINT)
    time.sleep(0.2)
    other.execute("ROLLBACK")
"""

WRITERS = {
    "add_detection": "store.add_detection(['CD456'], [0.5], [[1, 2]], 0.1, 0.2, 0.3)",
    "update_image_paths": "store.update_image_paths(1, 'a', 'b')",
    "update_mmc_data": "store.update_mmc_data(1, {'mmc_color': 'red'})",
    "delete_detection": "store.delete_detection(1)",
    "delete_detections": "store.delete_detections([1])",
    "cleanup_old": "store.cleanup_old(0)",
    "add_watchlist": "store.add_watchlist('CD456')",
    "remove_watchlist": "store.remove_watchlist(1)",
    "add_alert": "store.add_alert('CD456', '', 1, 0.5)",
    "mark_alerts_read": "store.mark_alerts_read()",
}


# The writers of sqlite3's own connection get it from an override.
@pytest.mark.parametrize("connection", ["own", "sqlite3"])
@pytest.mark.parametrize("name", WRITERS)
def test_a_writer_that_raises_has_changed_nothing(
    tmp_path: Path, name: str, connection: str
) -> None:
    foreign = """
def foreign():
    connection = sqlite3.connect(path)
    connection.row_factory = sqlite3.Row
    return connection
store._get_conn = foreign
"""
    program = f"""
before = contents()
other.execute("BEGIN IMMEDIATE")
thread = threading.Thread(target=interrupt)
try:
    thread.start()
    {WRITERS[name]}
    time.sleep(5)  # the signal has to come
except KeyboardInterrupt:
    print("interrupted", contents() == before)
thread.join()
try:
    {WRITERS[name]}
finally:
    print("again", contents() != before)
"""
    output = child.output(
        PRELUDE + (foreign if connection == "sqlite3" else "") + program, str(tmp_path / "x.db")
    )
    assert output == "interrupted True\nagain True\n"


# The handler lets the lock go itself, so how far the constructor gets tells when the handler ran.
def test_the_constructor_looks_at_signals_between_its_statements(tmp_path: Path) -> None:
    output = child.output(
        """
        import os, signal, sqlite3, sys, threading
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

        path = sys.argv[1]
        older = sqlite3.connect(path, isolation_level=None)
        older.executescript(
            "CREATE TABLE detections (id INTEGER PRIMARY KEY, timestamp TEXT);"
            "CREATE INDEX idx_timestamp ON detections(timestamp DESC);"
            "CREATE TABLE watchlist (id INTEGER PRIMARY KEY, plate TEXT);"
            "CREATE TABLE alerts (id INTEGER PRIMARY KEY, timestamp TEXT);"
            "CREATE INDEX idx_alerts_ts ON alerts(timestamp DESC)"
        )
        older.execute("BEGIN IMMEDIATE")

        class Store(ANPRDatabase):
            def _get_conn(self):
                connection = super()._get_conn()
                connection.execute("PRAGMA busy_timeout = 1000")
                return connection

        signal.signal(signal.SIGINT, lambda number, frame: older.execute("ROLLBACK"))
        timer = threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        Store(path)
        timer.join()
        for table in ("detections", "watchlist", "alerts"):
            columns = [row[1] for row in older.execute(f"PRAGMA table_info({table})")]
            print(table, *(set(columns) & {"detection_confidences", "note", "is_read"}), sep=" ")
        """,
        str(tmp_path / "x.db"),
    )
    detections, watchlist, alerts = output.splitlines()
    assert detections == "detections detection_confidences"
    assert watchlist == "watchlist note"
    assert sorted(alerts.split()) == ["alerts", "is_read", "note"]


def test_the_constructor_that_waits_ends_at_the_first_interrupt(tmp_path: Path) -> None:
    program = """
os.remove(path)
sqlite3.connect(path).execute("CREATE TABLE watchlist (id INTEGER PRIMARY KEY, plate TEXT)")
other = sqlite3.connect(path, isolation_level=None, check_same_thread=False)
other.execute("BEGIN IMMEDIATE")
thread = threading.Thread(target=interrupt)
try:
    thread.start()
    ANPRDatabase(path)
    time.sleep(5)
except KeyboardInterrupt:
    thread.join()
    print(*(name for (name,) in other.execute("SELECT name FROM sqlite_master")))
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    # The statement that waited is done, and the one behind it, the index, was not tried.
    assert output.split() in (["watchlist", "detections", "sqlite_sequence"], ["watchlist"])


# Each statement waits for the file in vain; a handler that raises ends the script at the next.
def test_a_script_looks_at_signals_between_its_statements(tmp_path: Path) -> None:
    program = """
connection = store._get_conn()
connection.execute("PRAGMA busy_timeout = 2000")
other.execute("BEGIN IMMEDIATE")
thread = threading.Thread(target=interrupt)
try:
    thread.start()
    connection.executescript("DELETE FROM alerts; DELETE FROM watchlist; DELETE FROM detections")
    time.sleep(5)
except KeyboardInterrupt:
    print([len(rows) for rows in contents()])
thread.join()
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output in ("[1, 1, 0]\n", "[1, 1, 1]\n")
