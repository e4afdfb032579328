"""Every journal mode makes, keeps and removes its real files through the store's file layer."""

from __future__ import annotations

import os
import sqlite3
from pathlib import Path
from typing import Any

import pytest

from support.engine_library import open_descriptors
from support.sql_cases import open_native, open_python

MODES = ["DELETE", "TRUNCATE", "PERSIST", "MEMORY", "OFF", "WAL"]


def files(folder: Path) -> dict[str, bool]:
    """Which files there are, and which of them hold anything."""
    return {entry: (folder / entry).stat().st_size > 0 for entry in sorted(os.listdir(folder))}


def work(connection: Any, folder: Path, mode: str) -> list[Any]:
    seen: list[Any] = [tuple(connection.execute(f"PRAGMA journal_mode = {mode}").fetchone())]
    connection.execute("CREATE TABLE t (id INTEGER PRIMARY KEY, v)")
    connection.executemany("INSERT INTO t (v) VALUES (?)", [("x" * 1000,) for _ in range(50)])
    seen.append(("inside", files(folder)))
    connection.commit()
    seen.append(("committed", files(folder)))
    connection.execute("UPDATE t SET v = 'y'")
    if mode != "OFF":
        connection.rollback()
    connection.commit()
    seen.append(("rolled back", files(folder)))
    connection.execute("DELETE FROM t WHERE id > 10")
    connection.commit()
    connection.execute("VACUUM")
    seen.append(tuple(connection.execute("PRAGMA integrity_check").fetchone()))
    seen.append([tuple(row) for row in connection.execute("SELECT id, length(v) FROM t")])
    connection.close()
    seen.append(("closed", files(folder)))
    return seen


@pytest.mark.parametrize("mode", MODES)
def test_the_files_of_a_journal_mode_are_those_of_python(tmp_path: Path, mode: str) -> None:
    seen, contents = [], []
    for open_one in (open_native, open_python):
        folder = tmp_path / open_one.__name__
        folder.mkdir()
        seen.append(work(open_one(folder / "x.db"), folder, mode))
        contents.append((folder / "x.db").read_bytes())
        assert open_descriptors(folder) == []
    assert seen[0] == seen[1]
    # The same statements leave the same bytes: nothing of ours is in the file.
    assert contents[0] == contents[1]


@pytest.mark.parametrize("mode", MODES)
def test_changing_to_any_mode_and_back(tmp_path: Path, mode: str) -> None:
    seen = []
    for open_one in (open_native, open_python):
        folder = tmp_path / open_one.__name__
        folder.mkdir()
        connection = open_one(folder / "x.db")
        connection.execute("CREATE TABLE t (v)")
        steps: list[Any] = []
        for step in (mode, "DELETE", mode, "TRUNCATE", mode, "WAL", mode):
            steps.append(tuple(connection.execute(f"PRAGMA journal_mode = {step}").fetchone()))
            connection.execute("INSERT INTO t VALUES (?)", (step,))
            connection.commit()
            steps.append(files(folder))
        connection.close()
        steps.append(files(folder))
        seen.append(steps)
    assert seen[0] == seen[1]


