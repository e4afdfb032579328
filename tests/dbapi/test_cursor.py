"""What a cursor tells about its statement: description, rowcount, lastrowid, and the rest."""

from __future__ import annotations

import weakref
from typing import Any

import pytest

from support.alike import alike
from support.sql_cases import assert_alike, open_native, outcome
from support.values import error_of

SETUP = "CREATE TABLE t (id INTEGER PRIMARY KEY, v UNIQUE); INSERT INTO t (v) VALUES ('a'), ('b');"

# fmt: off
NAMED = (
    "SELECT 1", "SELECT 1 AS a", "SELECT 1 AS A, 2 AS a", "SELECT id, v FROM t",
    "SELECT t.id, t.v FROM t", "SELECT * FROM t", "SELECT count(*) FROM t",
    "SELECT id AS \"x [y]\" FROM t", "SELECT 1 AS \"[y]\"", "SELECT 1 AS \" \"",
    "SELECT 1 AS \"\"", "SELECT 1+1, 'a' || 'b'", "SELECT 1 AS 'é', 2 AS \"\U0001f600\"",
    "SELECT a.id, b.id FROM t a JOIN t b", "SELECT (SELECT 1)", "SELECT 1 WHERE 0",
    "INSERT INTO t (v) VALUES ('c') RETURNING id, v AS word", "UPDATE t SET v = v RETURNING *",
    "PRAGMA user_version", "PRAGMA table_info(t)", "INSERT INTO t (v) VALUES ('c')",
    "UPDATE t SET v = 'x' WHERE 0", "DELETE FROM t", "CREATE TABLE u (x)", "", "-- c", "BEGIN",
    "EXPLAIN SELECT 1", "EXPLAIN QUERY PLAN SELECT * FROM t",
    "WITH c AS (SELECT 1 AS one) SELECT * FROM c", "VALUES (1, 2)", "ATTACH ':memory:' AS m",
)
CHANGES = (
    "INSERT INTO t (v) VALUES ('c')", "INSERT INTO t (v) VALUES ('c'), ('d')",
    "INSERT INTO t (id, v) VALUES (100, 'c')", "INSERT OR IGNORE INTO t (v) VALUES ('a')",
    "INSERT OR REPLACE INTO t (v) VALUES ('a')", "REPLACE INTO t (id, v) VALUES (1, 'b')",
    "INSERT INTO t (v) VALUES ('a')", "UPDATE t SET v = v || 'x'", "UPDATE t SET v = 'z'",
    "DELETE FROM t", "DELETE FROM t WHERE 0", "SELECT * FROM t", "CREATE TABLE u (x)", "BEGIN",
    "PRAGMA user_version = 1", "", "INSERT INTO t (v) SELECT v || '2' FROM t",
    "INSERT INTO t (v) VALUES ('c') RETURNING id", "DELETE FROM t RETURNING id",
    "UPDATE t SET v = v RETURNING id",
    "WITH c AS (SELECT 'w' AS x) INSERT INTO t (v) SELECT x FROM c", "/* c */ DELETE FROM t",
    "-- c\nUPDATE t SET v = v", "EXPLAIN DELETE FROM t", "DROP TABLE t",
    "INSERT INTO missing VALUES (1)", "nonsense",
    "INSERT INTO t (id) VALUES (-9223372036854775808)",
)
# fmt: on


@pytest.mark.parametrize("sql", NAMED, ids=ascii)
@alike(SETUP)
def test_the_description_before_and_after_fetching(connection, sql):
    cursor = connection.cursor()
    seen = [cursor.description]
    for step in (
        lambda: cursor.execute(sql),
        lambda: cursor.fetchall(),
        lambda: cursor.execute("SELECT 1 AS next"),
        lambda: cursor.executemany("DELETE FROM t WHERE id = ?", []),
    ):
        step()
        seen.append(cursor.description)
    return seen


@pytest.mark.parametrize("sql", CHANGES, ids=ascii)
@alike(SETUP)
def test_counts_and_row_ids_after_each_kind_of_statement(connection, sql):
    cursor = connection.cursor()
    seen: list[Any] = []

    def look(call: Any, *given: Any) -> None:
        seen.append(outcome(call, *given))
        state = (cursor.rowcount, cursor.lastrowid, connection.total_changes)
        seen.append((*state, connection.in_transaction))

    for before in (None, "INSERT INTO t (v) VALUES ('before')", "SELECT 1"):
        if before:
            look(cursor.execute, before)
        look(cursor.execute, sql)
        look(cursor.fetchone)
        look(cursor.fetchall)
    return seen


ROWS: tuple[list, ...] = (
    [],
    [("c",)],
    [("c",), ("d",), ("e",)],
    [("c",), ("a",)],
    [("c",), (object(),)],
    [("c",), ()],
)


@pytest.mark.parametrize("rows", ROWS, ids=range(6))
@alike(SETUP)
def test_counts_and_row_ids_after_executemany(connection, rows):
    cursor = connection.cursor()
    seen: list[Any] = []
    for sql in (
        "INSERT INTO t (v) VALUES (?)",
        "UPDATE t SET v = ? WHERE id = 1",
        "INSERT INTO t (v) VALUES (?) RETURNING id",
    ):
        seen.append(outcome(lambda sql: cursor.executemany(sql, rows).fetchall(), sql))
        seen.append((cursor.rowcount, cursor.lastrowid, connection.total_changes))
        connection.rollback()
    return seen


@alike()
def test_a_new_cursor(connection):
    cursor = connection.cursor()
    return cursor, cursor.connection is connection, cursor.row_factory is connection.row_factory


@pytest.mark.parametrize("call", ["setinputsizes", "setoutputsize"])
def test_sizes_are_taken_and_ignored(call):
    taken: list[tuple] = [([3, 4, 5],), (None,)]
    refused: list[tuple] = [(), (1, 2)]
    if call == "setoutputsize":
        taken, refused = [(5,), (5, 0), ("any", object())], [(), (1, 2, 3)]
    for given in taken:
        assert_alike(lambda c, given: getattr(c.cursor(), call)(*given), given)
    connection = open_native()
    for given in refused:
        assert type(error_of(getattr(connection.cursor(), call), *given)) is TypeError
    connection.close()


def test_the_shape_of_a_cursor():
    connection = open_native()
    cursor = connection.cursor()
    assert cursor.execute("CREATE TABLE t (x)") is cursor
    assert cursor.executemany("INSERT INTO t VALUES (?)", [(1,)]) is cursor
    assert cursor.executescript("SELECT 1") is cursor
    assert iter(cursor) is cursor
    assert connection.execute("SELECT 1") is not connection.execute("SELECT 1")
    assert cursor.execute("SELECT 1 AS a, 2 AS b").description == (
        ("a",) + (None,) * 6,
        ("b",) + (None,) * 6,
    )
    assert type(cursor.description) is tuple
    assert not hasattr(cursor, "__enter__")
    for name in ("description", "lastrowid", "rowcount", "connection"):
        with pytest.raises((AttributeError, TypeError)):
            setattr(cursor, name, 5)
        with pytest.raises((AttributeError, TypeError)):
            delattr(cursor, name)
    seen = weakref.ref(cursor)
    assert seen() is cursor
    del cursor
    assert seen() is None
    connection.close()
