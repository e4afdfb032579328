"""A short matching keeps the GIL; a long one offers it again and again, and looks for signals."""

from __future__ import annotations

import signal
import time

import pytest

from support import child, database
from support.child import NATIVE, TWIN
from support.program import source_of, told

pytestmark = pytest.mark.slow
both = pytest.mark.parametrize("module", [NATIVE, TWIN], ids=["native", "twin"])

# With a switch interval of minutes nobody takes the GIL from a thread: the counting thread moves
# only when it is let go on purpose. It gives the GIL back itself, after each step.
SHORT = """
store = ANPRDatabase(path)
with store._get_conn() as connection:
    for n in range(150):
        connection.execute("INSERT INTO watchlist (plate, created_at) VALUES (?, 't')", (f"AB{n}",))
        connection.execute(
            "INSERT INTO alerts (timestamp, plate, detection_id) VALUES ('t', 'AB', ?)", (n,)
        )
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


def test_short_reads_and_a_short_matching_are_not_interrupted(db_path):
    assert told(SHORT, db_path) == "0\n"


# `length`: of each entry, so that each is some work.
LONG = """
import importlib, itertools
store = importlib.import_module(arguments[0]).ANPRDatabase(path)

def fill(count, length):
    with store._get_conn() as connection:
        connection.execute("DELETE FROM watchlist")
        connection.execute(
            "INSERT INTO watchlist (plate, created_at) "
            "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < ?) "
            "SELECT printf('AB-%06d ', n) || ?, 't' FROM c",
            (count, "é" * length),
        )

class Plate(str):
    def __new__(cls, when_asked):
        made = super().__new__(cls)
        made.when_asked = when_asked
        return made
    def upper(self):
        self.when_asked()
        return "no match"

marks = []
"""

# The first and the last plate tell how far the other thread and this thread's own time have come,
# so that reading the table does not count. The work grows until it takes many switch intervals.
TURNS = """
INTERVAL = 0.001
sys.setswitchinterval(INTERVAL)

def turns_of_matching(plates):
    marks.clear()
    mark = Plate(lambda: marks.append((counter.count, time.thread_time())))
    assert store.check_watchlist([mark, *plates, mark]) == []
    (first, begin), (last, end) = marks
    return last - first, end - begin

count, plates = {count}, ["XX 123"] * {plates}
fill(count, 200)
with counting(yielding={yielding}) as counter:
    while True:
        turns, seconds = turns_of_matching(plates)
        if seconds > 50 * INTERVAL:
            break
        if {plates} > 1:
            plates.extend(plates)
        else:
            count *= 2
            fill(count, 200)
    # What a thread that never yields does in one turn, which lasts as long as nobody wants it to
    # end. One that yields moves by one: about fifty turns and more were due.
    once = 3 if {yielding} else counter.progress_of(lambda: time.sleep(20 * INTERVAL)) / 20
    print(turns > 3 * once or (turns, once))
"""


@both
@pytest.mark.parametrize(
    ("count", "plates", "yielding"),
    [(2000, 10, True), (10_000, 1, True), (2000, 10, False)],
    ids=["many plates", "many entries", "a spinning thread"],
)
def test_another_thread_goes_on_beside_a_long_matching(db_path, module, count, plates, yielding):
    program = LONG + TURNS.format(count=count, plates=plates, yielding=yielding)
    assert told(program, db_path, module) == "True\n"


# Matching that would never end: the same plate again and again, no Python code in between.
ENDLESS = """
for number in range(int(arguments[1])):
    store.add_watchlist(f"AB{number}")
first = Plate(lambda: print("matching", flush=True))
try:
    store.check_watchlist(itertools.chain([first], itertools.repeat("XX 123")))
except KeyboardInterrupt:
    store.add_watchlist("CD")
    print("interrupted", len(store.check_watchlist(["ab0", "cd"])), flush=True)
"""


@both
@pytest.mark.parametrize("entries", [0, 1, 50, 3000])
def test_a_signal_ends_a_matching_without_end(db_path, module, entries):
    with child.start(source_of(LONG, ENDLESS), str(db_path), module, str(entries)) as process:
        try:
            assert process.stdout.readline() == "matching\n"
            time.sleep(0.2)  # by now it is past the plate that told so
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=child.HANG_SECONDS)
        finally:
            process.kill()
    child.assert_ended_well(process.returncode, errors)
    assert output == f"interrupted {1 + (entries > 0)}\n"


# One plate, many entries. The timer goes by the time of this process alone, so neither the
# machine's speed nor its other work counts. The plates at both ends show that it was the matching.
MANY_ENTRIES = """
signal.signal(signal.SIGVTALRM, signal.default_int_handler)
sys.setswitchinterval(0.0005)

def begin():
    marks.append(time.process_time())
    if alarm_after:
        signal.setitimer(signal.ITIMER_VIRTUAL, alarm_after)

def end():
    signal.setitimer(signal.ITIMER_VIRTUAL, 0)
    marks.append(time.process_time())

count, alarm_after = 10_000, 0
while True:
    fill(count, 2000)
    marks.clear()
    store.check_watchlist([Plate(begin), Plate(end)])
    whole = marks[1] - marks[0]
    # The kernel counts a process's time in ticks of up to 10 ms.
    if whole > 0.1:
        break
    count *= 2

alarm_after = 0.02
marks.clear()
try:
    store.check_watchlist([Plate(begin), Plate(end)])
    print("went on to its end")
except KeyboardInterrupt:
    print(len(marks), time.process_time() - marks[0] < whole * 0.8)
alarm_after = 0
print(len(store.check_watchlist(["AB-000007é"])))
"""


@both
def test_a_signal_ends_the_comparison_of_one_plate_with_many_entries(db_path, module):
    assert told(LONG + MANY_ENTRIES, db_path, module) == "1 True\n1\n"


HANDLER = """
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


@both
def test_a_handler_may_call_the_store_and_the_matching_goes_on(db_path, module):
    assert told(LONG + HANDLER, db_path, module) == "enough [2, 2, 2]\n"


SIZE, TIMES_LONGER = 10_000, 8
# (detected, watched): neither holds the other, but nearly everywhere.
KINDS = {
    "end differs": lambda size: ("a" * size, "a" * (size // 2) + "b"),
    "end differs, entry longer": lambda size: ("a" * (size // 2) + "b", "a" * size),
    "middle differs": lambda size: ("ab" * (size // 2), "ab" * (size // 8) + "b" * (size // 4)),
    "wide": lambda size: ("\U00010400" * size, "\U00010400" * (size // 2) + "b"),
}


@pytest.mark.parametrize("kind", KINDS)
def test_work_grows_with_the_length_and_not_with_its_square(store, watch, db_path, kind):
    def best_time(size):
        detected, watched = KINDS[kind](size)
        database.run_script(db_path, "DELETE FROM watchlist")
        watch(watched)
        times = []
        for _ in range(3):
            begin = time.thread_time()
            assert store.check_watchlist([detected]) == []
            times.append(time.thread_time() - begin)
        return min(times)

    # What a call costs whatever its texts only makes the two more alike.
    assert best_time(TIMES_LONGER * SIZE) < 2.5 * TIMES_LONGER * best_time(SIZE)
