"""Each operation, and each of its failures, leaves nothing behind however often it is called."""

from __future__ import annotations

import os
import shutil
import sqlite3
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from reliability.leaks import assert_no_growth
from support import database
from support.fakes import impatient_class
from support.json_cases import dumps, loads
from support.operations import BAD_CALLS, GOOD_CALLS, WORKING
from support.sample_file import make_sample
from support.sql_cases import open_native

pytestmark = pytest.mark.slow


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


def failing(call, store, error=None):
    def run():
        try:
            call.run(store)
        except Exception as caught:
            kind = type(caught)
        else:
            raise AssertionError(f"{call} did not fail")
        assert kind is (error or call.error)

    return run


@pytest.mark.parametrize("label", GOOD_CALLS)
def test_an_operation_leaves_nothing(label, store):
    call = GOOD_CALLS[label]
    sample = store.db_path.read_bytes()

    def run():
        call.run(store)
        store.db_path.write_bytes(sample)

    assert_no_growth(run)


@pytest.mark.parametrize("label", BAD_CALLS)
def test_a_failing_operation_leaves_nothing(label, store):
    assert_no_growth(failing(BAD_CALLS[label], store))


ON_FILES = [
    label for label in WORKING if not label.startswith(("__init__", "_init_schema", "_get_conn"))
]


def store_at(path, store_class=ANPRDatabase):
    """A store on whatever is there, as no constructor would make it."""
    store = store_class.__new__(store_class)
    store.db_path = path
    return store


@pytest.mark.parametrize("label", ON_FILES)
def test_an_operation_on_a_file_without_tables_leaves_nothing(label, memory_folder):
    store = store_at(memory_folder / "empty.db")
    assert_no_growth(failing(GOOD_CALLS[label], store, sqlite3.OperationalError))


@pytest.mark.parametrize("label", ON_FILES[::3])
def test_an_operation_on_what_is_no_database_leaves_nothing(label, memory_folder):
    garbage = memory_folder / "garbage.db"
    garbage.write_bytes(b"no database at all " * 100)
    call = GOOD_CALLS[label]
    assert_no_growth(failing(call, store_at(garbage), sqlite3.DatabaseError))
    assert_no_growth(failing(call, store_at(memory_folder), sqlite3.OperationalError))


@pytest.mark.parametrize("label", ON_FILES)
def test_an_operation_on_a_locked_file_leaves_nothing(label, store):
    impatient = store_at(store.db_path, impatient_class(ANPRDatabase))
    with database.lock_held(store.db_path, "EXCLUSIVE"):
        assert_no_growth(failing(GOOD_CALLS[label], impatient, sqlite3.OperationalError))


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


JSON: list[tuple[Callable[[Any], Any], Any]] = [
    (dumps, {"plates": ["AB123", "Š"], "n": [1, 2.5, None, True, 10**30, float("nan")], 1: {}}),
    (dumps, [{"a": ({1},)}]),
    (dumps, {(): 1}),
    (dumps, [[]]),
    (
        loads,
        '{"a": ["AB", "\\u0160"], "n": [1, 2.5, null, true, 1e999, NaN, 12345678901234567890]}',
    ),
    (loads, b'["\xc5\xa0", {"a": 1, "a": 2}]'),
    (loads, '["a", {"b": [1, 2, {"c": "d" x'),
    (loads, b'["\xff"]'),
    (loads, "[" * 5000),
    (loads, "1" * 5000),
    (loads, None),
]


@pytest.mark.parametrize(("function", "argument"), JSON, ids=range(len(JSON)))
def test_reading_and_writing_json_leave_nothing(function, argument):
    def run():
        try:
            function(argument)
        except (ValueError, TypeError, RecursionError):
            pass

    assert_no_growth(run)
