"""Engine errors have the class, text, code and name that Python's connection gives them."""

from __future__ import annotations

import os
import sqlite3
from collections.abc import Callable
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest

from support.alike import assert_files_alike
from support.privileges import common_folder, without_privileges
from support.sql_cases import outcome


def ordinary(path: Path) -> None:
    connection = sqlite3.connect(path)
    connection.execute(
        "CREATE TABLE t (id INTEGER PRIMARY KEY, v UNIQUE NOT NULL, CHECK (v <> 'bad'))"
    )
    connection.execute("CREATE TABLE child (t REFERENCES t(id) DEFERRABLE INITIALLY DEFERRED)")
    connection.executemany("INSERT INTO t (v) VALUES (?)", [("x" * n,) for n in range(100)])
    connection.commit()
    connection.close()


def changed(change: Callable[[bytes], bytes]) -> Callable[[Path], None]:
    def prepare(path: Path) -> None:
        ordinary(path)
        path.write_bytes(change(path.read_bytes()))

    return prepare


def malformed_schema(path: Path) -> None:
    ordinary(path)
    with closing(sqlite3.connect(path)) as connection:
        connection.execute("PRAGMA writable_schema = ON")
        connection.execute("UPDATE sqlite_master SET sql = 'CREATE nonsense' WHERE name = 'child'")
        connection.commit()


FILES: dict[str, Callable[[Path], object]] = {
    "ordinary": ordinary,
    "garbage": lambda path: path.write_bytes(b"this is no database, " * 500),
    "truncated": changed(lambda held: held[:5000]),
    "overwritten": changed(lambda held: held[:4096] + b"\xff" * 4096 + held[8192:]),
    "unknown schema format": changed(lambda held: held[:44] + b"\0\0\0\x63" + held[48:]),
    "malformed schema": malformed_schema,
    "directory": lambda path: path.mkdir(),
    "link to nowhere": lambda path: path.symlink_to(path.parent / "missing" / "file.db"),
    "link to itself": lambda path: path.symlink_to(path),
    "nothing": lambda path: None,
    "empty": lambda path: path.touch(),
}
STATEMENTS = (
    "SELECT * FROM t",
    "SELECT count(*) FROM t WHERE v > 'x'",
    "INSERT INTO t (v) VALUES ('new')",
    "CREATE TABLE u (x)",
    "PRAGMA integrity_check",
    "PRAGMA journal_mode = WAL",
)


def assert_alike_on(top: Path, prepare: Callable[[Path], object], run: Callable[[Any], Any]) -> Any:
    """Prepares a file for either side, and runs the same on a connection to it."""

    def steps(open_one: Any, folder: Path) -> Any:
        prepare(folder / "file.db")
        with closing(open_one(folder / "file.db")) as connection:
            return run(connection)

    return assert_files_alike(top, steps)


@pytest.mark.parametrize("kind", FILES)
@pytest.mark.parametrize("sql", STATEMENTS)
def test_a_file_of_any_kind(tmp_path, kind, sql):
    assert_alike_on(tmp_path, FILES[kind], lambda c: c.execute(sql).fetchall())


@pytest.mark.parametrize("name", ["missing/x.db", "x" * 300, "y/" * 3000], ids=range(3))
def test_a_missing_folder_and_a_path_too_long(tmp_path, name):
    seen = assert_files_alike(tmp_path, lambda open_one, _: open_one(tmp_path / name).close())
    assert seen["error"]["class"] is sqlite3.OperationalError


ODD_NAMES = ["a\0b.db", "x\ud800.db", "über.db", "x\udcff.db", "with space.db", "100%41.db"]


@pytest.mark.parametrize("name", ODD_NAMES, ids=ascii)
def test_an_odd_file_name(tmp_path, name):
    def steps(open_one: Any, folder: Path) -> Any:
        with closing(open_one(f"{folder}/{name}")) as connection:
            connection.execute("CREATE TABLE t (x)")
        return [os.fsencode(entry) for entry in os.listdir(folder)]

    assert_files_alike(tmp_path, steps)


