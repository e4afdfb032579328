"""Callers that wait for a file: who gets it next, when a wait ends, and what it leaves behind."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child

PRELUDE = """
import os, signal, sqlite3, subprocess, sys, threading, time
from support import faults
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
GIVEN = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)

class Store(ANPRDatabase):
    timeout = None
    def _get_conn(self):
        connection = super()._get_conn()
        if self.timeout is not None:
            connection.execute(f"PRAGMA busy_timeout = {self.timeout}")
        return connection

store = Store(path)

def start(*functions):
    threads = [threading.Thread(target=function) for function in functions]
    for thread in threads:
        thread.start()
    return threads

def join(threads):
    for thread in threads:
        thread.join()

def error_and_seconds(function):
    begin = time.monotonic()
    try:
        function()
    except (Exception, KeyboardInterrupt) as error:
        return f"{type(error).__name__} {error}".strip(), time.monotonic() - begin
    return "no error", time.monotonic() - begin

def add():
    store.add_detection(*GIVEN)

def foreign_holder(how="BEGIN IMMEDIATE"):
    source = (
        "import sqlite3, sys\\n"
        "connection = sqlite3.connect(sys.argv[1], isolation_level=None)\\n"
        "connection.execute(sys.argv[2])\\n"
        "connection.execute('SELECT count(*) FROM detections').fetchall()\\n"
        "print('held', flush=True); sys.stdin.readline(); connection.execute('ROLLBACK')\\n"
    )
    process = subprocess.Popen(
        [sys.executable, "-c", source, path, how],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
    )
    assert process.stdout.readline() == "held\\n"
    return process

def release(process):
    process.communicate("\\n")

def count():
    with sqlite3.connect(path) as connection:
        return connection.execute("SELECT count(*) FROM detections").fetchone()[0]
