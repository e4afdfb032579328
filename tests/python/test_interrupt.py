"""Ctrl-C reaches a caller in the middle of long work, and leaves everything usable."""

from __future__ import annotations

import pytest

from support.program import told

pytestmark = pytest.mark.slow

# How long the same work takes when nobody interrupts it is measured first, in the time of this
# thread alone, so that neither the machine's speed nor its other work counts.
PRELUDE = """
store = ANPRDatabase(path)

def interrupt_after(delay):
    timer = threading.Timer(delay, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    return timer

def interrupted_early(work):
    begin = time.thread_time()
    start = time.monotonic()
    work()
    whole = time.thread_time() - begin
    wall = time.monotonic() - start
    for _ in range(5):
        begin = time.thread_time()
        try:
            timer = interrupt_after(wall / 10)
            work()
            timer.join()
            time.sleep(1)  # it came too late, but it comes
        except KeyboardInterrupt:
            if time.thread_time() - begin < whole * 0.7:
                return True
    return False
"""
FILLING = """
with store._get_conn() as connection:
    connection.execute(
        "INSERT INTO detections (timestamp, plates, confidences, bboxes) "
        + count_to(60_000, "'2024-05-01', '[\\"AB123\\"]', '[0.5, 0.25]', '[[1, 2], [3, 4]]'")
    )
"""
WORK = {
    "fetchall": ("", "open_native().execute(count_to(1_500_000, 'n, 5')).fetchall()"),
    "fetchmany": ("", "open_native().execute(count_to(1_500_000, 'n, 5')).fetchmany(1500000)"),
    "get_history": (FILLING, "store.get_history(-1)"),
}


@pytest.mark.parametrize("work", WORK)
def test_a_long_fetch_ends_early(db_path, work):
    filling, call = WORK[work]
    source = f"{PRELUDE}{filling}print(interrupted_early(lambda: {call}))"
    assert told(source, db_path) == "True\n"


def test_the_store_is_usable_after_an_interruption(db_path):
    output = told(
        PRELUDE
        + """
connection = open_native(path)
connection.execute("CREATE TABLE t (x)")
connection.execute("INSERT INTO t VALUES (1)")
hits = 0
for delay in (0.001, 0.01, 0.03, 0.1, 0.3):
    try:
        timer = interrupt_after(delay)
        while True:
            connection.execute(count_to(400_000, "n, 5")).fetchall()
    except KeyboardInterrupt:
        hits += 1
    timer.join()
rows = [tuple(row) for row in connection.execute("SELECT x FROM t")]
print(hits, connection.in_transaction, rows)
connection.commit()
store.add_detection(*GIVEN)
print(len(store.get_history()))
""",
        db_path,
    )
    assert output == "5 True [(1,)]\n1\n"


def test_a_handler_of_a_signal_may_call_the_store(db_path):
    output = told(
        PRELUDE
        + """
calls = []
signal.signal(signal.SIGINT, lambda number, frame: calls.append(store.add_detection(*GIVEN)))
for delay in (0.01, 0.05, 0.1):
    wanted = len(calls) + 1
    timer = interrupt_after(delay)
    while len(calls) < wanted:
        store.get_history(-1)
        open_native().execute(count_to(100_000, "n, 5")).fetchall()
    timer.join()
print(calls, len(store.get_history()))
""",
        db_path,
    )
    assert output == "[1, 2, 3] 3\n"
