"""Short calls keep the interpreter; a long matching offers it again and again."""

from __future__ import annotations

import textwrap
from pathlib import Path

import pytest

from support import child_process
from support.child import NATIVE, TWIN

# With a switch interval of minutes nobody takes the interpreter from a thread: the counting thread
# moves only when it is let go on purpose. It gives the interpreter back itself, after each step.
SHORT = """
import sys
from support.busy_thread import counting
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

store = ANPRDatabase(sys.argv[1])
ENTRY = "INSERT INTO watchlist (plate, created_at) VALUES (?, 't')"
ALERT = "INSERT INTO alerts (timestamp, plate, detection_id) VALUES ('t', 'AB', ?)"
with store._get_conn() as connection:
    for number in range(150):
        connection.execute(ENTRY, (f"AB{number}",))
        connection.execute(ALERT, (number,))
del connection

def read():
    for _ in range(30):
        store.get_watchlist()
        store.check_watchlist(["ab 1", "XAB7", "zz", "-"])
        store.get_alerts()
        store.get_alert_count()
        store.get_alerts_for_detections([1, 2, 3])

sys.setswitchinterval(600)
with counting(yielding=True) as counter:
    print(counter.progress_of(read))
"""


def test_short_reads_and_a_short_matching_are_not_interrupted(tmp_path: Path) -> None:
    assert child_process.output(SHORT, str(tmp_path / "x.db")) == "0\n"


# The first and the last plate tell how far the other thread and this thread's own time have come,
# so that reading the table does not count. The work grows until it takes many switch intervals.
LONG = """
import importlib, sys, time
from support.busy_thread import counting

store = importlib.import_module(sys.argv[1]).ANPRDatabase(sys.argv[2])
INTERVAL = 0.001

def fill(count):
    with store._get_conn() as connection:
        connection.execute("DELETE FROM watchlist")
        connection.execute(
            "INSERT INTO watchlist (plate, created_at) "
            "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < ?) "
            "SELECT printf('AB-%06d ', n) || ?, 't' FROM c",
            (count, "é" * 200),
        )

class Marking(str):
    def upper(self):
        marks.append((counter.count, time.thread_time()))
        return "no match"

def turns_of_matching(plates):
    marks.clear()
    assert store.check_watchlist([Marking(), *plates, Marking()]) == []
    (first, begin), (last, end) = marks
    return last - first, end - begin

marks = []
sys.setswitchinterval(INTERVAL)
"""
MANY_PLATES = """
fill(2000)
plates = ["XX 123"] * 10
def grow():
    plates.extend(plates)
"""
MANY_ENTRIES = """
count = 10_000
plates = ["XX 123"]
fill(count)
def grow():
    global count
    count *= 2
    fill(count)
"""
MEASURE = """
with counting(yielding=True) as counter:
    while True:
        turns, seconds = turns_of_matching(plates)
        if seconds > 50 * INTERVAL:
            break
        grow()
    # About fifty turns and more were due. One before and one after prove nothing.
    print(turns >= 10)
"""


@pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])
@pytest.mark.parametrize("work", [MANY_PLATES, MANY_ENTRIES], ids=["many plates", "many entries"])
def test_another_thread_goes_on_beside_a_long_matching(
    tmp_path: Path, module: str, work: str
) -> None:
    source = textwrap.dedent(LONG + work + MEASURE)
    assert child_process.output(source, module, str(tmp_path / "x.db")) == "True\n"


BUSY = """
with counting() as counter:
    while True:
        turns, seconds = turns_of_matching(plates)
        if seconds > 50 * INTERVAL:
            break
        grow()
    # What it does in one turn: a turn lasts one interval, in which nobody else wants to go on.
    once = counter.progress_of(lambda: time.sleep(20 * INTERVAL)) / 20
    print(turns > 3 * once or (turns, once))
"""


@pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])
def test_a_spinning_thread_gets_many_turns_beside_a_long_matching(
    tmp_path: Path, module: str
) -> None:
    source = textwrap.dedent(LONG + MANY_PLATES + BUSY)
    assert child_process.output(source, module, str(tmp_path / "x.db")) == "True\n"
