"""Sharing a file: who waits for whom, and what happens when the wait ends."""

from __future__ import annotations

import sqlite3
import subprocess
import sys
import threading
import time

import pytest

from support import database
from support.child import run_child
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of, type_and_text

LOCKED = (sqlite3.OperationalError, "database is locked")


def impatient(store_class, db_path, milliseconds=20, construct=True):
    """A store whose connections give up soon, so that the tests need not wait long."""

    class Impatient(store_class):
        def _get_conn(self):
            connection = super()._get_conn()
            connection.execute(f"PRAGMA busy_timeout = {milliseconds}")
            return connection

    return Impatient(db_path) if construct else Impatient


def take_turns():
    """Gives the interpreter up and needs it back, many times over."""
    for _ in range(50):
        time.sleep(0.001)


WRITES = {
    "add_detection": add,
    "update_image_paths": lambda store: store.update_image_paths(1, "a", "b"),
    "update_mmc_data": lambda store: store.update_mmc_data(1, {}),
}
READS = {
    "get_history": lambda store: store.get_history(),
    "get_detection": lambda store: store.get_detection(1),
}


@pytest.mark.parametrize("kind", ["IMMEDIATE", "EXCLUSIVE"])
@pytest.mark.parametrize("write", WRITES.values(), ids=WRITES)
def test_a_write_fails_while_another_writes(store_module, db_path, kind, write):
    store = impatient(store_module.ANPRDatabase, db_path)
    add(store)
    before = database.contents(db_path)
    with database.lock_held(db_path, kind):
        error = error_of(write, store)
    assert type_and_text(error) == LOCKED
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (5, "SQLITE_BUSY")
    assert database.contents(db_path) == before
    write(store)


@pytest.mark.parametrize("write", WRITES.values(), ids=WRITES)
def test_a_write_fails_at_its_commit_while_another_reads(store_module, db_path, write):
    store = impatient(store_module.ANPRDatabase, db_path)
    add(store)
    before = database.contents(db_path)
    with database.lock_held(db_path, "SHARED"):
        assert type_and_text(error_of(write, store)) == LOCKED
        # Rolled back, not left half-way: yet another connection may write as far as its commit.
        with database.lock_held(db_path, "IMMEDIATE"):
            pass
    assert database.contents(db_path) == before
    write(store)


@pytest.mark.parametrize("read", READS.values(), ids=READS)
def test_a_read_goes_on_beside_a_writer_until_that_commits(store_module, db_path, read):
    store = impatient(store_module.ANPRDatabase, db_path)
    add(store)
    for kind in ("SHARED", "IMMEDIATE"):
        with database.lock_held(db_path, kind):
            assert read(store)
    with database.lock_held(db_path, "EXCLUSIVE"):
        assert type_and_text(error_of(read, store)) == LOCKED
    assert read(store)


def test_a_locked_file_fails_the_first_step_of_a_new_file(store_module, db_path):
    sqlite3.connect(db_path).close()
    impatient_class = impatient(store_module.ANPRDatabase, db_path, construct=False)
    with database.lock_held(db_path, "IMMEDIATE"):
        assert type_and_text(error_of(impatient_class, db_path)) == LOCKED
    assert database.schema(db_path) == {}
    assert add(impatient_class(db_path)) == 1


