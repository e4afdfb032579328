"""Several threads and stores at one file: every alert is counted once, every entry kept."""

from __future__ import annotations

import threading
from concurrent.futures import ThreadPoolExecutor

import pytest

from support.fakes import connecting_class
from support.values import exactly

THREADS = 3
EACH = 15


@pytest.fixture
def patient(store_module):
    """Stores that wait as long as it takes, and for no disk: what is tested is who sees what."""

    def wait(connection):
        connection.execute("PRAGMA busy_timeout = 100000")
        connection.execute("PRAGMA synchronous = OFF")
        return connection

    return connecting_class(store_module.ANPRDatabase, wait)


@pytest.fixture
def store(patient, db_path):
    return patient(db_path)


def run_together(*actions):
    start = threading.Barrier(len(actions))

    def run(action):
        start.wait()
        action()

    with ThreadPoolExecutor(len(actions)) as threads:
        list(threads.map(run, actions))


def test_an_alert_added_meanwhile_is_marked_and_counted_or_left_unread(store, patient, db_path):
    marked = []
    left = threading.Semaphore(0)

    def add():
        mine = patient(db_path)
        for _ in range(EACH):
            mine.add_alert("AB", "l", 1, 0.5)
        left.release()

    def mark():
        ended = 0
        while ended < THREADS:
            ended += left.acquire(blocking=False)
            marked.append(store.mark_alerts_read())

    run_together(*[add] * THREADS, mark)
    assert sum(marked) + store.get_alert_count() == THREADS * EACH
    assert sum(alert["is_read"] for alert in store.get_alerts(-1)) == sum(marked)


def test_entries_of_all_threads_are_kept_matched_and_go_once_whoever_removes_them(store):
    ids, removed = [], []

    def watch(name):
        for number in range(EACH):
            entry_id = store.add_watchlist(f"{name}-{number}", name)
            found = store.check_watchlist([f"{name}{number}"])
            (match,) = (match for match in found if match["watchlist_id"] == entry_id)
            assert match["label"] == name
            ids.append(entry_id)

    def remove():
        removed.extend(entry_id for entry_id in ids if store.remove_watchlist(entry_id))

    run_together(*(lambda name=name: watch(name) for name in "ÄBZ"))
    assert sorted(ids) == list(range(1, THREADS * EACH + 1))
    assert {entry["id"] for entry in store.get_watchlist()} == set(ids)
    run_together(remove, remove, remove)
    assert sorted(removed) == sorted(ids)
    assert exactly(store.get_watchlist()) == exactly([])


def test_reading_beside_a_writer_gives_whole_states(store):
    counts = []

    def write():
        for number in range(EACH):
            store.add_alert("AB", "l", number, 0.5)

    def read():
        for _ in range(EACH):
            alerts = store.get_alerts(-1)
            counts.append(len(alerts))
            assert sorted(a["detection_id"] for a in alerts) == list(range(len(alerts)))

    run_together(write, read)
    assert counts == sorted(counts)