"""


def run(source: str, path: Path) -> str:
    import textwrap

    return child.output(PRELUDE + textwrap.dedent(source), str(path))


@pytest.fixture
def path(tmp_path: Path) -> Path:
    return tmp_path / "x.db"


HOLDERS = {"own": "connection = store._get_conn(); connection.execute('BEGIN IMMEDIATE')"}
HOLDERS["foreign"] = "holder = foreign_holder()"


@pytest.mark.parametrize("holder", HOLDERS)
def test_a_wait_ends_after_the_busy_timeout(path: Path, holder: str) -> None:
    # Two connections of one thread among them: it does not wait for itself for ever.
    output = run(
        f"""
        {HOLDERS[holder]}
        print(ANPRDatabase(path + "2")._get_conn().execute("PRAGMA busy_timeout").fetchone()[0])
        store.timeout = 700
        error, seconds = error_and_seconds(add)
        print(error, 0.69 < seconds < 30)
        store.timeout = 0
        error, seconds = error_and_seconds(add)
        print(error, seconds < 30)
        store.timeout = None
        error, seconds = error_and_seconds(add)
        print(error, 4.9 < seconds < 60)
        {"release(holder)" if holder == "foreign" else "connection.rollback()"}
        add()
        print(count())
        """,
        path,
    )
    locked = "OperationalError database is locked True\n"
    assert output == "5000\n" + locked * 3 + "1\n"


@pytest.mark.parametrize("holder", HOLDERS)
def test_signals_do_not_shorten_a_wait(path: Path, holder: str) -> None:
    output = run(
        f"""
        {HOLDERS[holder]}
        seen = []
        signal.signal(signal.SIGALRM, lambda number, frame: seen.append(number))
        store.timeout = 1000
        signal.setitimer(signal.ITIMER_REAL, 0.005, 0.005)
        error, seconds = error_and_seconds(add)
        signal.setitimer(signal.ITIMER_REAL, 0)
        print(error, seconds > 0.99, len(seen) > 10)
        {"release(holder)" if holder == "foreign" else "connection.rollback()"}
        """,
        path,
    )
    assert output == "OperationalError database is locked True True\n"


@pytest.mark.parametrize("holder", HOLDERS)
def test_an_interrupt_ends_a_wait_and_nothing_is_written(path: Path, holder: str) -> None:
    output = run(
        f"""
        {HOLDERS[holder]}
        store.timeout = 100_000
        timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        error, seconds = error_and_seconds(add)
        timer.join()
        print(error, seconds < 60)
        {"release(holder)" if holder == "foreign" else "connection.rollback()"}
        print(count())
        add()
        print(count())
        """,
        path,
    )
    assert output == "KeyboardInterrupt True\n0\n1\n"


def test_an_interrupt_ends_a_commit_that_waits_for_a_reader(path: Path) -> None:
    output = run(
        """
        add()
        holder = foreign_holder("BEGIN")
        store.timeout = 100_000
        threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
        error, seconds = error_and_seconds(add)
        print(error, seconds < 60)
        release(holder)
        print(count())
        add()
        print(count())
        """,
        path,
    )
    assert output == "KeyboardInterrupt True\n1\n2\n"


def test_an_interrupt_is_raised_where_the_engine_only_reports_a_busy_file(path: Path) -> None:
    output = run(
        """
        with sqlite3.connect(path) as connection:
            connection.execute("PRAGMA journal_mode = WAL")
        connection.close()
        holder = foreign_holder()
        store.timeout = 100_000
        connection = store._get_conn()
        threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
        checkpoint = "PRAGMA wal_checkpoint(RESTART)"
        error, seconds = error_and_seconds(lambda: connection.execute(checkpoint).fetchall())
        print(error, seconds < 60)
        release(holder)
        print(connection.execute(checkpoint).fetchone()[0])
        """,
        path,
    )
    assert output == "KeyboardInterrupt True\n0\n"


def test_a_handler_may_write_to_the_file_that_its_thread_waits_for(path: Path) -> None:
    # The outer wait is the first in the line; the handler's own must not stand behind it.
    output = run(
        """
        holder = foreign_holder()
        done = []
        def handler(number, frame):
            release(holder)
            add()
            done.append(count())
        signal.signal(signal.SIGUSR1, handler)
        threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGUSR1)).start()
        store.timeout = 60_000
        error, seconds = error_and_seconds(add)
        print(error, seconds < 50, done, count())
        """,
        path,
    )
    assert output == "no error True [1] 2\n"


def test_nobody_asks_for_a_lock_that_a_thread_of_this_process_holds(path: Path) -> None:
    output = run(
        """
        faults.install_file_layer()
        store = Store(path)
        connection = store._get_conn()
        connection.execute("BEGIN IMMEDIATE")
        threads = start(*[add] * 5)
        before = -1
        for _ in range(600):  # until all five stand in the line
            if (now := faults.file_operations()) == before:
                break
            before = now
            time.sleep(0.5)
        print(faults.file_operations() == before)
        time.sleep(0.5)
        print(faults.file_operations() == before)
        connection.commit()
        join(threads)
        print(count())
        """,
        path,
    )
    assert output == "True\nTrue\n5\n"


@pytest.mark.parametrize("kind", ["IMMEDIATE", "EXCLUSIVE"])
def test_all_who_wait_go_on_when_the_holder_is_done(path: Path, kind: str) -> None:
    output = run(
        f"""
        add()
        connection = store._get_conn()
        connection.execute("BEGIN {kind}")
        results = []
        def begin_immediate():
            own = store._get_conn()
            own.execute("BEGIN IMMEDIATE")
            own.execute("INSERT INTO watchlist (plate, created_at) VALUES ('a', 'b')")
            own.commit()
            own.close()
        threads = start(
            *[add] * 4, *[begin_immediate] * 2,
            *[lambda: results.append(len(store.get_history()) > 0)] * 4,
        )
        time.sleep(0.5)
        connection.commit()
        join(threads)
        print(count(), len(store.get_watchlist()), results)
        """,
        path,
    )
    assert output == "5 2 [True, True, True, True]\n"


def test_a_reader_that_wants_to_write_is_refused_at_once(path: Path) -> None:
    # The writer waits for it to leave: to make it wait for the writer would lock both out.
    output = run(
        """
        add()
        reader = store._get_conn()
        reader.execute("BEGIN")
        reader.execute("SELECT * FROM detections").fetchall()
        writer = store._get_conn()
        writer.execute("BEGIN IMMEDIATE")
        writer.execute("DELETE FROM detections")
        error, seconds = error_and_seconds(lambda: reader.execute("DELETE FROM detections"))
        print(error, seconds < 4)
        reader.rollback()
        writer.commit()
        print(count())
        """,
        path,
    )
    assert output == "OperationalError database is locked True\n0\n"


def test_a_commit_goes_on_when_the_last_reader_leaves(path: Path) -> None:
    # With more readers than the engine would ever try again for.
    output = run(
        """
        add()
        readers = [store._get_conn() for _ in range(120)]
        cursors = [reader.execute("SELECT * FROM detections, (SELECT 1 UNION SELECT 2)")
                   for reader in readers]
        for reader in readers:
            reader.execute("BEGIN")
            reader.execute("SELECT count(*) FROM detections").fetchall()
        del cursors
        leaving = threading.Event()
        result = []
        thread, = start(lambda: result.append(error_and_seconds(add)[0]))
        time.sleep(0.3)
        for reader in readers:
            reader.rollback()
            time.sleep(0.002)
        thread.join()
        print(result, count())
        """,
        path,
    )
    assert output == "['no error'] 2\n"


def test_many_writers_and_a_foreign_one_lose_nothing(path: Path) -> None:
    output = run(
        """
        source = (
            "import sqlite3, sys, time\\n"
            "connection = sqlite3.connect(sys.argv[1], timeout=60, isolation_level=None)\\n"
            "for number in range(40):\\n"
            "    connection.execute('BEGIN IMMEDIATE')\\n"
            "    connection.execute('UPDATE watchlist SET label = label + 1')\\n"
            "    time.sleep(0.002)\\n"
            "    connection.execute('COMMIT')\\n"
        )
        store.add_watchlist("A", "0")
        store.timeout = 60_000
        problems = []
        def write():
            for _ in range(15):
                error = error_and_seconds(add)[0]
                if error != "no error":
                    problems.append(error)
        process = subprocess.Popen([sys.executable, "-c", source, path])
        join(start(*[write] * 6))
        print(process.wait(), problems, count(), store.get_watchlist()[0]["label"])
        """,
        path,
    )
    assert output == "0 [] 90 40\n"


@pytest.mark.parametrize("mode", ["WAL", "TRUNCATE", "PERSIST"])
def test_writers_take_turns_in_every_journal_mode(path: Path, mode: str) -> None:
    output = run(
        f"""
        with sqlite3.connect(path) as connection:
            print(connection.execute("PRAGMA journal_mode = {mode}").fetchone()[0])
        connection.close()
        store.timeout = 60_000
        reading = True
        problems = []
        def write():
            for _ in range(15):
                problems.append(error_and_seconds(add)[0])
        def read():
            while reading:
                problems.append(error_and_seconds(store.get_statistics)[0])
        readers = start(*[read] * 2)
        holder = store._get_conn()
        holder.execute("BEGIN IMMEDIATE")
        writers = start(*[write] * 6)
        time.sleep(0.3)
        holder.commit()
        holder.close()
        join(writers)
        reading = False
        join(readers)
        print(set(problems), count())
        """,
        path,
    )
    assert output == f"{mode.lower()}\n{{'no error'}} 90\n"


def test_a_wal_that_is_recovered_while_writers_wait(path: Path) -> None:
    output = run(
        """
        source = (
            "import os, sqlite3, sys\\n"
            "connection = sqlite3.connect(sys.argv[1])\\n"
            "connection.execute('PRAGMA journal_mode = WAL')\\n"
            "with connection:\\n"
            "    connection.execute('INSERT INTO watchlist (plate, created_at) VALUES (1, 2)')\\n"
            "os._exit(0)\\n"
        )
        subprocess.run([sys.executable, "-c", source, path], check=True)
        os.unlink(path + "-shm")
        join(start(*[add] * 8))
        print(count(), len(store.get_watchlist()))
        """,
        path,
    )
    assert output == "8 1\n"


def test_a_file_that_is_replaced_while_callers_wait(path: Path) -> None:
    output = run(
        """
        Store(path + ".new")
        holder = store._get_conn()
        holder.execute("BEGIN IMMEDIATE")
        waiting = start(*[add] * 3)
        time.sleep(0.3)
        os.replace(path + ".new", path)
        add()  # the new file is free
        print(count())
        holder.rollback()
        join(waiting)
        add()
        print(count())
        """,
        path,
    )
    # Those who had opened the old file wrote there, or failed with it as Python's sqlite3 would.
    assert output == "1\n2\n"


def test_a_child_of_a_fork_does_not_stand_behind_its_parents_waiters(path: Path) -> None:
    output = run(
        """
        holder = store._get_conn()
        holder.execute("BEGIN IMMEDIATE")
        waiting = start(*[add] * 3)
        time.sleep(0.3)
        other = path + ".other"
        child = os.fork()
        if child == 0:
            mine = Store(other)
            mine.add_detection(*GIVEN)
            error, seconds = error_and_seconds(add)
            refused = "forked while a transaction was open" in error
            os._exit(0 if refused and mine.get_statistics()["total_detections"] == 1 else 1)
        print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
        holder.rollback()
        join(waiting)
        print(count())
        """,
        path,
    )
    assert output == "0\n3\n"


def test_a_waiter_that_is_killed_is_waited_for_by_nobody(path: Path) -> None:
    output = run(
        """
        source = (
            "import sys, threading\\n"
            "from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase\\n"
            "store = ANPRDatabase(sys.argv[1])\\n"
            "def add():\\n"
            "    store.add_detection(['A'], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)\\n"
            "for _ in range(4): threading.Thread(target=add).start()\\n"
            "print('started', flush=True)\\n"
        )
        holder = store._get_conn()
        holder.execute("BEGIN IMMEDIATE")
        process = subprocess.Popen(
            [sys.executable, "-c", source, path], stdout=subprocess.PIPE, text=True
        )
        process.stdout.readline()
        waiting = start(*[add] * 3)
        time.sleep(0.3)
        process.kill()
        process.wait()
        holder.rollback()
        join(waiting)
        print(count())
        """,
        path,
    )
    assert output == "3\n"


def test_threads_that_wait_when_the_interpreter_exits_stand_in_nobodys_way(path: Path) -> None:
    output = run(
        """
        holder = store._get_conn()
        holder.execute("BEGIN IMMEDIATE")
        for _ in range(4):
            threading.Thread(target=add, daemon=True).start()
        time.sleep(0.5)
        class AtTheEnd:
            # Dropped with the modules: the interpreter has shut the waiting threads
            # out for good by then, and hangs each that asks for it.
            def __init__(self, *needs):
                self.needs = needs
            def __del__(self):
                store, holder, given, clock, write = self.needs
                begin = clock()
                holder.rollback()
                while clock() - begin < 0.3:
                    pass
                store.add_detection(*given)
                write(1, f"written {clock() - begin < 4.5}\\n".encode())
        module = type(sys)("held_until_the_end")
        module.last = AtTheEnd(store, holder, GIVEN, time.monotonic, os.write)
        sys.modules[module.__name__] = module
        del module
        """,
        path,
    )
    assert output == "written True\n"


def test_copies_of_the_module_wait_for_each_other(path: Path, tmp_path: Path) -> None:
    output = run(
        f"""
        import importlib.machinery, importlib.util, shutil
        from zentrope_anpr import zentrope_anpr_server_db as first
        target = {str(tmp_path)!r} + "/copy.so"
        shutil.copy(first.__file__, target)
        name = "zentrope_anpr.zentrope_anpr_server_db"
        loader = importlib.machinery.ExtensionFileLoader(name, target)
        spec = importlib.util.spec_from_file_location(name, target, loader=loader)
        second = importlib.util.module_from_spec(spec)
        loader.exec_module(second)
        problems = []
        def write(module):
            mine = module.ANPRDatabase(path)
            for _ in range(10):
                problems.append(error_and_seconds(lambda: mine.add_detection(*GIVEN))[0])
        join(start(*[lambda: write(first)] * 2, *[lambda: write(second)] * 2))
        print(set(problems), count())
        """,
        path,
    )
    assert output == "{'no error'} 40\n"


def test_the_timeout_is_the_one_that_a_pragma_has_set_last(path: Path) -> None:
    output = run(
        """
        holder = foreign_holder()
        connection = store._get_conn()
        for statement in ("PRAGMA busy_timeout = 900", "pragma main.BUSY_TIMEOUT(400)"):
            connection.execute(statement)
            wanted = connection.execute("PRAGMA busy_timeout").fetchone()[0] / 1000
            error, seconds = error_and_seconds(lambda: connection.execute("BEGIN IMMEDIATE"))
            print(error, seconds > wanted - 0.01)
        release(holder)
        """,
        path,
    )
    assert output == "OperationalError database is locked True\n" * 2
