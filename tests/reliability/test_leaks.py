"""Each operation, and each of its failures, leaves nothing behind however often it is called."""

from __future__ import annotations

import os
import shutil
import sqlite3
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from anpr_test_modules import store_internals
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from reliability.leaks import assert_no_growth
from reliability.operations import Call, bad_calls, good_calls
from support.sample_file import make_sample
from support.sql_cases import open_native


class Impatient(ANPRDatabase):
    """Does not wait for locks."""

    def _get_conn(self) -> Any:
        connection = super()._get_conn()
        connection.execute("PRAGMA busy_timeout = 0")
        return connection


@pytest.fixture
def store(memory_folder: Path) -> ANPRDatabase:
    path = memory_folder / "anpr.db"
    make_sample(path)
    return ANPRDatabase(path)


@pytest.fixture
def memory_folder(tmp_path: Path) -> Any:
    """A folder in memory where there is one: these tests write some ten thousand transactions."""
    shared = Path("/dev/shm")
    if not os.access(shared, os.W_OK):
        yield tmp_path
        return
    folder = shared / f"anpr-{os.getpid()}-{tmp_path.name}"
    folder.mkdir()
    yield folder
    shutil.rmtree(folder)


def failing(call: Call, store: Any, error: type[BaseException] | None = None) -> Callable[[], None]:
    def run() -> None:
        try:
            call.run(store)
        except Exception as caught:
            kind = type(caught)
        else:
            raise AssertionError(f"{call} did not fail")
        assert kind is (error or call.error)

    return run


@pytest.mark.parametrize("label", good_calls())
def test_an_operation_leaves_nothing(label: str, store: ANPRDatabase) -> None:
    call = good_calls()[label]
    sample = store.db_path.read_bytes()

    def run() -> None:
        call.run(store)
        store.db_path.write_bytes(sample)

    assert_no_growth(run)


@pytest.mark.parametrize("label", bad_calls())
def test_a_failing_operation_leaves_nothing(label: str, store: ANPRDatabase) -> None:
    assert_no_growth(failing(bad_calls()[label], store))


WORKING = [label for label in good_calls() if not label.endswith(": an empty list")]
ON_FILES = [
    label for label in WORKING if not label.startswith(("__init__", "_init_schema", "_get_conn"))
]


@pytest.mark.parametrize("label", ON_FILES)
def test_an_operation_on_a_file_without_tables_leaves_nothing(
    label: str, memory_folder: Path
) -> None:
    store = ANPRDatabase.__new__(ANPRDatabase)
    store.db_path = memory_folder / "empty.db"
    assert_no_growth(failing(good_calls()[label], store, sqlite3.OperationalError))


@pytest.mark.parametrize("label", ON_FILES[::3])
def test_an_operation_on_what_is_no_database_leaves_nothing(
    label: str, memory_folder: Path
) -> None:
    store = ANPRDatabase.__new__(ANPRDatabase)
    store.db_path = memory_folder / "garbage.db"
    store.db_path.write_bytes(b"no database at all " * 100)
    assert_no_growth(failing(good_calls()[label], store, sqlite3.DatabaseError))
    store.db_path = memory_folder
    assert_no_growth(failing(good_calls()[label], store, sqlite3.OperationalError))


@pytest.mark.parametrize("label", ON_FILES)
def test_an_operation_on_a_locked_file_leaves_nothing(label: str, store: ANPRDatabase) -> None:
    holder = sqlite3.connect(store.db_path, isolation_level=None)
    impatient = Impatient.__new__(Impatient)
    impatient.db_path = store.db_path
    holder.execute("BEGIN EXCLUSIVE")
    try:
        assert_no_growth(failing(good_calls()[label], impatient, sqlite3.OperationalError))
    finally:
        holder.close()


CONNECTION_USES: dict[str, Callable[[], object]] = {
    "open and close": lambda: open_native().close(),
    "open and drop": open_native,
    "rows": lambda: [
        dict(row) for row in open_native().execute("SELECT 1 AS a, 'x' AS b UNION SELECT 2, 'y'")
    ],
    "row uses": lambda: row_uses(open_native().execute("SELECT 1 AS a, 'x' AS b").fetchone()),
    "a bad statement": lambda: quietly(lambda: open_native().execute("nonsense")),
    "a bad parameter": lambda: quietly(
        lambda: open_native().execute("SELECT ?, ?", ("x", object()))
    ),
    "a bad factory": lambda: bad_factory(),
    "an unfinished cursor": lambda: open_native().execute("SELECT 1 UNION SELECT 2").fetchone(),
    "many statements": lambda: many_statements(),
    "executemany that fails": lambda: quietly(
        lambda: open_native().executemany("SELECT ?", (1 // n for n in (1, 0)))  # type: ignore[arg-type]
    ),
    "a script": lambda: open_native().executescript(
        "CREATE TABLE t (x); INSERT INTO t VALUES (1); SELECT * FROM t;"
    ),
    "a cycle": lambda: cycle(),
    "another isolation level": lambda: setattr(open_native(), "isolation_level", "IMMEDIATE"),
}


def quietly(function: Callable[[], object]) -> None:
    try:
        function()
    except (sqlite3.Error, ZeroDivisionError, LookupError):
        return
    raise AssertionError("did not fail")


def row_uses(row: Any) -> object:
    return hash(row), row == row, list(row), row["A"], row[1], row[:], row.keys(), repr(row)


def bad_factory() -> None:
    connection = open_native()
    connection.row_factory = lambda cursor, row: 1 // 0
    quietly(lambda: connection.execute("SELECT 1").fetchall())


def many_statements() -> None:
    connection = open_native()
    for number in range(200):
        connection.execute(f"SELECT {number}").fetchall()


def cycle() -> None:
    connection = open_native()
    connection.row_factory = [connection, connection.cursor()]


@pytest.mark.parametrize("use", CONNECTION_USES)
def test_a_use_of_a_connection_leaves_nothing(use: str) -> None:
    assert_no_growth(CONNECTION_USES[use])


VALUES: list[Any] = [
    {"plates": ["AB123", "Š"], "n": [1, 2.5, None, True, 10**30, float("nan")], 1: {}},
    [{"a": ({1},)}],
    {(): 1},
]
DOCUMENTS: list[Any] = [
    '{"plates": ["AB123", "\\u0160"], "n": [1, 2.5, null, true, 1e999, NaN, 12345678901234567890]}',
    b'["\xc5\xa0", {"a": 1, "a": 2}]',
    '["a", {"b": [1, 2, {"c": "d" x',
    b'["\xff"]',
    "[" * 5000,
    "1" * 5000,
    None,
]


@pytest.mark.parametrize("value", [*VALUES, [[]]], ids=range(len(VALUES) + 1))
def test_writing_json_leaves_nothing(value: Any) -> None:
    def run() -> None:
        try:
            store_internals.dumps(value)
        except TypeError:
            pass

    assert_no_growth(run)


@pytest.mark.parametrize("document", DOCUMENTS, ids=range(len(DOCUMENTS)))
def test_reading_json_leaves_nothing(document: Any) -> None:
    def run() -> None:
        try:
            store_internals.loads(document)
        except (ValueError, TypeError, RecursionError):
            pass

    assert_no_growth(run)
