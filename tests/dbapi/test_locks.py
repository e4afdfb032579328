"""Two connections on one file: who is refused, and what each sees, beside Python's connections."""

from __future__ import annotations

import itertools
import sqlite3
import threading
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support.sql_cases import Session, assert_sessions_alike, open_native, open_python

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (0);"

# fmt: off
STEPS = (
    ("execute_on", "SELECT count(*), max(v) FROM t"),
    ("execute_on", "SELECT v FROM t UNION ALL SELECT v FROM t"),
    ("execute_on", "INSERT INTO t VALUES (1)"), ("execute_on", "UPDATE t SET v = v + 1"),
    ("execute_on", "DELETE FROM t WHERE v > 2"), ("execute_on", "BEGIN"),
    ("execute_on", "BEGIN IMMEDIATE"), ("execute_on", "BEGIN EXCLUSIVE"), ("execute_on", "COMMIT"),
    ("execute_on", "CREATE TABLE IF NOT EXISTS u (x)"), ("execute_on", "DROP TABLE IF EXISTS u"),
    ("execute_on", "VACUUM"), ("on_connection", "commit"), ("on_connection", "rollback"),
    ("next",), ("fetchall",), ("drop",),
)
# fmt: on


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
    steps: list[tuple[Any, ...]] = []
    for on, (verb, *rest) in plan:
        if verb == "execute_on":
            steps.append(("execute_on", on, on, *rest))
        elif verb == "on_connection":
            steps.append(("on_connection", on, *rest))
        elif verb == "fetchall":
            steps.append(("on_cursor", on, "fetchall"))
        else:
            steps.append((verb, on))
    return steps


@pytest.mark.parametrize(("journal", "firsts"), [("DELETE", slice(12)), ("WAL", slice(0, 12, 4))])
def test_every_pair_of_steps_on_two_connections(
    tmp_path: Path, journal: str, firsts: slice
) -> None:
    writing = [step for step in STEPS if step[0] in ("execute_on", "on_connection")]
    for first, second in itertools.product(writing[firsts], writing):
        plan = [
            (0, first),
            (1, second),
            (0, ("on_connection", "commit")),
            (1, ("on_connection", "commit")),
        ]
        assert_sessions_alike(as_steps(plan), *sessions(tmp_path, journal))


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


def test_our_connection_and_pythons_lock_each_other_out(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    ours = open_native(path)
    ours.executescript(SETUP)
    theirs = sqlite3.connect(path, timeout=0)
    ours.execute("INSERT INTO t VALUES (1)")
    with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$"):
        theirs.execute("INSERT INTO t VALUES (2)")
    ours.commit()
    theirs.execute("INSERT INTO t VALUES (2)")
    ours.execute("PRAGMA busy_timeout = 0")
    with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$"):
        ours.execute("INSERT INTO t VALUES (3)")
    theirs.commit()
    ours.rollback()
    assert [tuple(row) for row in ours.execute("SELECT v FROM t")] == [(0,), (1,), (2,)]
    theirs.close()
    ours.close()


def test_a_lock_that_is_given_back_in_time_is_waited_for(tmp_path: Path) -> None:
    path = tmp_path / "x.db"
    ours = open_native(path)
    ours.executescript(SETUP)
    holding, waiting = threading.Event(), threading.Event()

    def hold() -> None:
        holder = sqlite3.connect(path, isolation_level=None)
        holder.execute("BEGIN IMMEDIATE")
        holding.set()
        waiting.wait()
        holder.execute("INSERT INTO t VALUES (1)")
        holder.execute("COMMIT")
        holder.close()

    thread = threading.Thread(target=hold)
    thread.start()
    holding.wait()
    # From here on the holder needs the interpreter to finish, while we are inside the engine.
    waiting.set()
    ours.execute("INSERT INTO t VALUES (2)")
    ours.commit()
    thread.join()
    assert [tuple(row) for row in ours.execute("SELECT v FROM t")] == [(0,), (1,), (2,)]
    ours.close()


def test_a_lock_in_the_same_process_is_not_undone_by_opening_the_file_again(tmp_path: Path) -> None:
    # Closing any descriptor of a file drops the locks on it: the engine must know of every one.
    path = tmp_path / "x.db"
    ours = open_native(path)
    ours.executescript(SETUP)
    ours.execute("INSERT INTO t VALUES (1)")
    for open_one in (open_native, open_python, open_native):
        other = open_one(path)
        other.execute("SELECT * FROM t").fetchall()
        other.close()
    rival = sqlite3.connect(path, timeout=0)
    with pytest.raises(sqlite3.OperationalError, match=r"^database is locked$"):
        rival.execute("INSERT INTO t VALUES (2)")
    rival.close()
    ours.close()
