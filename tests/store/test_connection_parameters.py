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
from support.sql_cases import assert_alike


class PlainInt(int):
    pass


class PlainFloat(float):
    pass


class PlainText(str):
    pass


class PlainBytes(bytes):
    pass


class SpelledInt(int):
    def __index__(self) -> int:
        return 99

    __int__ = __index__


class Side(enum.IntEnum):
    FRONT = 7


class Word(enum.StrEnum):
    HELLO = "hello"


class WithIndex:
    def __index__(self) -> int:
        return 1


class WithFloat:
    def __float__(self) -> float:
        return 1.0


VALUES: list[Any] = [
    *(None, True, False, 0, 1, -1, 2**31, 2**63 - 1, -(2**63), 2**63, -(2**63) - 1, 10**30),
    *(0.0, -0.0, 1.5, 1e308, 5e-324, float("inf"), float("-inf"), float("nan")),
    *("", "x", "é☃\U0001f600", "a\0b", "\0", "\ud800", "a\udfffb", "x" * 100_000),
    *(b"", b"\0\xff", bytearray(b"ab"), memoryview(b"abc"), memoryview(b"abcdef")[::2], bytearray()),
    *(array.array("i", [1, 2]), array.array("d"), memoryview(array.array("H", [1, 2, 3]))),
    *(PlainInt(5), PlainFloat(2.5), PlainText("sub"), PlainBytes(b"sub"), SpelledInt(5), PlainInt(2**63)),
    *(Side.FRONT, Word.HELLO, PlainText("\ud800")),
    *([], [1], (), (1,), {}, {"a": 1}, {1}, object(), int, 1j, ..., range(2), iter([]), lambda: None),
    *(decimal.Decimal("1.5"), WithIndex(), WithFloat(), types.SimpleNamespace(), collections.deque()),
    *(datetime.date(2024, 5, 1), datetime.datetime(2024, 5, 1, 14, 3, 27, 512034), datetime.time(1, 2)),
]


def name_of(value: Any) -> str:
    return f"{type(value).__name__}-{ascii(value)[:20]}"


@pytest.mark.parametrize("value", VALUES, ids=name_of)
def test_a_value_of_any_type(value: Any) -> None:
    read = "SELECT ? AS v, typeof(?) AS t"
    assert_alike(lambda c: c.execute(read, (value, value)).fetchall())
    assert_alike(lambda c: c.execute(read, [value, value]).fetchall())
    assert_alike(lambda c: c.execute("SELECT :v AS v, typeof(:v) AS t", {"v": value}).fetchall())
    assert_alike(lambda c: c.execute("SELECT ?1, ?1", (value,)).fetchall())
    assert_alike(lambda c: c.execute("SELECT 1, ?, ?", (1, value)).fetchall())
    assert_alike(lambda c: c.executemany("INSERT INTO t VALUES (?)", [(1,), (value,), (3,)]), setup="CREATE TABLE t (v)")
    assert_alike(
        lambda c: c.execute("INSERT INTO t VALUES (?, ?, ?, ?)", (value,) * 4),
        setup="CREATE TABLE t (a TEXT, b INTEGER, c REAL, d BLOB)",
    )


@given(
    st.lists(
        st.one_of(
            st.none(),
            st.booleans(),
            st.integers(-(2**65), 2**65),
            st.floats(),
            st.text(st.characters(exclude_categories=()), max_size=10),
            st.binary(max_size=10),
        ),
        max_size=5,
    ),
    st.integers(0, 5),
)
@settings(max_examples=300, deadline=None)
def test_any_row_of_plain_values_and_any_number_of_placeholders(values: list, count: int) -> None:
    sql = "SELECT 1" + ", ?" * count
    assert_alike(lambda c: c.execute(sql, values).fetchall())
    assert_alike(lambda c: c.execute(sql, tuple(values)).fetchall())


