"""Ctrl-C ends a long matching, and leaves everything usable."""

from __future__ import annotations

import signal
import time
from pathlib import Path

import pytest

from support import child_process
from support.child import NATIVE, TWIN

# Matching that would never end: the same plate again and again, no Python code in between.
ENDLESS = """
import importlib, itertools, sys
store = importlib.import_module(sys.argv[1]).ANPRDatabase(sys.argv[2])
for number in range(int(sys.argv[3])):
    store.add_watchlist(f"AB{number}")

class First(str):
    def upper(self):
        print("matching", flush=True)
        return "none of them"

try:
    store.check_watchlist(itertools.chain([First()], itertools.repeat("XX 123")))
except KeyboardInterrupt:
    store.add_watchlist("CD")
    print("interrupted", len(store.check_watchlist(["ab0", "cd"])), flush=True)
"""


@pytest.mark.parametrize("entries", [0, 1, 50, 3000])
@pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])
def test_a_signal_ends_a_matching_without_end(tmp_path: Path, module: str, entries: int) -> None:
    with child_process.start(ENDLESS, module, str(tmp_path / "x.db"), str(entries)) as child:
        try:
            assert child.stdout is not None
            assert child.stdout.readline() == "matching\n"
            time.sleep(0.2)  # by now it is past the plate that told so
            child.send_signal(signal.SIGINT)
            output, errors = child.communicate(timeout=child_process.HANG_SECONDS)
        finally:
            child.kill()
    child_process.assert_ended_well(child.returncode, errors)
    assert output == f"interrupted {1 + (entries > 0)}\n"


# One plate, many entries, each of them long enough to be some work. The timer goes by the time of
# this process alone, so neither the machine's speed nor its other work counts. The plates at both
# ends show that it was the matching.
MANY_ENTRIES = """
import importlib, signal, sys, time
store = importlib.import_module(sys.argv[1]).ANPRDatabase(sys.argv[2])
signal.signal(signal.SIGVTALRM, signal.default_int_handler)
sys.setswitchinterval(0.0005)

def fill(count):
    with store._get_conn() as connection:
        connection.execute("DELETE FROM watchlist")
        connection.execute(
            "INSERT INTO watchlist (plate, created_at) "
            "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < ?) "
            "SELECT printf('AB-%06d ', n) || ?, 't' FROM c",
            (count, "é" * 2000),
        )

class Marking(str):
    def upper(self):
        marks.append(time.process_time())
        if alarm_after:
            signal.setitimer(signal.ITIMER_VIRTUAL, alarm_after)
        return "no match"

class Ending(str):
    def upper(self):
        signal.setitimer(signal.ITIMER_VIRTUAL, 0)
        marks.append(time.process_time())
        return "no match"

count, alarm_after, marks = 10_000, 0, []
while True:
    fill(count)
    marks.clear()
    store.check_watchlist([Marking(), Ending()])
    whole = marks[1] - marks[0]
    # The kernel counts a process's time in ticks of up to 10 ms.
    if whole > 0.1:
        break
    count *= 2

alarm_after = 0.02
marks.clear()
try:
    store.check_watchlist([Marking(), Ending()])
    print("went on to its end")
except KeyboardInterrupt:
    print(len(marks), time.process_time() - marks[0] < whole * 0.8)
alarm_after = 0
print(len(store.check_watchlist(["AB-000007é"])))
"""


@pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])
def test_a_signal_ends_the_comparison_of_one_plate_with_many_entries(
    tmp_path: Path, module: str
) -> None:
    output = child_process.output(MANY_ENTRIES, module, str(tmp_path / "x.db"))
    assert output == "1 True\n1\n"


HANDLER = """
import importlib, itertools, os, signal, sys, threading
store = importlib.import_module(sys.argv[1]).ANPRDatabase(sys.argv[2])
for number in range(50):
    store.add_watchlist(f"AB{number}")
seen = []

def handler(number, frame):
    seen.append(len(store.check_watchlist(["ab49"])))
    if len(seen) == 3:
        raise LookupError("enough")
    threading.Timer(0.01, os.kill, (os.getpid(), signal.SIGINT)).start()

signal.signal(signal.SIGINT, handler)
threading.Timer(0.01, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    store.check_watchlist(itertools.repeat("XX 123"))
except LookupError as error:
    print(error, seen)
"""


@pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])
def test_a_handler_may_call_the_store_and_the_matching_goes_on(tmp_path: Path, module: str) -> None:
    output = child_process.output(HANDLER, module, str(tmp_path / "x.db"))
    assert output == "enough [2, 2, 2]\n"
