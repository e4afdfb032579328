"""Forks beside threads that are inside calls: the child works, or is told clearly that it cannot.

A child inherits the engine's notes of file locks, but not the locks. It must neither read without
one nor wait for ever for what its parent's threads had in hand.
"""

from __future__ import annotations

import os
from pathlib import Path

import pytest

from support import child

LOCKED = (
    "unable to open database file: this process was forked while a transaction was open on it, "
    "whose locks a child does not have; fork while the store is idle, or use spawn or forkserver"
)
BUSY = (
    "unable to open database file: this process was forked while another thread was at work in the "
    "database engine; fork while the store is idle, or use spawn or forkserver"
)

PRELUDE = f"""
import os, signal, sqlite3, sys, threading, time, warnings
from support.sql_cases import count_to, open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

warnings.simplefilter("ignore")
path = sys.argv[1]
LOCKED = {LOCKED!r}
BUSY = {BUSY!r}
"""
PRELUDE += """
given = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)

def told(work):
    try:
        return work()
    except sqlite3.Error as error:
        text = str(error)
        return {LOCKED: "locked", BUSY: "busy"}.get(text, f"{type(error).__name__}: {text}")

# What a child that hangs ends with; it only ends what hangs.
def in_child(work):
    reader, writer = os.pipe()
    sys.stdout.flush()
    child = os.fork()
    if child == 0:
        signal.alarm(60)
        try:
            answer = repr(told(work))
        except BaseException as error:
            answer = repr(error)
        os.write(writer, answer.encode())
        os._exit(0)
    os.close(writer)
    with open(reader) as answers:
        answer = answers.read()
    code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    return answer if code == 0 else f"ended with {code}"
"""

# What the parent has open at the fork.
OPEN = {
    "a page that is being read": """
held = open_native(path)
cursor = held.execute("SELECT * FROM detections")
cursor.fetchone()
""",
    "a row that was written": """
held = open_native(path)
held.execute("DELETE FROM detections WHERE id = 1")
""",
    "a lock to write": """
held = open_native(path)
held.executescript("BEGIN IMMEDIATE")
""",
    "a connection in WAL mode": """
held = open_native(path)
held.execute("PRAGMA journal_mode = WAL")
held.execute("SELECT * FROM detections").fetchall()
""",
}


@pytest.mark.parametrize("what", OPEN)
def test_a_file_whose_lock_the_parent_holds_is_refused(tmp_path: Path, what: str) -> None:
    program = f"""
store = ANPRDatabase(path)
for _ in range(300):
    store.add_detection(*given)
cursor = open_native().cursor()
{OPEN[what]}
def elsewhere():
    other = ANPRDatabase(path + "2")
    other.add_detection(*given)
    return len(other.get_history())

def attach():
    connection = open_native(path + "2")
    connection.execute("ATTACH ? AS other", (path,))

def by_a_link():
    os.link(path, path + "3")
    return len(ANPRDatabase(path + "3").get_history())

print(in_child(store.get_history))
print(in_child(lambda: ANPRDatabase(path)))
print(in_child(by_a_link))
print(in_child(lambda: in_child(store.get_history)))
print(in_child(elsewhere))
print(in_child(attach))
cursor.close()
held.rollback()
held.close()
print(in_child(lambda: len(store.get_history(-1))))
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    refused = ["'locked'", "'locked'", "'locked'", "\"'locked'\"", "1"]
    attached = [f'"OperationalError: unable to open database: {tmp_path / "x.db"}"']
    lines = output.splitlines()
    assert lines[:5] == refused
    assert [lines[5].replace("'", '"')] == attached
    assert lines[6:] == ["300"]


def test_a_connection_that_holds_no_lock_does_not_refuse_its_file(tmp_path: Path) -> None:
    program = """
store = ANPRDatabase(path)
store.add_detection(*given)
held = open_native(path)
held.execute("SELECT * FROM detections").fetchall()
print(in_child(lambda: (store.add_detection(*given), len(store.get_history()))))
print(held.execute("SELECT count(*) FROM detections").fetchone()[0])
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "(2, 2)\n2\n"


def test_a_connection_of_the_parent_is_refused_in_the_child(tmp_path: Path) -> None:
    program = """
held = open_native(path)
held.execute("CREATE TABLE t (a)")
held.execute("INSERT INTO t VALUES (1)")
cursor = held.execute("SELECT * FROM t")

def inside():
    with held:
        pass

print(in_child(lambda: held.execute("INSERT INTO t VALUES (2)")))
print(in_child(held.commit))
print(in_child(held.rollback))
print(in_child(cursor.fetchall))
print(in_child(inside))
held.commit()
print(held.execute("SELECT count(*) FROM t").fetchone()[0])
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    refused = (
        "'ProgrammingError: SQLite objects created in a process can only be used in that same "
        "process, not in its forks.'"
    )
    assert output.splitlines() == [refused] * 5 + ["1"]


def test_a_fork_waits_until_a_long_call_is_out_of_the_engine(tmp_path: Path) -> None:
    program = """
