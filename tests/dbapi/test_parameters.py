"""Values bound to placeholders: types, counts, names and errors, beside Python's connection."""

from __future__ import annotations

import array
import collections
import datetime
import decimal
import enum
import sys
import types
from typing import Any

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support.alike import alike
from support.answering import answering
from support.sql_cases import assert_alike, id_of


class Side(enum.IntEnum):
    FRONT = 7


class Word(enum.StrEnum):
    HELLO = "hello"


# fmt: off
VALUES: list[Any] = [
    None, True, False, 0, 1, -1, 2**31, 2**63 - 1, -(2**63), 2**63, -(2**63) - 1, 10**30, 0.0,
    -0.0, 1.5, 1e308, 5e-324, float("inf"), float("-inf"), float("nan"), "", "x", "é☃\U0001f600",
    "a\0b", "\0", "\ud800", "a\udfffb", "x" * 100_000, b"", b"\0\xff", bytearray(b"ab"),
    memoryview(b"abc"), memoryview(b"abcdef")[::2], bytearray(), array.array("i", [1, 2]),
    array.array("d"), memoryview(array.array("H", [1, 2, 3])), answering(int, 5),
    answering(float, 2.5), answering(str, "sub"), answering(bytes, b"sub"),
    answering(int, 5, __index__=99, __int__=99), answering(int, 2**63), Side.FRONT, Word.HELLO,
    answering(str, "\ud800"), [], [1], (), (1,), {}, {"a": 1}, {1}, object(), int, 1j, ...,
    range(2), iter([]), lambda: None, decimal.Decimal("1.5"), answering(object, __index__=1),
    answering(object, __float__=1.0),
    types.SimpleNamespace(), collections.deque(), datetime.date(2024, 5, 1),
    datetime.datetime(2024, 5, 1, 14, 3, 27, 512034), datetime.time(1, 2),
]
# fmt: on


@pytest.mark.parametrize("value", VALUES, ids=id_of)
def test_a_value_of_any_type(value):
    for sql, bound in (
        ("SELECT ? AS v, typeof(?) AS t", (value, value)),
        ("SELECT ? AS v, typeof(?) AS t", [value, value]),
        ("SELECT :v AS v, typeof(:v) AS t", {"v": value}),
        ("SELECT ?1, ?1", (value,)),
        ("SELECT 1, ?, ?", (1, value)),
    ):
        assert_alike(lambda c, sql, bound: c.execute(sql, bound).fetchall(), sql, bound)
    assert_alike(
        lambda c: c.executemany("INSERT INTO t VALUES (?)", [(1,), (value,), (3,)]),
        setup="CREATE TABLE t (v)",
    )
    assert_alike(
        lambda c: c.execute("INSERT INTO t VALUES (?, ?, ?, ?)", (value,) * 4),
        setup="CREATE TABLE t (a TEXT, b INTEGER, c REAL, d BLOB)",
    )


plain_values = st.one_of(
    st.none(),
    st.booleans(),
    st.integers(-(2**65), 2**65),
    st.floats(),
    st.text(st.characters(exclude_categories=()), max_size=10),
    st.binary(max_size=10),
)


@pytest.mark.slow
@given(st.lists(plain_values, max_size=5), st.integers(0, 5))
@settings(max_examples=300, deadline=None)
def test_any_row_of_plain_values_and_any_number_of_placeholders(values: list, count: int) -> None:
    sql = "SELECT 1" + ", ?" * count
    assert_alike(lambda c: c.execute(sql, values).fetchall())
    assert_alike(lambda c: c.execute(sql, tuple(values)).fetchall())


@pytest.mark.parametrize("count", [999, 32766, 250_000])
@pytest.mark.parametrize("extra", [-1, 0, 1])
@alike()
def test_as_many_values_as_the_engine_takes(connection, count, extra):
    sql = "SELECT 1 WHERE 0 IN (" + ",".join("?" * count) + ")"
    return connection.execute(sql, [1] * (count + extra)).fetchall()


@pytest.mark.parametrize("place", ["250000", "250001", "0", "x"])
@alike()
def test_a_placeholder_beyond_the_engines_limit(connection, place):
    return connection.execute(f"SELECT ?{place}", ()).fetchall()


@alike("CREATE TABLE t (a, b, c, d, e, f)")
def test_a_value_keeps_no_reference_after_the_statement_is_done(connection):
    # fmt: off
    values = [
        "text " * 10, b"bytes " * 10, answering(str, "subclass " * 10), 10**12, 1.25e10,
        bytearray(b"x" * 50),
    ]
    # fmt: on
    before = [sys.getrefcount(value) for value in values]
    connection.execute("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?)", values)
    connection.executemany("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?)", [values, values])
    assert [sys.getrefcount(value) for value in values] == before


@alike()
def test_a_changed_buffer_does_not_change_what_was_bound(connection):
    buffer = bytearray(b"before")
    cursor = connection.execute("SELECT ? UNION ALL SELECT ?", (buffer, buffer))
    buffer[:] = b"after!"
    return cursor.fetchall()
