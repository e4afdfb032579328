"""Fetching by one, by many, all, and by iteration, beside Python's cursor."""

from __future__ import annotations

import pytest

from support.alike import alike
from support.answering import answering
from support.sql_cases import assert_alike, id_of, open_native, outcome
from support.values import error_of

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3), (4), (5);"
SELECT = "SELECT v FROM t"
FETCHES = ("fetchone", "fetchmany", "fetchall", "__next__")


# fmt: off
SIZES = [
    0, 1, 2, 3, 4, 5, 6, 100, -1, -5, True, False, 2**31 - 1, 2**31, 2**32, 2**63, 2**64,
    -(2**31) - 1, 1.0, 2.5, "2", None, b"2", [], answering(object, __index__=2),
]
# fmt: on


@pytest.mark.parametrize("size", SIZES, ids=id_of)
@alike(SETUP)
def test_fetchmany_of_any_size(connection, size):
    by_name = outcome(lambda: connection.execute(SELECT).fetchmany(size=size))
    cursor = connection.execute(SELECT)
    return by_name, outcome(cursor.fetchmany, size), cursor.fetchall()


@pytest.mark.parametrize("size", SIZES, ids=id_of)
@alike(SETUP)
def test_an_arraysize_of_any_value(connection, size):
    cursor = connection.execute(SELECT)
    before, result = cursor.arraysize, outcome(setattr, cursor, "arraysize", size)
    return before, result, cursor.arraysize, cursor.fetchmany(), cursor.fetchall()


def test_fetchmany_takes_one_size_at_most():
    for given, named in (((1, 2), {}), ((), {"sizes": 1}), ((1,), {"size": 2})):
        connection = open_native()
        error = error_of(connection.execute("SELECT 1").fetchmany, *given, **named)
        assert type(error) is TypeError
        connection.close()


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
STATEMENTS = [
    SELECT,
    "SELECT v FROM t WHERE 0",
    "DELETE FROM t WHERE v > 3 RETURNING v",
    "INSERT INTO t VALUES (6)",
    "PRAGMA table_info(t)",
    "CREATE TABLE u (x)",
    "-- nothing",
    "EXPLAIN SELECT 1",
    None,
]


@pytest.mark.parametrize("mix", MIXES, ids=" ".join)
@pytest.mark.parametrize("sql", STATEMENTS)
@alike(SETUP)
def test_a_mix_of_fetches(connection, sql, mix):
    cursor = connection.cursor()
    if sql is not None:
        cursor.execute(sql)
    verbs = {
        "next": lambda: next(cursor, "no more"),
        "iter": lambda: iter(cursor) is cursor,
        "list": lambda: list(cursor),
    }
    return [
        (verbs.get(verb) or getattr(cursor, verb))()
        if number % 2 == 0
        else (cursor.rowcount, cursor.description, cursor.lastrowid)
        for verb in mix
        for number in range(2)
    ]


FAILING = {
    "an error of a function": "abs(CASE v WHEN 3 THEN -9223372036854775808 ELSE v END)",
    **{
        f"text x'{data}'": f"CASE v WHEN 3 THEN CAST(x'{data}' AS TEXT) ELSE 'fine' END"
        for data in ("ff", "61ff62", "eda080", "c3")
    },
}


@pytest.mark.parametrize("failing", FAILING)
@pytest.mark.parametrize("first", FETCHES)
@pytest.mark.parametrize("then", [FETCHES[:1] * 5, FETCHES * 2, None])
@alike(SETUP)
def test_a_row_that_cannot_be_read_fails_where_it_is_reached(connection, then, first, failing):
    cursor = connection.execute(f"SELECT v, {FAILING[failing]} AS word FROM t")
    verbs = (first, *(then or (first,) * 5))
    return [outcome(getattr(cursor, verb)) for verb in verbs], cursor


@alike(SETUP)
def test_rows_changed_while_they_are_read(connection):
    seen = []
    for row in connection.execute("SELECT rowid, v FROM t"):
        seen.append(row["v"])
        if len(seen) < 20 and row["v"] < 8:
            connection.execute("INSERT INTO t VALUES (?)", (row["v"] + 5,))
    return seen, connection.total_changes


@alike(SETUP)
def test_a_new_statement_on_a_cursor_with_rows_left(connection):
    cursor = connection.execute(SELECT)
    first = cursor.fetchone()
    cursor.execute("SELECT 'other' AS word")
    second = cursor.fetchall()
    failed = outcome(cursor.execute, "nonsense")
    return first, second, failed, cursor.fetchall(), cursor


@pytest.mark.parametrize("count", [0, 1, 99, 1000, pytest.param(20_000, marks=pytest.mark.slow)])
def test_many_rows_of_every_kind(count):
    sql = (
        "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < ?) "
        "SELECT n, n * 0.1 AS r, printf('%d é', n) AS s, CAST(n AS BLOB) AS b, NULL AS z FROM c"
    )
    fetches = (list, lambda c: c.fetchall(), lambda c: c.fetchmany(count // 2))
    for fetch in fetches:
        assert_alike(lambda c, fetch: list(map(tuple, fetch(c.execute(sql, (count,))))), fetch)


@pytest.mark.parametrize("size", [0, 1, 1000, 1 << 20, 3 << 20])
@alike()
def test_large_texts_and_blobs(connection, size):
    rows = connection.execute(
        "SELECT ?, ?, 'end' UNION ALL SELECT ?, ?, 'end'", ("é" * size, b"\0" * size) * 2
    ).fetchall()
    return [(len(row[0]), len(row[1]), row[2], row[0][-5:], row[1][-5:]) for row in rows]