class Sequence:
    """The sequence protocol and nothing more."""

    def __init__(self, *held: Any) -> None:
        self.held = held

    def __len__(self) -> int:
        return len(self.held)

    def __getitem__(self, index: int) -> Any:
        return self.held[index]


class SizeFails(Sequence):
    def __len__(self) -> int:
        raise LookupError("size asked")


class SizeNegative(Sequence):
    def __len__(self) -> int:
        return -1


class ItemFails(Sequence):
    def __getitem__(self, index: int) -> Any:
        raise LookupError("item asked")


class ItemEnds(Sequence):
    def __getitem__(self, index: int) -> Any:
        raise IndexError("no such item")


class SizeOnly:
    def __len__(self) -> int:
        return 1


class ListWithOtherItems(list):
    def __getitem__(self, index: Any) -> Any:
        return "item"

    def __len__(self) -> int:
        return 1

    def __iter__(self) -> Any:
        raise LookupError("iterated")


class TupleWithOtherItems(tuple):
    __slots__ = ()

    def __getitem__(self, index: Any) -> Any:
        return "item"

    def __len__(self) -> int:
        return 1


class Names:
    """A mapping that is no dict."""

    def __init__(self, answer: Any) -> None:
        self.answer = answer

    def __getitem__(self, name: str) -> Any:
        if isinstance(self.answer, BaseException):
            raise self.answer
        return self.answer

    def keys(self) -> Any:
        raise LookupError("keys asked")


class Missing(dict):
    def __missing__(self, key: str) -> Any:
        return f"missing {key}"


class DictWithOtherItems(dict):
    def __getitem__(self, key: str) -> Any:
        return "item"


CONTAINERS: list[Any] = [
    *((), [], (1,), [1], (1, 2), [1, 2], (1, 2, 3), "", "a", "ab", b"a", b"ab", bytearray(b"ab"), range(2)),
    *(None, 0, 1, True, 1.5, object, ..., {1}, frozenset((1, 2)), iter([1, 2]), (n for n in (1, 2))),
    *({}, {"a": 1}, {"a": 1, "b": 2}, {"b": 2, "a": 1, "c": 3}, {"A": 1, "B": 2}, {1: 1, 2: 2}),
    *({"a": [], "b": 1}, {"a": 1, "b": object()}, {"": 1}, {":a": 1, ":b": 2}, {"?1": 1, "1": 2}),
    *(Sequence(), Sequence(1), Sequence(1, 2), SizeFails(1), SizeNegative(1), ItemFails(1, 2), ItemEnds(1, 2)),
    *(SizeOnly(), ListWithOtherItems([1, 2]), TupleWithOtherItems((1, 2)), ListWithOtherItems()),
    *(Names(1), Names(KeyError("k")), Names(LookupError("l")), Names(ZeroDivisionError("z")), Names([])),
    *(Missing(a=1), DictWithOtherItems(a=1), collections.OrderedDict(a=1, b=2), types.MappingProxyType({"a": 1, "b": 2})),
    *(collections.UserDict(a=1, b=2), collections.ChainMap({"a": 1}, {"b": 2}), collections.UserList([1, 2])),
    *(collections.deque([1, 2]), collections.namedtuple("P", "a b")(1, 2), array.array("i", [1, 2]), memoryview(b"ab")),
]
PLACEHOLDERS = [
    "SELECT 1",
    "SELECT ?, ?",
    "SELECT ?2, ?1",
    "SELECT ?2",
    "SELECT :a, :b",
    "SELECT @a, $b",
    "SELECT :a, :a",
    "SELECT ?, :a",
    "SELECT :a, ?",
    "SELECT ?1, :a",
    "SELECT $a(x), :b",
    "SELECT :\u00e9, :b",
]


@pytest.mark.parametrize("container", CONTAINERS, ids=name_of)
@pytest.mark.parametrize("sql", PLACEHOLDERS, ids=ascii)
def test_any_container_of_values(sql: str, container: Any) -> None:
    # An iterator would be empty for the second side.
    exhaustible = hasattr(container, "__next__")
    assert_alike(lambda c: c.execute(sql, iter([1, 2]) if exhaustible else container).fetchall())


