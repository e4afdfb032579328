"""Two connections on one file: who is refused, and what each sees, beside Python's connections."""

from __future__ import annotations

import itertools
import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support.sql_cases import Session, assert_sessions_alike, open_native, open_python

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (0);"

WRITING = [
    *(("execute_on", sql) for sql in (
        "SELECT count(*), max(v) FROM t", "SELECT v FROM t UNION ALL SELECT v FROM t",
        "INSERT INTO t VALUES (1)", "UPDATE t SET v = v + 1", "DELETE FROM t WHERE v > 2", "BEGIN",
        "BEGIN IMMEDIATE", "BEGIN EXCLUSIVE", "COMMIT", "CREATE TABLE IF NOT EXISTS u (x)",
        "DROP TABLE IF EXISTS u", "VACUUM",
    )),
    ("on_connection", "commit"), ("on_connection", "rollback"),
]  # fmt: skip
STEPS = [*WRITING, ("next",), ("on_cursor", "fetchall"), ("drop",)]


def sessions(folder: Path, journal: str) -> list[Session]:
    made = []
    for place, open_one in enumerate((open_native, open_python)):
        path = folder / f"{place}.db"
        for stale in folder.glob(f"{place}.db*"):
            stale.unlink()
        connections = [open_one(path), open_one(path)]
        connections[0].execute(f"PRAGMA journal_mode = {journal}")
        for connection in connections:
            connection.execute("PRAGMA busy_timeout = 0")
            connection.execute("PRAGMA synchronous = OFF")
        connections[0].executescript(SETUP)
        made.append(Session(connections))
    return made


def as_steps(plan: list[tuple[int, tuple]]) -> list[tuple[Any, ...]]:
    """Each connection has one cursor, in the place of its own number."""
    return [
        (verb, on, *([on] if verb == "execute_on" else []), *rest) for on, (verb, *rest) in plan
    ]


@pytest.mark.parametrize(("journal", "firsts"), [("DELETE", slice(12)), ("WAL", slice(0, 12, 4))])
def test_every_pair_of_steps_on_two_connections(
    tmp_path: Path, journal: str, firsts: slice
) -> None:
    commit = ("on_connection", "commit")
    for first, second in itertools.product(WRITING[firsts], WRITING):
        plan = [(0, first), (1, second), (0, commit), (1, commit)]
        assert_sessions_alike(as_steps(plan), *sessions(tmp_path, journal))


@pytest.mark.slow
@given(
    st.lists(st.tuples(st.integers(0, 1), st.sampled_from(STEPS)), max_size=14),
    st.sampled_from(["DELETE", "TRUNCATE", "PERSIST", "WAL", "MEMORY"]),
)
@settings(max_examples=120, deadline=None)
def test_any_steps_on_two_connections(
    tmp_path_factory: pytest.TempPathFactory, plan: list, journal: str
) -> None:
    folder = tmp_path_factory.getbasetemp() / "two-connections"
    folder.mkdir(exist_ok=True)
    assert_sessions_alike(as_steps(plan), *sessions(folder, journal))


def test_a_lock_in_the_same_process_is_not_undone_by_opening_the_file_again(tmp_path):
    # Closing any descriptor of a file drops the locks on it: the engine must know of every one.
    with (
        closing(open_native(tmp_path / "x.db")) as ours,
        closing(sqlite3.connect(tmp_path / "x.db", timeout=0)) as rival,
    ):
        ours.executescript(SETUP)
        ours.execute("INSERT INTO t VALUES (1)")
        for open_one in (open_native, open_python, open_native):
            with closing(open_one(tmp_path / "x.db")) as other:
                other.execute("SELECT * FROM t").fetchall()
        with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$"):
            rival.execute("INSERT INTO t VALUES (2)")
