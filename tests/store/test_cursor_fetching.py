"""Fetching by one, by many, all, and by iteration, beside Python's cursor."""

from __future__ import annotations

import sqlite3
from typing import Any

import pytest

from support.sql_cases import assert_alike, id_of, open_native

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3), (4), (5);"
SELECT = "SELECT v FROM t"


class WithIndex:
    def __index__(self) -> int:
        return 2


# fmt: off
SIZES = [
    0, 1, 2, 4, 5, 6, 100, -1, -5, True, False, 2**31 - 1, 2**31, 2**32, 2**63, 2**64,
    -(2**31) - 1, 1.0, 2.5, "2", None, b"2", [], WithIndex(),
]
# fmt: on


@pytest.mark.parametrize("size", SIZES, ids=id_of)
def test_fetchmany_of_any_size(size: Any) -> None:
    assert_alike(lambda c: c.execute(SELECT).fetchmany(size), setup=SETUP)
    assert_alike(lambda c: c.execute(SELECT).fetchmany(size=size), setup=SETUP)
    assert_alike(
        lambda c: (cursor := c.execute(SELECT), cursor.fetchmany(size), cursor.fetchall())[1:],
        setup=SETUP,
    )


@pytest.mark.parametrize("size", SIZES, ids=id_of)
def test_an_arraysize_of_any_value(size: Any) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.execute(SELECT)
        before = cursor.arraysize
        try:
            cursor.arraysize = size
        finally:
            after = cursor.arraysize
        return before, after, cursor.fetchmany(), cursor.fetchall()

    assert_alike(steps, setup=SETUP)


def test_fetchmany_takes_one_size_at_most() -> None:
    for given, named in (((1, 2), {}), ((), {"sizes": 1}), ((1,), {"size": 2})):
        connection = open_native()
        with pytest.raises(TypeError):
            connection.execute("SELECT 1").fetchmany(*given, **named)
        connection.close()


def test_fetchmany_takes_it_by_keyword() -> None:
    assert_alike(lambda c: c.execute(SELECT).fetchmany(size=3), setup=SETUP)


MIXES = [
    ["fetchone"] * 7,
    ["fetchmany"] * 7,
    ["fetchall"] * 3,
    ["next"] * 7,
    ["fetchone", "fetchmany", "next", "fetchall", "fetchone", "next", "fetchmany", "fetchall"],
    ["iter", "fetchone", "iter"],
    ["fetchone", "list", "list", "fetchone"],
    ["fetchall", "fetchone", "fetchmany", "next", "list"],
]


@pytest.mark.parametrize("mix", MIXES, ids=" ".join)
@pytest.mark.parametrize(
    "sql",
    [
        SELECT,
        "SELECT v FROM t WHERE 0",
        "DELETE FROM t WHERE v > 3 RETURNING v",
        "INSERT INTO t VALUES (6)",
        "PRAGMA table_info(t)",
        "CREATE TABLE u (x)",
        "-- nothing",
        "EXPLAIN SELECT 1",
        None,
    ],
)
def test_a_mix_of_fetches(sql: str | None, mix: list[str]) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        if sql is not None:
            cursor.execute(sql)
        seen: list[Any] = []
        for verb in mix:
            if verb == "next":
                seen.append(next(cursor, "no more"))
            elif verb == "iter":
                seen.append(iter(cursor) is cursor)
            elif verb == "list":
                seen.append(list(cursor))
            else:
                seen.append(getattr(cursor, verb)())
            seen.append((cursor.rowcount, cursor.description, cursor.lastrowid))
        return seen

    assert_alike(steps, setup=SETUP)


def test_an_error_among_the_rows_comes_when_it_is_reached() -> None:
    failing = "SELECT abs(CASE v WHEN 3 THEN -9223372036854775808 ELSE v END) FROM t"
    for first in ("fetchone", "fetchmany", "fetchall", "__next__"):

        def steps(connection: Any, first: str = first) -> Any:
            cursor = connection.execute(failing)
            seen: list[Any] = []
            for verb in (first, "fetchone", "fetchone", "fetchall", "fetchone"):
                try:
                    seen.append(getattr(cursor, verb)())
                except sqlite3.Error as error:
                    seen.append((type(error).__name__, str(error), error.sqlite_errorname))
            return seen, cursor

        assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize(
    "text",
    [
        "CAST(x'ff' AS TEXT)",
        "CAST(x'61ff62' AS TEXT)",
        "CAST(x'eda080' AS TEXT)",
        "CAST(x'c3' AS TEXT)",
    ],
)
def test_a_text_that_is_no_utf8_fails_where_it_is_read(text: str) -> None:
    sql = f"SELECT v, CASE v WHEN 3 THEN {text} ELSE 'fine' END AS word FROM t"
    for verb in ("fetchone", "fetchmany", "fetchall", "__next__"):

        def steps(connection: Any, verb: str = verb) -> Any:
            cursor = connection.execute(sql)
            seen: list[Any] = []
            for _ in range(6):
                try:
                    seen.append(getattr(cursor, verb)())
                except (sqlite3.Error, UnicodeError, StopIteration) as error:
                    seen.append((type(error).__name__, str(error)))
            return seen

        assert_alike(steps, setup=SETUP)


def test_a_text_that_is_no_utf8_as_the_name_of_a_column() -> None:
    def steps(connection: Any) -> Any:
        connection.execute("PRAGMA writable_schema = ON")
        return connection.execute('SELECT 1 AS "caf\u00e9", 2 AS "\U0001f600"').fetchall()

    assert_alike(steps)


def test_rows_changed_while_they_are_read() -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.execute("SELECT rowid, v FROM t")
        seen = []
        for row in cursor:
            seen.append(row["v"])
            if len(seen) < 20 and row["v"] < 8:
                connection.execute("INSERT INTO t VALUES (?)", (row["v"] + 5,))
        return seen, connection.total_changes

    assert_alike(steps, setup=SETUP)


def test_a_new_statement_on_a_cursor_with_rows_left() -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.execute(SELECT)
        first = cursor.fetchone()
        cursor.execute("SELECT 'other' AS word")
        second = cursor.fetchall()
        try:
            cursor.execute("nonsense")
        except sqlite3.Error:
            pass
        return first, second, cursor.fetchall(), cursor

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("count", [0, 1, 99, 1000, 20_000])
def test_many_rows_of_every_kind(count: int) -> None:
    sql = (
        "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < ?) "
        "SELECT n, n * 0.1 AS r, printf('%d é', n) AS s, CAST(n AS BLOB) AS b, NULL AS z FROM c"
    )
    assert_alike(lambda c: [tuple(row) for row in c.execute(sql, (count,))])
    assert_alike(lambda c: [tuple(row) for row in c.execute(sql, (count,)).fetchall()])
    assert_alike(lambda c: [tuple(row) for row in c.execute(sql, (count,)).fetchmany(count // 2)])


@pytest.mark.parametrize("size", [0, 1, 1000, 1 << 20, 3 << 20])
def test_large_texts_and_blobs(size: int) -> None:
    def steps(connection: Any) -> Any:
        rows = connection.execute(
            "SELECT ?, ?, 'end' UNION ALL SELECT ?, ?, 'end'", ("é" * size, b"\0" * size) * 2
        ).fetchall()
        return [(len(row[0]), len(row[1]), row[2], row[0][-5:], row[1][-5:]) for row in rows]

    assert_alike(steps)
