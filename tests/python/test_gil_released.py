"""Other Python threads run while the store waits for a lock, syncs a file, or works long."""

from __future__ import annotations

import textwrap

import pytest

from support.program import told
from support.sql_cases import count_to

pytestmark = pytest.mark.slow

PRELUDE = """
def fair_share(function, seconds):
    # What the counting thread does while this one sleeps as long as the call dawdles: the machine
    # may be slow, but then it is for both. A tenth is far from all and far from nothing.
    with counting() as counter:
        for _ in range(5):
            idle = counter.progress_of(lambda: time.sleep(seconds))
            during = counter.progress_of(function)
            if during * 10 > idle:
                return True
    return False
"""


def assert_true(db_path, *parts):
    assert told(PRELUDE + "\n".join(map(textwrap.dedent, parts)), db_path) == "True\n"


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
def test_while_a_file_is_synced(db_path, operation):
    assert_true(
        db_path,
        """
        faults.install_file_layer()
        store = ANPRDatabase(path)
        store.add_detection(*GIVEN)
        connection = store._get_conn()
        connection.execute("CREATE TABLE t (x)")
        names = iter(f"n{n}" for n in range(1000))
        faults.slow_down("sync", 50)
        """,
        f"print(fair_share(lambda: exec({OPERATIONS[operation]!r}, globals()), 0.05))",
    )


SLOW = {
    "read": 'connection.execute("SELECT sum(length(plates)) FROM detections").fetchall()',
    "write": """
        connection.execute("UPDATE detections SET plates = plates || 'x'"), connection.rollback()
    """,
}


@pytest.mark.parametrize("operation", SLOW)
def test_while_a_file_operation_outlasts_the_switch_interval(db_path, operation):
    # The call turns out to be long at its second slow operation: from there on the others run.
    assert_true(
        db_path,
        """
        faults.install_file_layer()
        store = ANPRDatabase(path)
        for _ in range(8):
            store.add_detection(["x" * 2000] * 5, *GIVEN[1:])
        connection = store._get_conn()
        connection.execute("PRAGMA cache_size = 3")
        """,
        f"faults.slow_down({operation!r}, 10)",
        f"print(fair_share(lambda: ({SLOW[operation].strip()}), 0.2))",
    )


# Python's own connection lets go at every row, ours once in a switch interval.
LONG = {
    "one row at the end": (count_to(2_000_000), "fetchall()"),
    "many small rows": (count_to(300_000, "n, 'text', n * 0.5"), "fetchall()"),
    "rows one by one": (count_to(300_000, "n"), "fetchmany(300000)"),
}


@pytest.mark.parametrize("statement", LONG)
def test_while_a_statement_runs_long(db_path, statement):
    sql, fetch = LONG[statement]
    assert_true(
        db_path,
        f"""
        with counting() as counter:
            connection = open_native()
            print(counter.progress_of(lambda: connection.execute({sql!r}).{fetch}) > 1000)
        """,
    )


def test_while_a_long_list_is_read(db_path):
    assert_true(
        db_path,
        """
        store = ANPRDatabase(path)
        for _ in range(300):
            store.add_detection(["AB123"] * 300, [0.123456789] * 300, [[1, 2]] * 300, 0.1, 0.2, 0.3)
        with counting() as counter:
            print(max(counter.progress_of(lambda: store.get_history(-1)) for _ in range(5)) > 100)
        """,
    )


def test_with_a_short_switch_interval_even_short_calls_let_go(db_path):
    assert_true(
        db_path,
        """
        store = ANPRDatabase(path)
        for _ in range(200):
            store.add_detection(*GIVEN)
        sys.setswitchinterval(1e-6)
        with counting() as counter:
            work = lambda: [store.get_history(200) for _ in range(50)]
            print(counter.progress_of(work) > 0)
        """,
    )


def test_while_another_thread_of_the_process_holds_the_lock_it_can_finish(db_path):
    assert_true(
        db_path,
        """
        from support.operations import CONNECTED
        store = ANPRDatabase(path)
        store.add_detection(*GIVEN)
        for call in [lambda o=o: o.run(store) for o in CONNECTED] + [lambda: ANPRDatabase(path)]:
            holding, calling = threading.Event(), threading.Event()
            def hold():
                holder = sqlite3.connect(path, isolation_level=None)
                holder.execute("BEGIN EXCLUSIVE")
                holding.set()
                calling.wait()
                # Python code, so it needs the GIL that the waiting call must have let go.
                for _ in range(20):
                    holder.execute("UPDATE sqlite_sequence SET seq = seq + 1")
                holder.execute("COMMIT")
                holder.close()
            thread = threading.Thread(target=hold)
            thread.start()
            holding.wait()
            calling.set()
            call()
            thread.join()
        with store._get_conn() as connection:
            print(connection.execute("SELECT max(seq) FROM sqlite_sequence").fetchone()[0] > 400)
        """,
    )


def test_while_it_waits_for_a_lock_in_vain(db_path):
    assert_true(
        db_path,
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
        print(fair_share(work, 0.1))
        """,
    )
