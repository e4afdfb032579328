"""Every journal mode makes, keeps and removes its real files through the store's VFS shim."""

from __future__ import annotations

import os
import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest

from support.alike import assert_files_alike
from support.database import open_descriptors
from support.sql_cases import open_native

MODES = ["DELETE", "TRUNCATE", "PERSIST", "MEMORY", "OFF", "WAL"]


def files(folder: Path) -> dict[str, bool]:
    """Which files there are, and which of them hold anything."""
    return {entry: (folder / entry).stat().st_size > 0 for entry in sorted(os.listdir(folder))}


@pytest.mark.parametrize("mode", MODES)
def test_the_files_of_a_journal_mode_are_those_of_python(tmp_path, mode):
    def work(open_one: Any, folder: Path) -> Any:
        with closing(open_one(folder / "x.db")) as connection:
            yield connection.execute(f"PRAGMA journal_mode = {mode}").fetchone()
            connection.execute("CREATE TABLE t (id INTEGER PRIMARY KEY, v)")
            rows = [("x" * 1000,) for _ in range(50)]
            connection.executemany("INSERT INTO t (v) VALUES (?)", rows)
            yield "inside", files(folder)
            connection.commit()
            yield "committed", files(folder)
            connection.execute("UPDATE t SET v = 'y'")
            if mode != "OFF":
                connection.rollback()
            connection.commit()
            yield "rolled back", files(folder)
            connection.execute("DELETE FROM t WHERE id > 10")
            connection.commit()
            connection.execute("VACUUM")
            yield connection.execute("PRAGMA integrity_check").fetchone()
            yield connection.execute("SELECT id, length(v) FROM t").fetchall()
        yield "closed", files(folder)
        # The same statements leave the same bytes: nothing of ours is in the file.
        yield (folder / "x.db").read_bytes(), open_descriptors(folder)

    seen = assert_files_alike(tmp_path, lambda *given: list(work(*given)))
    assert seen["value"][1][-1][1][1] == ("list", [])


@pytest.mark.parametrize("mode", MODES)
def test_changing_to_any_mode_and_back(tmp_path, mode):
    def steps(open_one: Any, folder: Path) -> Any:
        seen: list[Any] = []
        with closing(open_one(folder / "x.db")) as connection:
            connection.execute("CREATE TABLE t (v)")
            for step in (mode, "DELETE", mode, "TRUNCATE", mode, "WAL", mode):
                seen.append(connection.execute(f"PRAGMA journal_mode = {step}").fetchone())
                connection.execute("INSERT INTO t VALUES (?)", (step,))
                connection.commit()
                seen.append(files(folder))
        return [*seen, files(folder)]

    assert_files_alike(tmp_path, steps)


def test_a_write_ahead_log_is_shared_with_pythons_connection(tmp_path):
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


def test_a_reader_in_wal_mode_keeps_its_snapshot(tmp_path):
    path = tmp_path / "x.db"
    with closing(open_native(path)) as writer, closing(open_native(path)) as reader:
        writer.execute("PRAGMA journal_mode = WAL")
        writer.executescript("CREATE TABLE t (v); INSERT INTO t VALUES (1), (2);")
        rows = reader.execute("SELECT v FROM t")
        first = rows.fetchone()[0]
        writer.execute("INSERT INTO t VALUES (3)")
        writer.commit()
        assert [first, *(row[0] for row in rows)] == [1, 2]
        assert reader.execute("SELECT count(*) FROM t").fetchone()[0] == 3
        assert tuple(writer.execute("PRAGMA wal_checkpoint(TRUNCATE)").fetchone()) == (0, 0, 0)


def test_a_hot_journal_left_by_a_dead_writer_is_rolled_back(tmp_path):
    path, crashed = tmp_path / "x.db", tmp_path / "crashed.db"
    with closing(open_native(path)) as writer:
        writer.execute("PRAGMA cache_size = 5")
        writer.executescript("CREATE TABLE t (v); INSERT INTO t VALUES ('kept');")
        writer.executemany("INSERT INTO t VALUES (?)", [("lost" * 500,) for _ in range(200)])
        # What a crash in the middle leaves: a half-written file and its journal.
        for end in ("", "-journal"):
            Path(f"{crashed}{end}").write_bytes(Path(f"{path}{end}").read_bytes())
        writer.rollback()
    with closing(open_native(crashed)) as reader:
        assert [row["v"] for row in reader.execute("SELECT v FROM t")] == ["kept"]
        assert reader.execute("PRAGMA integrity_check").fetchone()[0] == "ok"
    assert "crashed.db-journal" not in os.listdir(tmp_path)


def test_memory_mapped_reading_gives_the_same_rows(tmp_path):
    seen = []
    for size in (0, 1 << 16, 1 << 24):
        with closing(open_native(tmp_path / "x.db")) as connection:
            connection.execute(f"PRAGMA mmap_size = {size}")
            connection.executescript("CREATE TABLE IF NOT EXISTS t (v); DELETE FROM t")
            rows = [(f"{n}" * 100,) for n in range(2000)]
            connection.executemany("INSERT INTO t VALUES (?)", rows)
            connection.commit()
            seen.append([row[0] for row in connection.execute("SELECT v FROM t ORDER BY v")])
    assert seen[0] == seen[1] == seen[2]
    assert len(seen[0]) == 2000


def test_an_attached_file_and_temporary_tables_go_through_the_shim_too(tmp_path):
    def steps(open_one: Any, folder: Path) -> Any:
        with closing(open_one(folder / "main.db")) as connection:
            connection.execute("PRAGMA temp_store = FILE")
            connection.execute("ATTACH ? AS other", (str(folder / "other.db"),))
            for table in ("TABLE t", "TABLE other.u", "TEMP TABLE w"):
                connection.execute(f"CREATE {table} (v)")
            for table in ("t", "u", "w"):
                rows = [(n,) for n in range(500)]
                connection.executemany(f"INSERT INTO {table} VALUES (?)", rows)
            inside = files(folder)
            connection.commit()
            total = connection.execute(
                "SELECT sum(t.v + u.v + w.v) FROM t, u, w WHERE t.v = u.v AND u.v = w.v"
            ).fetchone()
            ordered = connection.execute("SELECT v FROM t ORDER BY -v LIMIT 3").fetchall()
        assert open_descriptors(folder) == []
        return inside, total, ordered, files(folder)

    assert_files_alike(tmp_path, steps)


NAMES = ["plain.db", "with space.db", "päth.db", "100%.db", "quote'.db", "a" * 200, "new\nline.db"]


@pytest.mark.parametrize("name", NAMES, ids=ascii)
def test_the_name_of_the_file_reaches_the_engine_whole(tmp_path, name):
    with closing(open_native(tmp_path / name)) as connection:
        connection.execute("CREATE TABLE t (v)")
        connection.execute("INSERT INTO t VALUES (1)")
        assert f"{name}-journal" in os.listdir(tmp_path)
        connection.commit()
        assert connection.execute("PRAGMA database_list").fetchone()["file"] == str(tmp_path / name)
