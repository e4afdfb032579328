"""Any sequence of steps on one connection gives, step by step, what Python's connection gives."""

from __future__ import annotations

import sqlite3
from typing import Any

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support.sql_cases import Session, assert_sessions_alike, open_native, open_python

SETUP = """
CREATE TABLE t (id INTEGER PRIMARY KEY, v UNIQUE);
INSERT INTO t (v) VALUES ('a'), ('b'), ('c');
"""

# fmt: off
WITHOUT_VALUES = (
    "SELECT * FROM t", "SELECT v FROM t ORDER BY v DESC", "SELECT 1 AS a, 2 AS a",
    "SELECT 1 WHERE 0", "BEGIN", "COMMIT", "ROLLBACK", "SAVEPOINT s",
    "ROLLBACK TO s", "RELEASE s", "DELETE FROM t", "UPDATE t SET v = v || 'x'",
    "DELETE FROM t WHERE id > 2 RETURNING id", "CREATE TABLE IF NOT EXISTS u (x)",
    "DROP TABLE IF EXISTS u", "DROP TABLE t",
    "CREATE TABLE IF NOT EXISTS t (id INTEGER PRIMARY KEY, v UNIQUE)",
    "INSERT INTO t (v) VALUES ('a')", "INSERT OR REPLACE INTO t (v) VALUES ('a')", "nonsense",
    "SELECT 1; SELECT 2", "PRAGMA user_version", "PRAGMA user_version = 3",
    "ALTER TABLE t ADD COLUMN extra", "VACUUM", "SELECT abs('x'), abs()",
)
WITH_ONE = (
    "INSERT INTO t (v) VALUES (?)", "INSERT INTO t (v) VALUES (?) RETURNING id, v",
    "SELECT * FROM t WHERE id > ?", "UPDATE t SET v = ?", "DELETE FROM t WHERE id = ?",
    "INSERT OR IGNORE INTO t (id, v) VALUES (1, ?)", "SELECT ?", "REPLACE INTO t (v) VALUES (?1)",
    "SELECT :a", "WITH c AS (SELECT ? AS x) SELECT x FROM c",
)
# fmt: on

# Reading statements are refused, here with texts of their own: Python would reset the cursors that
# share them.
MANY = [sql for sql in WITH_ONE if sql.split()[0] in ("INSERT", "UPDATE", "DELETE", "REPLACE")]
MANY += ["SELECT 1, ?", "SELECT 1, 1", "PRAGMA table_info(t)"]

places = st.integers(0, 3)
values = st.one_of(
    st.none(),
    st.integers(-3, 5),
    st.sampled_from(["a", "b", "new", "\ud800", b"\xff", 2**63, 1.5, [], object]),
)
rows = st.one_of(
    values.map(lambda value: (value,)), values.map(lambda value: {"a": value}), st.just(()), values
)
anywhere = st.sampled_from(WITHOUT_VALUES)
with_one = st.sampled_from(WITH_ONE)
levels = st.sampled_from(["", "IMMEDIATE", "exclusive", None, "bad", 1])
factories = st.sampled_from([None, sqlite3.Row, lambda cursor, row: list(row)])
fetches = st.sampled_from(["fetchone", "fetchall", "fetchmany", "close"])
endings = st.sampled_from(["commit", "rollback", "__enter__"])
scripts = st.lists(anywhere, max_size=3).map(";\n".join)
many = st.sampled_from(MANY)


def step(verb: str, *given: Any) -> st.SearchStrategy[tuple[Any, ...]]:
    """What is no strategy is given as it is."""
    parts = (verb, *given)
    return st.tuples(*(p if isinstance(p, st.SearchStrategy) else st.just(p) for p in parts))


steps = st.one_of(
    step("execute", places, anywhere),
    step("execute", places, with_one, rows),
    step("on_cursor", places, "execute", anywhere),
    step("on_cursor", places, "execute", with_one, rows),
    step("executemany", places, many, st.lists(rows, max_size=3)),
    step("executescript", places, scripts),
    step("cursor", places),
    step("on_cursor", places, fetches),
    step("on_cursor", places, "fetchmany", st.integers(-1, 4)),
    step("set_on_cursor", places, "arraysize", st.integers(0, 3)),
    step("next", places),
    step("drop", places),
    step("on_connection", 0, endings),
    step("on_connection", 0, "__exit__", None, None, None),
    step("set", 0, "isolation_level", levels),
    step("set", 0, "row_factory", factories),
)


def session(connection: Any) -> Session:
    connection.executescript(SETUP)
    return Session([connection])


@pytest.mark.slow
@given(st.lists(steps, max_size=20))
@settings(max_examples=600, deadline=None)
def test_any_steps_on_one_connection(plan: list) -> None:
    assert_sessions_alike(plan, session(open_native()), session(open_python()))
