"""A short call keeps the interpreter: other threads get it before or after, never in the middle."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process

# With a switch interval of minutes nobody takes the interpreter from a thread: the counting thread
# moves only when it is let go on purpose. It gives the interpreter back itself, after each step.
PRELUDE = """
import sqlite3, sys
from support.busy_thread import counting
from support.sql_cases import count_to, open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

sys.setswitchinterval(600)
path = sys.argv[1]
GIVEN = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
store = ANPRDatabase(path)
for _ in range(150):
    store.add_detection(*GIVEN)

def refused(connection):
    try:
        connection.execute("nonsense")
    except sqlite3.Error:
        pass

def moved_by(work):
    with counting(yielding=True) as counter:
        return counter.progress_of(work)
"""


def child(source: str, path: Path) -> str:
    import textwrap

    return child_process.output(PRELUDE + textwrap.dedent(source), str(path))


READS = {
    "get_detection": "store.get_detection(7)",
    "get_detection of nothing": "store.get_detection(7000)",
    "get_history": "store.get_history()",
    "get_history of a page": "store.get_history(10, 20)",
    "execute": "connection.execute('SELECT * FROM detections').fetchall()",
    "a failing statement": "refused(connection)",
    "_get_conn": "store._get_conn()",
}


@pytest.mark.parametrize("operation", READS)
def test_a_short_read_is_not_interrupted(tmp_path: Path, operation: str) -> None:
    output = child(
        f"""
        connection = store._get_conn()
        def work():
            for _ in range(30):
                {READS[operation]}
        print(moved_by(work))
        """,
        tmp_path / "x.db",
    )
    assert output == "0\n"


def test_the_conversion_of_rows_is_not_interrupted(tmp_path: Path) -> None:
    output = child(
        """
        def work():
            for _ in range(200):
                ANPRDatabase._row_to_dict({"plates": '["AB123"]', "confidences": "[0.5, NaN]"})
        print(moved_by(work))
        """,
        tmp_path / "x.db",
    )
    assert output == "0\n"


def test_pythons_own_connection_is_interrupted_by_the_same_reads(tmp_path: Path) -> None:
    # Shows that the counting thread does move when it may.
    output = child(
        """
        import support.twin
        twin = support.twin.ANPRDatabase(path)
        def work():
            for _ in range(30):
                twin.get_history()
        print(moved_by(work) > 30)
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


def test_a_long_statement_is_kept_while_the_switch_interval_lasts(tmp_path: Path) -> None:
    output = child(
        """
        connection = open_native()
        print(moved_by(lambda: connection.execute(count_to(200_000)).fetchall()))
        """,
        tmp_path / "x.db",
    )
    assert output == "0\n"


def test_a_write_lets_go_for_its_sync_and_comes_back(tmp_path: Path) -> None:
    output = child(
        """
        from support import faults
        faults.install_file_layer()
        faults.slow_down("sync", 50)
        # The syncs before were quick, so the interpreter may be kept through the first slow ones.
        print(moved_by(lambda: [store.add_detection(*GIVEN) for _ in range(4)]) > 0)
        """,
        tmp_path / "x.db",
    )
    assert output == "True\n"


def test_a_write_that_syncs_nothing_is_not_interrupted(tmp_path: Path) -> None:
    output = child(
        """
        connection = store._get_conn()
        connection.execute("PRAGMA synchronous = OFF")
        def work():
            for _ in range(30):
                connection.execute("UPDATE detections SET image_path = 'x' || id")
                connection.commit()
        print(moved_by(work))
        """,
        tmp_path / "x.db",
    )
    assert output == "0\n"