# fmt: off
FAILING = [
    "INSERT INTO t (id, v) VALUES (1, 'new')", "INSERT INTO t (v) VALUES ('x')",
    "INSERT INTO t (v) VALUES (NULL)", "INSERT INTO t (v) VALUES ('bad')",
    "INSERT INTO t (id, v) VALUES ('word', 'new')", "SELECT 1 LIMIT 'word'",
    "SELECT abs(-9223372036854775808)", "SELECT zeroblob(1000000001)", "SELECT missing",
    "SELECT FROM", "DROP TABLE missing", "SELECT raise(ABORT, 'x')",
    "ATTACH '/nowhere/at/all.db' AS a", "DETACH main", "VACUUM INTO '/nowhere/x'",
    "PRAGMA journal_mode = 'word'", "SELECT json('{')", "SELECT sum(9223372036854775807) FROM t",
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c, d",
    "SELECT 1 ORDER BY 5", "SELECT '" + "x" * 100 + "' COLLATE missing", "SELECT likely()",
    "SELECT 1 UNION SELECT 1, 2", "INSERT INTO t VALUES (1)", "CREATE INDEX i ON t (missing)",
    "SELECT * FROM pragma_table_info()",
]
# fmt: on


@pytest.mark.parametrize("sql", FAILING, ids=ascii)
def test_a_failing_statement(tmp_path, sql):
    assert_alike_on(tmp_path, ordinary, lambda c: c.execute(sql).fetchall())


def test_a_foreign_key_that_fails_at_commit(tmp_path):
    def run(connection: Any) -> Any:
        connection.execute("PRAGMA foreign_keys = ON")
        connection.execute("INSERT INTO child VALUES (4000)")
        return outcome(connection.commit), connection.in_transaction

    assert_alike_on(tmp_path, ordinary, run)


def test_a_locked_file_and_a_locked_table(tmp_path):
    def run(connection: Any) -> Any:
        connection.execute("PRAGMA busy_timeout = 0")
        path = connection.execute("PRAGMA database_list").fetchone()[2]
        with closing(sqlite3.connect(path, isolation_level=None)) as other:
            other.execute("BEGIN EXCLUSIVE")
            seen = [
                outcome(lambda sql: connection.execute(sql).fetchall(), sql)
                for sql in ("SELECT * FROM t", "DELETE FROM t")
            ]
        connection.rollback()
        reader = connection.execute("SELECT * FROM t")
        reader.fetchone()
        return seen, outcome(connection.execute, "DROP TABLE t")

    assert_alike_on(tmp_path, ordinary, run)


def test_a_statement_that_a_rollback_cut_short(tmp_path):
    def run(connection: Any) -> Any:
        reader = connection.execute("SELECT v FROM t")
        first = reader.fetchone()
        connection.execute("INSERT INTO t (v) VALUES ('new')")
        connection.execute("CREATE TABLE u (x)")
        connection.rollback()
        return first, outcome(reader.fetchone), outcome(reader.fetchall)

    assert_alike_on(tmp_path, ordinary, run)


@pytest.mark.parametrize(
    ("file_mode", "folder_mode"), [(0o444, 0o555), (0o000, 0o755), (0o666, 0o555), (0o666, 0o000)]
)
@pytest.mark.parametrize(
    "sql", ["SELECT count(*) FROM t", "INSERT INTO t (v) VALUES ('new')", "CREATE TABLE u (x)"]
)
def test_a_file_or_folder_without_permission(file_mode, folder_mode, sql):
    def steps(open_one: Any, folder: Path) -> Any:
        ordinary(folder / "file.db")
        (folder / "file.db").chmod(file_mode)
        folder.chmod(folder_mode)
        with without_privileges(), closing(open_one(folder / "file.db")) as connection:
            return connection.execute(sql).fetchall()

    with common_folder() as top:
        assert_files_alike(top, steps)