def test_a_guarded_step_swallows_the_lock_and_a_later_construction_adds_the_column(
    store_module, db_path
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
    impatient_class = impatient(store_module.ANPRDatabase, db_path, construct=False)
    with database.lock_held(db_path, "IMMEDIATE"):
        store = impatient_class(db_path)
        assert store.get_history() == []
    assert database.contents(db_path) == before
    assert type_and_text(error_of(add, store)) == (
        sqlite3.OperationalError,
        "table detections has no column named detection_confidences",
    )
    impatient_class(db_path)
    assert database.columns(db_path, "detections") == DETECTION_COLUMNS
    assert database.columns(db_path, "alerts")[-1] == "is_read"
    assert add(store) == 1


def test_a_missing_index_is_not_made_while_the_file_is_locked(store, store_module, db_path):
    database.run_script(db_path, "DROP INDEX idx_alerts_ts")
    impatient_class = impatient(store_module.ANPRDatabase, db_path, construct=False)
    with database.lock_held(db_path, "IMMEDIATE"):
        assert type_and_text(error_of(impatient_class, db_path)) == LOCKED
    impatient_class(db_path)
    assert "idx_alerts_ts" in database.schema(db_path)


@pytest.mark.parametrize(
    ("kind", "call"),
    [("IMMEDIATE", add), ("SHARED", add), ("EXCLUSIVE", READS["get_history"])],
    ids=["begin", "commit", "read"],
)
def test_a_call_waits_for_the_thread_of_this_process_that_holds_the_lock(store, kind, call):
    """That thread can let the lock go only if it may run while the store waits."""
    held, calling = threading.Event(), threading.Event()
    problems = []

    def holder():
        try:
            with database.lock_held(store.db_path, kind):
                held.set()
                assert calling.wait(60)
                take_turns()
        except BaseException as error:
            problems.append(error)

    thread = threading.Thread(target=holder)
    thread.start()
    assert held.wait(60)
    calling.set()
    result = call(store)
    thread.join()
    assert problems == []
    assert result in (1, [])


HOLDER = """
import sqlite3, sys
connection = sqlite3.connect(sys.argv[1], isolation_level=None)
connection.execute("BEGIN EXCLUSIVE")
print("held", flush=True)
sys.stdin.readline()
connection.execute("COMMIT")
"""


def test_other_threads_run_while_a_call_waits_for_another_process(store, db_path):
    """The other process is told to go on by a thread of this one, so that must run meanwhile."""
    with subprocess.Popen(
        [sys.executable, "-c", HOLDER, str(db_path)],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    ) as holder:
        assert holder.stdout.readline() == "held\n"
        calling = threading.Event()

        def tell():
            calling.wait(60)
            take_turns()
            holder.stdin.write("go\n")
            holder.stdin.flush()

        teller = threading.Thread(target=tell)
        teller.start()
        calling.set()
        assert add(store) == 1
        teller.join()
    assert holder.returncode == 0


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


def test_threads_share_one_store_and_every_write_counts(store, db_path):
    ids, problems = [], []

    def work():
        try:
            for number in range(15):
                detection_id = add(store, plates=[str(number)])
                ids.append(detection_id)
                store.update_mmc_data(detection_id, {"number": number})
                assert store.get_detection(detection_id)["mmc_data"] == {"number": number}
        except BaseException as error:
            problems.append(error)

    threads = [threading.Thread(target=work) for _ in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert problems == []
    assert sorted(ids) == list(range(1, 46))
    assert database.count(db_path) == 45
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]


def test_stores_and_processes_share_one_file(store, store_module, store_module_name, db_path):
    other = store_module.ANPRDatabase(db_path)
    code = """
        import importlib, sys
        store = importlib.import_module(sys.argv[1]).ANPRDatabase(sys.argv[2])
        for number in range(20):
            store.add_detection([f"child {number}"], [], [], 0, 0, 0)
        """
    child = threading.Thread(target=run_child, args=(code, store_module_name, str(db_path)))
    child.start()
    for number in range(20):
        add(store if number % 2 else other, plates=[f"parent {number}"])
    child.join()
    plates = [record["plates"][0] for record in store.get_history(-1)]
    assert sorted(plates) == sorted(f"{who} {n}" for who in ("child", "parent") for n in range(20))
    assert [r["id"] for r in other.get_history(-1)] == [r["id"] for r in store.get_history(-1)]


def test_what_one_store_wrote_another_sees_at_its_next_call(store, store_module, db_path):
    other = store_module.ANPRDatabase(db_path)
    assert other.get_detection(1) is None
    add(store)
    assert other.get_detection(1)["id"] == 1
    other.update_image_paths(1, "image.jpg", "thumbnail.jpg")
    assert store.get_detection(1)["image_path"] == "image.jpg"
