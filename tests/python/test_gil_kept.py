"""A short call keeps the GIL: other threads get it before or after, never in the middle."""

from __future__ import annotations

import pytest

from support.program import told

pytestmark = pytest.mark.slow

# With a switch interval of minutes nobody takes the GIL from a thread: the counting thread moves
# only when it is let go on purpose. It gives the GIL back itself, after each step.
PRELUDE = """
sys.setswitchinterval(600)
store = ANPRDatabase(path)
for _ in range(150):
    store.add_detection(*GIVEN)
connection = store._get_conn()

def refused(connection):
    try:
        connection.execute("nonsense")
    except sqlite3.Error:
        pass

def update(connection):
    connection.execute("UPDATE detections SET image_path = 'x' || id")
    connection.commit()

def moved_by(work, times=1):
    with counting(yielding=True) as counter:
        return counter.progress_of(lambda: [work() for _ in range(times)] and None)
"""

# What is done before, what is done, and how often.
KEPT = {
    "get_detection": ("", "store.get_detection(7)", 30),
    "get_detection of nothing": ("", "store.get_detection(7000)", 30),
    "get_history": ("", "store.get_history()", 30),
    "get_history of a page": ("", "store.get_history(10, 20)", 30),
    "execute": ("", "connection.execute('SELECT * FROM detections').fetchall()", 30),
    "a failing statement": ("", "refused(connection)", 30),
    "_get_conn": ("", "store._get_conn()", 30),
    "the conversion of rows": (
        """row = {"plates": '["AB123"]', "confidences": "[0.5, NaN]"}""",
        "ANPRDatabase._row_to_dict(row)",
        200,
    ),
    "a long statement, while the switch interval lasts": (
        "",
        "connection.execute(count_to(200_000)).fetchall()",
        1,
    ),
    "a write that syncs nothing": (
        "connection.execute('PRAGMA synchronous = OFF')",
        "update(connection)",
        30,
    ),
}


@pytest.mark.parametrize("name", KEPT)
def test_the_gil_is_kept(db_path, name):
    before, work, times = KEPT[name]
    assert told(f"{PRELUDE}{before}\nprint(moved_by(lambda: {work}, {times}))", db_path) == "0\n"


# The first shows that the counting thread does move when it may.
RELEASED = {
    "Python's own connection": (
        "import support.twin\ntwin = support.twin.ANPRDatabase(path)",
        "moved_by(twin.get_history, 30) > 30",
    ),
    "a write that syncs": (
        "faults.install_file_layer()\nfaults.slow_down('sync', 5)",
        "moved_by(lambda: store.add_detection(*GIVEN)) > 0",
    ),
}


@pytest.mark.parametrize("name", RELEASED)
def test_the_gil_is_released_and_taken_again(db_path, name):
    before, moved = RELEASED[name]
    assert told(f"{PRELUDE}{before}\nprint({moved})", db_path) == "True\n"
