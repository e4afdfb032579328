"""Threads, stores and processes write one file at once: no row is lost, none is written twice."""

from __future__ import annotations

import sqlite3
import threading
from collections.abc import Callable
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from support import child_process
from support.engine_library import open_descriptors

TIMES = (0.1, 0.2, 0.3)


def until_done(call: Callable[[], Any]) -> Any:
    """A crowd may keep somebody waiting for over five seconds on a slow machine: then try again."""
    while True:
        try:
            return call()
        except sqlite3.OperationalError as error:
            if str(error) != "database is locked":
                raise


def run_threads(works: list[Callable[[], None]]) -> None:
    errors: list[BaseException] = []

    def guarded(work: Callable[[], None]) -> None:
        try:
            work()
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=guarded, args=(work,)) for work in works]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert errors == []


def stored(path: Path) -> list[tuple]:
    with closing(sqlite3.connect(path)) as connection:
        assert connection.execute("PRAGMA integrity_check").fetchone() == ("ok",)
        return connection.execute("SELECT id, plates FROM detections ORDER BY id").fetchall()


@pytest.mark.parametrize("shared", [True, False], ids=["one store", "a store each"])
def test_threads_lose_no_rows(tmp_path: Path, shared: bool) -> None:
    path = tmp_path / "anpr.db"
    common = ANPRDatabase(path)
    returned: list[tuple[int, str]] = []

    def writer(number: int) -> Callable[[], None]:
        def work() -> None:
            store: Any = common if shared else ANPRDatabase(path)
            for turn in range(15):
                plate = f"{number}-{turn}"
                new = until_done(lambda: store.add_detection([plate], [0.5], [[1]], *TIMES))  # noqa: B023
                returned.append((new, f'["{plate}"]'))
                store.update_mmc_data(new, {"by": number})
                assert store.get_detection(new)["plates"] == [plate]

        return work

    def reader() -> None:
        for _ in range(60):
            ids = [record["id"] for record in common.get_history(-1)]
            assert len(ids) == len(set(ids))

    run_threads([*(writer(number) for number in range(4)), reader, reader])
    assert stored(path) == sorted(returned)
    assert len(returned) == 60
    assert open_descriptors(path) == []
    assert all(record["mmc_data"] for record in common.get_history(-1))


def test_threads_may_construct_stores_on_a_new_file_at_once(tmp_path: Path) -> None:
    path = tmp_path / "new" / "folder" / "anpr.db"
    stores: list[ANPRDatabase] = []
    run_threads([lambda: stores.append(until_done(lambda: ANPRDatabase(path)))] * 8)
    assert len(stores) == 8
    # A guarded step that met a lock is made up for by the next construction.
    store: Any = ANPRDatabase(path)
    assert list(store.get_detection(store.add_detection(["x"], [1.0], [[1]], *TIMES))) == COLUMNS


# fmt: off
COLUMNS = [
    "id", "timestamp", "num_plates", "plates", "confidences", "bboxes", "processing_time",
    "detector_time", "ocr_time", "image_path", "thumbnail_path", "success", "mmc_data",
    "detection_confidences",
]
# fmt: on

WRITER = """
    import sqlite3, sys
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
    store = ANPRDatabase(sys.argv[1])
    print("ready", flush=True)
    sys.stdin.readline()
    done = 0
    while done < 20:
        try:
            print(store.add_detection([f"{sys.argv[2]}-{done}"], [0.5], [[1]], 0.1, 0.2, 0.3))
            done += 1
        except sqlite3.OperationalError as error:
            assert str(error) == "database is locked"
"""


def test_processes_lose_no_rows(tmp_path: Path) -> None:
    path = tmp_path / "anpr.db"
    ANPRDatabase(path)
    children = [child_process.start(WRITER, str(path), str(number)) for number in range(3)]
    for child in children:
        assert child.stdout is not None
        assert child.stdout.readline() == "ready\n"
    ids: list[int] = []
    outputs = []
    for child in children:
        assert child.stdin is not None
        child.stdin.write("go\n")
        child.stdin.flush()
    store = ANPRDatabase(path)
    own = [
        until_done(lambda: store.add_detection(["own"], [0.5], [[1]], *TIMES)) for _ in range(10)
    ]
    for child in children:
        output, errors = child.communicate(timeout=child_process.HANG_SECONDS)
        child_process.assert_ended_well(child.returncode, errors)
        outputs.append(output)
        ids.extend(map(int, output.split()))
    rows = stored(path)
    assert sorted(ids + own) == [row[0] for row in rows]
    assert len(rows) == 70
    for number in range(3):
        plates = [row[1] for row in rows if row[1].startswith(f'["{number}-')]
        assert plates == [f'["{number}-{turn}"]' for turn in range(20)]


def test_a_process_killed_in_the_middle_of_writing_leaves_whole_rows(tmp_path: Path) -> None:
    path = tmp_path / "anpr.db"
    ANPRDatabase(path)
    endless = WRITER.replace("while done < 20", "while True")
    for _ in range(3):
        child = child_process.start(endless, str(path), "killed")
        assert child.stdout is not None
        assert child.stdin is not None
        assert child.stdout.readline() == "ready\n"
        child.stdin.write("go\n")
        child.stdin.flush()
        for _ in range(5):
            child.stdout.readline()
        child.kill()
        child.communicate()
        told = stored(path)
        store = ANPRDatabase(path)
        assert store.add_detection(["after"], [0.5], [[1]], *TIMES) > len(told)
        assert len(store.get_history(-1)) == len(told) + 1
    assert len(stored(path)) >= 18
