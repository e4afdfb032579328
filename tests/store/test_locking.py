"""Sharing a file: who waits for whom, and what happens when the wait ends."""

from __future__ import annotations

import sqlite3
import threading
import time

import pytest

from support import child, database
from support.fakes import impatient_class
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of, type_and_text

LOCKED = (sqlite3.OperationalError, "database is locked")


@pytest.fixture
def impatient(store_module):
    return impatient_class(store_module.ANPRDatabase)


@pytest.mark.parametrize("missing", ["everything", "an index"])
def test_an_unguarded_step_fails_on_a_locked_file(store_module, impatient, db_path, missing):
    if missing == "everything":
        sqlite3.connect(db_path).close()
    else:
        store_module.ANPRDatabase(db_path)
        database.run_script(db_path, "DROP INDEX idx_alerts_ts")
    before = database.schema(db_path)
    with database.lock_held(db_path, "IMMEDIATE"):
        assert type_and_text(error_of(impatient, db_path)) == LOCKED
    assert database.schema(db_path) == before
    assert add(impatient(db_path)) == 1
    assert "idx_alerts_ts" in database.schema(db_path)


def test_a_guarded_step_swallows_the_lock_and_a_later_construction_adds_the_column(
    store_module, impatient, db_path
):
    store_module.ANPRDatabase(db_path)
    database.run_script(
        db_path,
        """
        ALTER TABLE detections DROP COLUMN mmc_data;
        ALTER TABLE detections DROP COLUMN detection_confidences;
        ALTER TABLE alerts DROP COLUMN is_read;
        """,
    )
    before = database.contents(db_path)
    with database.lock_held(db_path, "IMMEDIATE"):
        store = impatient(db_path)
        assert store.get_history() == []
    assert database.contents(db_path) == before
    assert type_and_text(error_of(add, store)) == (
        sqlite3.OperationalError,
        "table detections has no column named detection_confidences",
    )
    impatient(db_path)
    assert database.columns(db_path, "detections") == DETECTION_COLUMNS
    assert database.columns(db_path, "alerts")[-1] == "is_read"
    assert add(store) == 1


@pytest.fixture
def in_thread():
    """Runs functions on threads of their own, told apart by their results; none may fail."""
    threads, problems = [], []

    def start(function):
        def run():
            try:
                function()
            except BaseException as error:
                problems.append(error)

        threads.append(threading.Thread(target=run))
        threads[-1].start()
        return threads[-1]

    yield start
    for thread in threads:
        thread.join()
    assert problems == []


def take_turns():
    """Gives the interpreter up and needs it back, many times over."""
    for _ in range(50):
        time.sleep(0.001)


WAITING = {
    "begin": ("IMMEDIATE", add, 1),
    "commit": ("SHARED", add, 1),
    "read": ("EXCLUSIVE", lambda store: store.get_history(), []),
}


@pytest.mark.parametrize("where", WAITING)
def test_a_call_waits_for_the_thread_of_this_process_that_holds_the_lock(store, in_thread, where):
    """That thread can let the lock go only if it may run while the store waits."""
    kind, call, expected = WAITING[where]
    held, calling = threading.Event(), threading.Event()

    def holder():
        with database.lock_held(store.db_path, kind):
            held.set()
            assert calling.wait(60)
            take_turns()

    in_thread(holder)
    assert held.wait(60)
    calling.set()
    assert call(store) == expected


HOLDER = """
import sqlite3
connection = sqlite3.connect(sys.argv[1], isolation_level=None)
connection.execute("BEGIN EXCLUSIVE")
print("held", flush=True)
sys.stdin.readline()
connection.execute("COMMIT")
"""


@pytest.mark.slow
def test_other_threads_run_while_a_call_waits_for_another_process(store, db_path, in_thread):
    """The other process is told to go on by a thread of this one, so that must run meanwhile."""
    with child.start(HOLDER, str(db_path)) as holder:
        assert holder.stdout.readline() == "held\n"
        calling = threading.Event()

        def tell():
            calling.wait(60)
            take_turns()
            holder.stdin.write("go\n")
            holder.stdin.flush()

        teller = in_thread(tell)
        calling.set()
        assert add(store) == 1
        teller.join()
    assert holder.returncode == 0


@pytest.mark.slow
def test_the_default_wait_is_five_seconds_and_then_an_error(native, db_path):
    store = native.ANPRDatabase(db_path)
    with database.lock_held(db_path, "IMMEDIATE"):
        start = time.monotonic()
        error = error_of(add, store)
        waited = time.monotonic() - start
    assert type_and_text(error) == LOCKED
    assert waited >= 4.5  # a slow machine only waits longer
    assert database.count(db_path) == 0
    assert add(store) == 1


def test_what_one_store_wrote_another_sees_at_its_next_call(store, store_module, db_path):
    other = store_module.ANPRDatabase(db_path)
    assert other.get_detection(1) is None
    add(store)
    assert other.get_detection(1)["id"] == 1
    other.update_image_paths(1, "image.jpg", "thumbnail.jpg")
    assert store.get_detection(1)["image_path"] == "image.jpg"
