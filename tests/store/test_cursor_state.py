"""What a cursor tells about its statement: description, rowcount, lastrowid, and the rest."""

from __future__ import annotations

import sqlite3
from typing import Any

import pytest

from support.sql_cases import assert_alike, describe_error, open_native

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
# fmt: on


@pytest.mark.parametrize("sql", NAMED, ids=ascii)
def test_the_description_before_and_after_fetching(sql: str) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        seen = [cursor.description]
        cursor.execute(sql)
        seen.append(cursor.description)
        cursor.fetchall()
        seen.append(cursor.description)
        cursor.execute("SELECT 1 AS next")
        seen.append(cursor.description)
        cursor.executemany("DELETE FROM t WHERE id = ?", [])
        seen.append(cursor.description)
        return seen

    assert_alike(steps, setup=SETUP)


# fmt: off
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


@pytest.mark.parametrize("sql", CHANGES, ids=ascii)
def test_counts_and_row_ids_after_each_kind_of_statement(sql: str) -> None:
    def look(connection: Any, cursor: Any) -> Any:
        return (
            cursor.rowcount,
            cursor.lastrowid,
            connection.total_changes,
            connection.in_transaction,
        )

    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        seen = [look(connection, cursor)]
        for before in (None, "INSERT INTO t (v) VALUES ('before')", "SELECT 1"):
            if before:
                try:
                    cursor.execute(before)
                except sqlite3.Error as error:
                    seen.append(str(error))
                seen.append(look(connection, cursor))
            try:
                cursor.execute(sql)
                seen.append(look(connection, cursor))
                seen.append(cursor.fetchone())
                seen.append(look(connection, cursor))
                seen.append(cursor.fetchall())
            except sqlite3.Error as error:
                seen.append((type(error).__name__, str(error)))
            seen.append(look(connection, cursor))
        return seen

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize(
    "rows",
    [[], [("c",)], [("c",), ("d",), ("e",)], [("c",), ("a",)], [("c",), (object(),)], [("c",), ()]],
    ids=range(6),
)
def test_counts_and_row_ids_after_executemany(rows: list) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        seen: list[Any] = []
        for sql in (
            "INSERT INTO t (v) VALUES (?)",
            "UPDATE t SET v = ? WHERE id = 1",
            "INSERT INTO t (v) VALUES (?) RETURNING id",
        ):
            try:
                cursor.executemany(sql, rows)
                seen.append(cursor.fetchall())
            except sqlite3.Error as error:
                seen.append(describe_error(error)["text"])
            seen.append((cursor.rowcount, cursor.lastrowid, connection.total_changes))
            connection.rollback()
        return seen

    assert_alike(steps, setup=SETUP)


def test_a_new_cursor() -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        return cursor, cursor.connection is connection, cursor.row_factory is connection.row_factory

    assert_alike(steps)


@pytest.mark.parametrize("name", ["description", "lastrowid", "rowcount", "connection"])
def test_what_a_cursor_tells_cannot_be_set(name: str) -> None:
    connection = open_native()
    cursor = connection.execute("SELECT 1 AS a")
    with pytest.raises((AttributeError, TypeError)):
        setattr(cursor, name, 5)
    with pytest.raises((AttributeError, TypeError)):
        delattr(cursor, name)
    connection.close()


def test_sizes_are_taken_and_ignored() -> None:
    for call in (
        lambda cursor: cursor.setinputsizes([3, 4, 5]),
        lambda cursor: cursor.setinputsizes(None),
        lambda cursor: cursor.setoutputsize(5),
        lambda cursor: cursor.setoutputsize(5, 0),
        lambda cursor: cursor.setoutputsize("any", object()),
    ):
        assert_alike(lambda c, call: call(c.cursor()), call)
    for call in (
        lambda cursor: cursor.setinputsizes(),
        lambda cursor: cursor.setinputsizes(1, 2),
        lambda cursor: cursor.setoutputsize(),
        lambda cursor: cursor.setoutputsize(1, 2, 3),
    ):
        connection = open_native()
        with pytest.raises(TypeError):
            call(connection.cursor())
        connection.close()


def test_the_methods_of_a_cursor_give_the_cursor() -> None:
    connection = open_native()
    cursor = connection.cursor()
    assert cursor.execute("CREATE TABLE t (x)") is cursor
    assert cursor.executemany("INSERT INTO t VALUES (?)", [(1,)]) is cursor
    assert cursor.executescript("SELECT 1") is cursor
    assert iter(cursor) is cursor
    assert connection.execute("SELECT 1") is not connection.execute("SELECT 1")
    connection.close()


def test_a_cursor_can_be_closed_again_and_again() -> None:
    assert_alike(lambda c: (cursor := c.execute("SELECT 1"), cursor.close(), cursor.close())[1:])


def test_a_cursor_is_no_context_manager() -> None:
    connection = open_native()
    assert not hasattr(connection.cursor(), "__enter__")
    connection.close()


def test_a_description_is_made_of_seven_fields() -> None:
    connection = open_native()
    cursor = connection.execute("SELECT 1 AS a, 2 AS b")
    assert cursor.description == (("a",) + (None,) * 6, ("b",) + (None,) * 6)
    assert type(cursor.description) is tuple
    connection.close()
