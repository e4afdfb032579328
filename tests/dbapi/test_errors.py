"""Engine errors have the class, text, code and name that Python's connection gives them."""

from __future__ import annotations

import os
import sqlite3
import tempfile
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import pytest

from support.sql_cases import describe_error, open_native, open_python, outcome

Maker = Callable[[Path], Any]


def both(
    tmp_path: Path, prepare: Callable[[Path], object], run: Callable[[Any], Any]
) -> list[dict]:
    """Opens a prepared file on either side and runs the same on both connections."""
    seen = []
    for place, open_one in enumerate((open_native, open_python)):
        path = tmp_path / str(place) / "file.db"
        path.parent.mkdir()
        prepare(path)

        def whole(open_one: Any = open_one, path: Path = path) -> Any:
            connection = open_one(path)
            try:
                return run(connection)
            finally:
                connection.close()

        seen.append(outcome(whole))
    return seen


def ordinary(path: Path) -> None:
    connection = sqlite3.connect(path)
    connection.execute(
        "CREATE TABLE t (id INTEGER PRIMARY KEY, v UNIQUE NOT NULL, CHECK (v <> 'bad'))"
    )
    connection.execute("CREATE TABLE child (t REFERENCES t(id) DEFERRABLE INITIALLY DEFERRED)")
    connection.executemany("INSERT INTO t (v) VALUES (?)", [("x" * n,) for n in range(100)])
    connection.commit()
    connection.close()


def garbage(path: Path) -> None:
    path.write_bytes(b"this is no database, " * 500)


def truncated(path: Path) -> None:
    ordinary(path)
    path.write_bytes(path.read_bytes()[:5000])


def overwritten(path: Path) -> None:
    ordinary(path)
    held = bytearray(path.read_bytes())
    held[4096:8192] = b"\xff" * 4096
    path.write_bytes(held)


def unknown_schema_format(path: Path) -> None:
    ordinary(path)
    held = bytearray(path.read_bytes())
    held[44:48] = b"\x00\x00\x00\x63"
    path.write_bytes(held)


def malformed_schema(path: Path) -> None:
    ordinary(path)
    connection = sqlite3.connect(path)
    connection.execute("PRAGMA writable_schema = ON")
    connection.execute("UPDATE sqlite_master SET sql = 'CREATE nonsense' WHERE name = 'child'")
    connection.commit()
    connection.close()


def directory(path: Path) -> None:
    path.mkdir()


def link_to_nowhere(path: Path) -> None:
    path.symlink_to(path.parent / "missing" / "file.db")


def link_to_itself(path: Path) -> None:
    path.symlink_to(path)


def nothing(path: Path) -> None:
    pass


def empty(path: Path) -> None:
    path.touch()


FILES = [
    ordinary,
    garbage,
    truncated,
    overwritten,
    unknown_schema_format,
    malformed_schema,
    directory,
    link_to_nowhere,
    link_to_itself,
    nothing,
    empty,
]


@pytest.mark.parametrize("prepare", FILES)
@pytest.mark.parametrize(
    "sql",
    [
        "SELECT * FROM t",
        "SELECT count(*) FROM t WHERE v > 'x'",
        "INSERT INTO t (v) VALUES ('new')",
        "CREATE TABLE u (x)",
        "PRAGMA integrity_check",
        "PRAGMA journal_mode = WAL",
    ],
)
def test_a_file_of_any_kind(tmp_path: Path, prepare: Callable[[Path], None], sql: str) -> None:
    ours, theirs = both(tmp_path, prepare, lambda c: c.execute(sql).fetchall())
    assert ours == theirs


def test_a_missing_folder_and_a_path_too_long(tmp_path: Path) -> None:
    for name in (tmp_path / "missing" / "x.db", tmp_path / ("x" * 300), tmp_path / ("y/" * 3000)):
        seen = [
            outcome(lambda open_one: open_one(name).close(), one)  # noqa: B023
            for one in (open_native, open_python)
        ]
        assert seen[0] == seen[1]
        assert seen[0]["error"]["class"] is sqlite3.OperationalError


ODD_NAMES = ["a\0b.db", "x\ud800.db", "über.db", "x\udcff.db", "with space.db", "100%41.db"]