@pytest.mark.parametrize("container", CONTAINERS, ids=name_of)
def test_any_container_as_a_row_of_executemany(container: Any) -> None:
    if hasattr(container, "__next__"):
        return
    setup = "CREATE TABLE t (a, b)"
    for sql in ("INSERT INTO t VALUES (?, ?)", "INSERT INTO t VALUES (:a, :b)"):
        assert_alike(lambda c, sql=sql: c.executemany(sql, [container]), setup=setup)
        assert_alike(lambda c, sql=sql: c.executemany(sql, [(1, 2), container]), setup=setup)


def rows_then_failure() -> Any:
    yield (1, 2)
    yield (3, 4)
    raise LookupError("no more rows")


class Iterable:
    def __iter__(self) -> Any:
        return iter([(1, 2)])


class BrokenIterable:
    def __iter__(self) -> Any:
        raise LookupError("iterated")


class NotAnIterator:
    def __iter__(self) -> Any:
        return 5


class EndsByIndex:
    def __getitem__(self, index: int) -> Any:
        if index > 2:
            raise IndexError
        return (index, index)


@pytest.mark.parametrize(
    "make",
    [
        lambda: [(1, 2), (3, 4)],
        lambda: ((n, n) for n in range(5)),
        lambda: iter([(1, 2)]),
        lambda: {(1, 2): 0},
        lambda: {"ab": 0},
        lambda: "ab",
        lambda: [[1], [1, 2]],
        lambda: [(1, 2), 5],
        lambda: [(1, 2), None],
        lambda: None,
        lambda: 5,
        lambda: object(),
        rows_then_failure,
        Iterable,
        BrokenIterable,
        NotAnIterator,
        EndsByIndex,
    ],
)
def test_any_source_of_rows_for_executemany(make: Any) -> None:
    def steps(connection: Any) -> Any:
        try:
            cursor = connection.executemany("INSERT INTO t VALUES (?, ?)", make())
        finally:
            stored = connection.execute("SELECT * FROM t").fetchall()
            stored.append(connection.in_transaction)
        return cursor, stored

    assert_alike(steps, setup="CREATE TABLE t (a, b)")


@pytest.mark.parametrize("extra", [-1, 0, 1])
def test_as_many_values_as_the_engine_takes(extra: int) -> None:
    for count in (999, 32766, 250_000):
        sql = "SELECT 1 WHERE 0 IN (" + ",".join("?" * count) + ")"
        assert_alike(lambda c, sql=sql, count=count: c.execute(sql, [1] * (count + extra)).fetchall())


def test_a_placeholder_beyond_the_engines_limit() -> None:
    for sql in ("SELECT ?250000", "SELECT ?250001", "SELECT ?0", "SELECT ?x"):
        assert_alike(lambda c, sql=sql: c.execute(sql, ()).fetchall())


def test_a_value_keeps_no_reference_after_the_statement_is_done() -> None:
    values = ["text " * 10, b"bytes " * 10, PlainText("subclass " * 10), 10**12, 1.25e10, bytearray(b"x" * 50)]
    before = [sys.getrefcount(value) for value in values]

    def steps(connection: Any) -> Any:
        connection.execute("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?)", values)
        connection.executemany("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?)", [values, values])

    assert_alike(steps, setup="CREATE TABLE t (a, b, c, d, e, f)")
    assert [sys.getrefcount(value) for value in values] == before


def test_a_changed_buffer_does_not_change_what_was_bound() -> None:
    def steps(connection: Any) -> Any:
        buffer = bytearray(b"before")
        cursor = connection.execute("SELECT ? UNION ALL SELECT ?", (buffer, buffer))
        buffer[:] = b"after!"
        return cursor.fetchall()

    assert_alike(steps)