store = ANPRDatabase(path)
store.add_detection(*given)
begun = threading.Event()

def work():
    connection = open_native(path + "2")
    begun.set()
    connection.execute(f"SELECT count(*) FROM ({count_to(200_000, 'n')})").fetchone()

for _ in range(5):
    begun.clear()
    thread = threading.Thread(target=work)
    thread.start()
    begun.wait()
    print(in_child(lambda: len(store.get_history())))
    thread.join()
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "1\n" * 5


def test_a_call_without_end_is_waited_for_in_vain_and_the_child_is_told(tmp_path: Path) -> None:
    program = """
store = ANPRDatabase(path)
begun = threading.Event()

def work():
    connection = open_native()
    begun.set()
    connection.execute(f"SELECT count(*) FROM ({count_to(10**12, 'n')})").fetchone()

threading.Thread(target=work, daemon=True).start()
begun.wait()
time.sleep(0.1)
print(in_child(store.get_history))
print(store.get_history())
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "'busy'\n[]\n"


# Who holds the lock cannot let it go while the fork waits: the fork must not wait for the sleepers.
def test_a_thread_that_waits_for_a_lock_does_not_count_as_at_work(tmp_path: Path) -> None:
    program = """
store = ANPRDatabase(path)
store.add_detection(*given)
other = ANPRDatabase(path + "2")
held = open_native(path)
held.executescript("BEGIN IMMEDIATE")
threads = [threading.Thread(target=store.add_detection, args=given) for _ in range(3)]
for thread in threads:
    thread.start()
time.sleep(0.3)
print(in_child(other.get_history))
held.commit()
for thread in threads:
    thread.join()
print(in_child(lambda: len(store.get_history())))
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "[]\n4\n"


@pytest.mark.parametrize("way", ["os.fork", "multiprocessing"])
def test_hundreds_of_forks_beside_busy_threads(tmp_path: Path, way: str) -> None:
    forks = 200 if way == "os.fork" else 50
    program = f"""
import multiprocessing
store = ANPRDatabase(path)
for _ in range(1000):
    store.add_detection(*given)
stop = threading.Event()
added = []

def read():
    while not stop.is_set():
        assert len(store.get_history(-1)) >= 1000

def write():
    while not stop.is_set():
        added.append(store.add_detection(*given))

def add_at_last():
    # Beside writers of another process on a busy machine one wait of 5 seconds may not be enough.
    for _ in range(8):
        try:
            return store.add_detection(*given)
        except sqlite3.OperationalError as error:
            if str(error) != "database is locked":
                raise
    raise AssertionError("locked for ever")

def work():
    before = len(store.get_history(-1))
    add_at_last()
    return "worked" if len(store.get_history(-1)) > before >= 1000 else "lost"

def answer_to(pipe):
    signal.alarm(60)
    pipe.send(told(work))

def by_multiprocessing():
    context = multiprocessing.get_context("fork")
    reader, writer = context.Pipe(duplex=False)
    process = context.Process(target=answer_to, args=(writer,))
    process.start()
    writer.close()
    try:
        answer = reader.recv()
    except EOFError:
        answer = "no answer"
    process.join()
    return repr(answer)

threads = [threading.Thread(target=work_of) for work_of in (read, read, write, write)]
for thread in threads:
    thread.start()
answers = {{}}
for _ in range({forks}):
    answer = by_multiprocessing() if {way != "os.fork"} else in_child(work)
    answers[answer] = answers.get(answer, 0) + 1
stop.set()
for thread in threads:
    thread.join()
print(answers, file=sys.stderr)
known = answers.pop("'worked'", 0), answers.pop("'locked'", 0), answers.pop("'busy'", 0)
print(answers, sum(known))
print(len(store.get_history(-1)) == 1000 + len(added) + known[0])
print(store._get_conn().execute("PRAGMA integrity_check").fetchone()[0])
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == f"{{}} {forks}\nTrue\nok\n"


def test_a_store_that_is_idle_at_the_fork_works_in_hundreds_of_children(tmp_path: Path) -> None:
    program = """
store = ANPRDatabase(path)
print({in_child(lambda: store.add_detection(*given) > 0) for _ in range(200)})
print(len(store.get_history(-1)))
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "{'True'}\n200\n"
    assert not os.path.exists(tmp_path / "x.db-journal")