@pytest.mark.parametrize("name", ODD_NAMES, ids=ascii)
def test_an_odd_file_name(tmp_path: Path, name: str) -> None:
    seen = []
    for open_one in (open_native, open_python):

        def whole(open_one: Any = open_one) -> Any:
            connection = open_one(f"{tmp_path}/{name}")
            connection.execute("CREATE TABLE t (x)")
            connection.close()
            made = [os.fsencode(entry) for entry in os.listdir(tmp_path)]
            for entry in made:
                os.unlink(os.fsencode(tmp_path) + b"/" + entry)
            return made

        seen.append(outcome(whole))
    assert seen[0] == seen[1]


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
def test_a_failing_statement(tmp_path: Path, sql: str) -> None:
    ours, theirs = both(tmp_path, ordinary, lambda c: c.execute(sql).fetchall())
    assert ours == theirs


def test_a_foreign_key_that_fails_at_commit(tmp_path: Path) -> None:
    def run(connection: Any) -> Any:
        connection.execute("PRAGMA foreign_keys = ON")
        connection.execute("INSERT INTO child VALUES (4000)")
        try:
            connection.commit()
        except sqlite3.IntegrityError as error:
            return describe_error(error), connection.in_transaction
        return "committed"

    ours, theirs = both(tmp_path, ordinary, run)
    assert ours == theirs


def test_a_locked_file_and_a_locked_table(tmp_path: Path) -> None:
    def run(connection: Any) -> Any:
        connection.execute("PRAGMA busy_timeout = 0")
        other = sqlite3.connect(
            connection.execute("PRAGMA database_list").fetchone()[2], isolation_level=None
        )
        other.execute("BEGIN EXCLUSIVE")
        seen = [
            outcome(lambda sql: connection.execute(sql).fetchall(), sql)
            for sql in ("SELECT * FROM t", "DELETE FROM t")
        ]
        other.close()
        connection.rollback()
        reader = connection.execute("SELECT * FROM t")
        reader.fetchone()
        seen.append(outcome(lambda: connection.execute("DROP TABLE t")))
        return str(seen)

    ours, theirs = both(tmp_path, ordinary, run)
    assert ours == theirs


def test_a_statement_that_a_rollback_cut_short(tmp_path: Path) -> None:
    def run(connection: Any) -> Any:
        reader = connection.execute("SELECT v FROM t")
        first = reader.fetchone()
        connection.execute("INSERT INTO t (v) VALUES ('new')")
        connection.execute("CREATE TABLE u (x)")
        connection.rollback()
        return first, str(outcome(reader.fetchone)), str(outcome(reader.fetchall))

    ours, theirs = both(tmp_path, ordinary, run)
    assert ours == theirs


@contextmanager
def without_privileges() -> Iterator[None]:
    """Root may do everything: for this while, the process is somebody else."""
    if os.geteuid() != 0:
        yield
        return
    os.seteuid(65534)
    try:
        yield
    finally:
        os.seteuid(0)


@pytest.mark.parametrize(
    ("file_mode", "folder_mode"), [(0o444, 0o555), (0o000, 0o755), (0o666, 0o555), (0o666, 0o000)]
)
@pytest.mark.parametrize(
    "sql", ["SELECT count(*) FROM t", "INSERT INTO t (v) VALUES ('new')", "CREATE TABLE u (x)"]
)
def test_a_file_or_folder_without_permission(file_mode: int, folder_mode: int, sql: str) -> None:
    # Not below pytest's own folders: those are closed to anybody else.
    with tempfile.TemporaryDirectory() as top:
        Path(top).chmod(0o755)

        def prepare(path: Path) -> None:
            ordinary(path)
            path.chmod(file_mode)
            path.parent.chmod(folder_mode)

        def run(connection: Any) -> Any:
            return connection.execute(sql).fetchall()

        seen = []
        for open_one in (open_native, open_python):
            folder = Path(top) / open_one.__name__
            folder.mkdir()
            prepare(folder / "file.db")
            with without_privileges():
                seen.append(outcome(lambda: run(open_one(folder / "file.db"))))  # noqa: B023
            folder.chmod(0o755)
    assert seen[0] == seen[1]


def test_the_code_and_name_are_those_of_the_extended_code(tmp_path: Path) -> None:
    path = tmp_path / "file.db"
    ordinary(path)
    connection = open_native(path)
    with pytest.raises(sqlite3.IntegrityError) as caught:
        connection.execute("INSERT INTO t (v) VALUES ('x')")
    connection.close()
    assert str(caught.value) == "UNIQUE constraint failed: t.v"
    assert caught.value.sqlite_errorcode == sqlite3.SQLITE_CONSTRAINT_UNIQUE
    assert caught.value.sqlite_errorname == "SQLITE_CONSTRAINT_UNIQUE"
