"""Two copies of the store's code in one process work beside each other and do not meet."""

from __future__ import annotations

import pytest

from support.program import told

pytestmark = pytest.mark.slow

LOAD = """
import importlib.machinery, importlib.util, os, shutil
from zentrope_anpr import zentrope_anpr_server_db as first

name = "zentrope_anpr.zentrope_anpr_server_db"
target = os.path.join(os.path.dirname(path), "copy.so")
shutil.copy(first.__file__, target)
loader = importlib.machinery.ExtensionFileLoader(name, target)
spec = importlib.util.spec_from_file_location(name, target, loader=loader)
second = importlib.util.module_from_spec(spec)
loader.exec_module(second)
stores = [first.ANPRDatabase(path), second.ANPRDatabase(path)]
"""


PROGRAM = """
assert first.ANPRDatabase is not second.ANPRDatabase
for _ in range(10):
    for store in stores:
        store.add_detection(*GIVEN)
print([len(store.get_history()) for store in stores])
names = vfs_names()
print(len(names) == len(set(names)))
print(open_descriptors(path))

# Their connections lock each other out.
ours, theirs = [store._get_conn() for store in stores]
assert type(ours) is not type(theirs)
theirs.execute("PRAGMA busy_timeout = 0")
ours.execute("DELETE FROM detections")
try:
    theirs.execute("DELETE FROM detections")
except sqlite3.OperationalError as error:
    print(error)
ours.commit()
print(theirs.execute("DELETE FROM detections").rowcount)
theirs.commit()

# Each releases the GIL while it waits for the other.
for holder, waiter in (stores, stores[::-1]):
    holding, waiting = threading.Event(), threading.Event()
    def hold():
        connection = holder._get_conn()
        connection.execute("BEGIN IMMEDIATE")
        holding.set()
        waiting.wait()
        connection.commit()
        connection.close()
    thread = threading.Thread(target=hold)
    thread.start()
    holding.wait()
    waiting.set()
    print(waiter.add_detection(*GIVEN))
    thread.join()
"""


def test_two_copies_share_a_file(db_path):
    expected = "[20, 20]\nTrue\n[]\ndatabase is locked\n0\n21\n22\n"
    assert told(LOAD + PROGRAM, db_path) == expected