def test_a_write_ahead_log_is_shared_with_pythons_connection(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    ours = open_native(path)
    assert ours.execute("PRAGMA journal_mode = WAL").fetchone()[0] == "wal"
    ours.execute("CREATE TABLE t (v)")
    theirs = sqlite3.connect(path, timeout=0)
    ours.execute("INSERT INTO t VALUES (1)")
    assert theirs.execute("SELECT count(*) FROM t").fetchone() == (0,)
    ours.commit()
    assert theirs.execute("SELECT count(*) FROM t").fetchone() == (1,)
    theirs.execute("INSERT INTO t VALUES (2)")
    theirs.commit()
    assert [row["v"] for row in ours.execute("SELECT v FROM t")] == [1, 2]
    assert sorted(os.listdir(tmp_path)) == ["x.db", "x.db-shm", "x.db-wal"]
    ours.close()
    assert (tmp_path / "x.db-wal").stat().st_size > 0
    theirs.close()
    assert os.listdir(tmp_path) == ["x.db"]


def test_a_reader_in_wal_mode_keeps_its_snapshot(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    writer, reader = open_native(path), open_native(path)
    writer.execute("PRAGMA journal_mode = WAL")
    writer.executescript("CREATE TABLE t (v); INSERT INTO t VALUES (1), (2);")
    rows = reader.execute("SELECT v FROM t")
    first = rows.fetchone()[0]
    writer.execute("INSERT INTO t VALUES (3)")
    writer.commit()
    assert [first, *(row[0] for row in rows)] == [1, 2]
    assert reader.execute("SELECT count(*) FROM t").fetchone()[0] == 3
    assert tuple(writer.execute("PRAGMA wal_checkpoint(TRUNCATE)").fetchone()) == (0, 0, 0)
    writer.close()
    reader.close()


def test_a_hot_journal_left_by_a_dead_writer_is_rolled_back(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    writer = open_native(path)
    writer.execute("PRAGMA cache_size = 5")
    writer.executescript("CREATE TABLE t (v); INSERT INTO t VALUES ('kept');")
    writer.executemany("INSERT INTO t VALUES (?)", [("lost" * 500,) for _ in range(200)])
    # What a crash in the middle leaves: a half-written file and its journal.
    (tmp_path / "crashed.db").write_bytes(path.read_bytes())
    (tmp_path / "crashed.db-journal").write_bytes((tmp_path / "x.db-journal").read_bytes())
    writer.rollback()
    writer.close()
    reader = open_native(tmp_path / "crashed.db")
    assert [row["v"] for row in reader.execute("SELECT v FROM t")] == ["kept"]
    assert reader.execute("PRAGMA integrity_check").fetchone()[0] == "ok"
    reader.close()
    assert "crashed.db-journal" not in os.listdir(tmp_path)


def test_memory_mapped_reading_gives_the_same_rows(tmp_path: Path) -> None:
    seen = []
    for size in (0, 1 << 16, 1 << 24):
        connection = open_native(tmp_path / "x.db")
        connection.execute(f"PRAGMA mmap_size = {size}")
        connection.execute("CREATE TABLE IF NOT EXISTS t (v)")
        connection.execute("DELETE FROM t")
        connection.executemany("INSERT INTO t VALUES (?)", [(f"{n}" * 100,) for n in range(2000)])
        connection.commit()
        seen.append([row[0] for row in connection.execute("SELECT v FROM t ORDER BY v")])
        connection.close()
    assert seen[0] == seen[1] == seen[2]
    assert len(seen[0]) == 2000


def test_an_attached_file_and_temporary_tables_go_through_the_layer_too(tmp_path: Path) -> None:
    seen = []
    for open_one in (open_native, open_python):
        folder = tmp_path / open_one.__name__
        folder.mkdir()
        connection = open_one(folder / "main.db")
        connection.execute("PRAGMA temp_store = FILE")
        connection.execute("ATTACH ? AS other", (str(folder / "other.db"),))
        connection.execute("CREATE TABLE t (v)")
        connection.execute("CREATE TABLE other.u (v)")
        connection.execute("CREATE TEMP TABLE w (v)")
        for table in ("t", "u", "w"):
            connection.executemany(f"INSERT INTO {table} VALUES (?)", [(n,) for n in range(500)])
        inside = files(folder)
        connection.commit()
        rows = connection.execute(
            "SELECT sum(t.v + u.v + w.v) FROM t, u, w WHERE t.v = u.v AND u.v = w.v"
        ).fetchone()[0]
        ordered = connection.execute("SELECT v FROM t ORDER BY -v LIMIT 3").fetchall()
        connection.close()
        seen.append((inside, rows, [tuple(row) for row in ordered], files(folder)))
        assert open_descriptors(folder) == []
    assert seen[0] == seen[1]


def test_the_name_of_the_file_reaches_the_engine_whole(tmp_path: Path) -> None:
    for name in (
        "plain.db",
        "with space.db",
        "päth.db",
        "100%.db",
        "quote'.db",
        "a" * 200 + ".db",
        "new\nline.db",
    ):
        connection = open_native(tmp_path / name)
        connection.execute("CREATE TABLE t (v)")
        connection.execute("INSERT INTO t VALUES (1)")
        assert f"{name}-journal" in os.listdir(tmp_path)
        connection.commit()
        assert connection.execute("PRAGMA database_list").fetchone()["file"] == str(tmp_path / name)
        connection.close()
