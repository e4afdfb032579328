"""Ctrl-C reaches a caller in the middle of long work, and leaves everything usable."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process

# How long the same work takes when nobody interrupts it is measured first, in the time of this
# thread alone, so that neither the machine's speed nor its other work counts.
PRELUDE = """
import os, signal, sqlite3, sys, threading, time
from support.sql_cases import count_to, open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
store = ANPRDatabase(path)

def interrupted_early(work):
    begin = time.thread_time()
    start = time.monotonic()
    work()
    whole = time.thread_time() - begin
    wall = time.monotonic() - start
    for _ in range(5):
        timer = threading.Timer(wall / 10, os.kill, (os.getpid(), signal.SIGINT))
        begin = time.thread_time()
        try:
            timer.start()
            work()
            timer.join()
            time.sleep(1)  # it came too late, but it comes
        except KeyboardInterrupt:
            if time.thread_time() - begin < whole * 0.7:
                return True
    return False
"""
WORK = {
    "fetchall": "open_native().execute(count_to(1_500_000, 'n, 5')).fetchall()",
    "fetchmany": "open_native().execute(count_to(1_500_000, 'n, 5')).fetchmany(1500000)",
    "get_history": "store.get_history(-1)",
}


@pytest.mark.parametrize("work", WORK)
def test_a_long_fetch_ends_early(tmp_path: Path, work: str) -> None:
    filling = """
with store._get_conn() as connection:
    connection.execute(
        "INSERT INTO detections (timestamp, plates, confidences, bboxes) "
        + count_to(60_000, "'2024-05-01', '[\\"AB123\\"]', '[0.5, 0.25]', '[[1, 2], [3, 4]]'")
    )
"""
    output = child_process.output(
        PRELUDE
        + (filling if work == "get_history" else "")
        + f"print(interrupted_early(lambda: {WORK[work]}))\n",
        str(tmp_path / "x.db"),
    )
    assert output == "True\n"


def test_the_store_is_usable_after_an_interruption(tmp_path: Path) -> None:
    output = child_process.output(
        PRELUDE
        + """
connection = open_native(path)
connection.execute("CREATE TABLE t (x)")
connection.execute("INSERT INTO t VALUES (1)")
hits = 0
for delay in (0.001, 0.01, 0.03, 0.1, 0.3):
    timer = threading.Timer(delay, os.kill, (os.getpid(), signal.SIGINT))
    try:
        timer.start()
        while True:
            connection.execute(count_to(400_000, "n, 5")).fetchall()
    except KeyboardInterrupt:
        hits += 1
    timer.join()
rows = [tuple(row) for row in connection.execute("SELECT x FROM t")]
print(hits, connection.in_transaction, rows)
connection.commit()
store.add_detection(["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
print(len(store.get_history()))
""",
        str(tmp_path / "x.db"),
    )
    assert output == "5 True [(1,)]\n1\n"


def test_a_handler_of_a_signal_may_call_the_store(tmp_path: Path) -> None:
    output = child_process.output(
        PRELUDE
        + """
calls = []
def handler(number, frame):
    calls.append(store.add_detection(["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3))
signal.signal(signal.SIGINT, handler)
for delay in (0.01, 0.05, 0.1):
    timer = threading.Timer(delay, os.kill, (os.getpid(), signal.SIGINT))
    wanted = len(calls) + 1
    timer.start()
    while len(calls) < wanted:
        store.get_history(-1)
        open_native().execute(count_to(100_000, "n, 5")).fetchall()
    timer.join()
print(calls, len(store.get_history()))
""",
        str(tmp_path / "x.db"),
    )
    assert output == "[1, 2, 3] 3\n"
