"""The recipe for a copy of a file in use: VACUUM INTO, with patience for the file's lock."""

from __future__ import annotations

import shutil
import sqlite3
import subprocess
import threading
from contextlib import closing

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase


@pytest.fixture
def written_file(tmp_path):
    """A store's file that a thread goes on writing to, and the ids that it has acknowledged."""
    path = tmp_path / "anpr.db"
    store = ANPRDatabase(path)
    acknowledged, ended = [], threading.Event()

    def write():
        while not ended.wait(0.02):
            acknowledged.append(store.add_detection(["AB1"], [0.9], [], 0.1, 0.1, 0.1))

    writer = threading.Thread(target=write)
    writer.start()
    yield path, acknowledged
    ended.set()
    writer.join()


def with_sqlite3_of_python(path, copy):
    with closing(sqlite3.connect(path, timeout=5, isolation_level=None)) as connection:
        connection.execute("VACUUM INTO ?", (str(copy),))


def with_the_shell(path, copy):
    if not shutil.which("sqlite3"):
        pytest.skip("the sqlite3 shell is not installed")
    command = ["sqlite3", str(path), "-cmd", ".timeout 5000", f"VACUUM INTO '{copy}'"]
    subprocess.run(command, check=True, capture_output=True)


@pytest.mark.parametrize("make_copy", [with_sqlite3_of_python, with_the_shell])
def test_a_copy_of_a_file_in_use_is_whole(written_file, tmp_path, make_copy):
    path, acknowledged = written_file
    for number in range(3):
        before = list(acknowledged)
        copy = tmp_path / f"copy{number}.db"
        make_copy(path, copy)
        with closing(sqlite3.connect(copy)) as connection:
            ids = [row[0] for row in connection.execute("SELECT id FROM detections ORDER BY id")]
            assert connection.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        assert ids[: len(before)] == before
        assert ANPRDatabase(copy).get_statistics()["total_detections"] == len(ids)
