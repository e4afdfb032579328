"""What may hold the values of a statement: sequences, mappings and sources of rows."""

from __future__ import annotations

import array
import collections
import types
from typing import Any, NamedTuple

import pytest

from support.alike import alike
from support.sql_cases import assert_alike, id_of, outcome


class Point(NamedTuple):
    a: int
    b: int


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


# fmt: off
CONTAINERS: list[Any] = [
    (), [], (1,), [1], (1, 2), [1, 2], (1, 2, 3), "", "a", "ab", b"a", b"ab", bytearray(b"ab"),
    range(2), None, 0, 1, True, 1.5, object, ..., {1}, frozenset((1, 2)), iter([1, 2]),
    (n for n in (1, 2)), {}, {"a": 1}, {"a": 1, "b": 2}, {"b": 2, "a": 1, "c": 3},
    {"A": 1, "B": 2}, {1: 1, 2: 2}, {"a": [], "b": 1}, {"a": 1, "b": object()}, {"": 1},
    {":a": 1, ":b": 2}, {"?1": 1, "1": 2}, Sequence(), Sequence(1), Sequence(1, 2), SizeFails(1),
    SizeNegative(1), ItemFails(1, 2), ItemEnds(1, 2), SizeOnly(), ListWithOtherItems([1, 2]),
    TupleWithOtherItems((1, 2)), ListWithOtherItems(), Names(1), Names(KeyError("k")),
    Names(LookupError("l")), Names(ZeroDivisionError("z")), Names([]), Missing(a=1),
    DictWithOtherItems(a=1), collections.OrderedDict(a=1, b=2),
    types.MappingProxyType({"a": 1, "b": 2}), collections.UserDict(a=1, b=2),
    collections.ChainMap({"a": 1}, {"b": 2}), collections.UserList([1, 2]),
    collections.deque([1, 2]), Point(1, 2), array.array("i", [1, 2]), memoryview(b"ab"),
]
PLACEHOLDERS = [
    "SELECT 1", "SELECT ?, ?", "SELECT ?2, ?1", "SELECT ?2", "SELECT :a, :b", "SELECT @a, $b",
    "SELECT :a, :a", "SELECT ?, :a", "SELECT :a, ?", "SELECT ?1, :a", "SELECT $a(x), :b",
    "SELECT :\u00e9, :b",
]
# fmt: on


@pytest.mark.parametrize("container", CONTAINERS, ids=id_of)
@pytest.mark.parametrize("sql", PLACEHOLDERS, ids=ascii)
@alike()
def test_any_container_of_values(connection, sql, container):
    # An iterator would be empty for the second side.
    exhaustible = hasattr(container, "__next__")
    return connection.execute(sql, iter([1, 2]) if exhaustible else container).fetchall()


@pytest.mark.parametrize("container", CONTAINERS, ids=id_of)
@pytest.mark.parametrize("values", ["?, ?", ":a, :b"])
def test_any_container_as_a_row_of_executemany(values, container):
    if hasattr(container, "__next__"):
        return
    setup, sql = "CREATE TABLE t (a, b)", f"INSERT INTO t VALUES ({values})"
    for rows in ([container], [(1, 2), container]):
        assert_alike(lambda c, rows: c.executemany(sql, rows), rows, setup=setup)


def rows_then_failure() -> Any:
    yield (1, 2)
    yield (3, 4)
    raise LookupError("no more rows")


class Iterable:
    def __init__(self, answer: Any = None) -> None:
        self.answer = answer

    def __iter__(self) -> Any:
        if isinstance(self.answer, BaseException):
            raise self.answer
        return self.answer or iter([(1, 2)])


class EndsByIndex:
    def __getitem__(self, index: int) -> Any:
        if index > 2:
            raise IndexError
        return (index, index)


SOURCES: dict[str, Any] = {
    "rows": lambda: [(1, 2), (3, 4)],
    "generator": lambda: ((n, n) for n in range(5)),
    "iterator": lambda: iter([(1, 2)]),
    "dict of rows": lambda: {(1, 2): 0},
    "dict of texts": lambda: {"ab": 0},
    "text": lambda: "ab",
    "short row": lambda: [[1], [1, 2]],
    "row of no kind": lambda: [(1, 2), 5],
    "row of none": lambda: [(1, 2), None],
    "none": lambda: None,
    "number": lambda: 5,
    "object": object,
    "failing generator": rows_then_failure,
    "iterable": Iterable,
    "failing iterable": lambda: Iterable(LookupError("iterated")),
    "no iterator": lambda: Iterable(5),
    "by index": EndsByIndex,
}


@pytest.mark.parametrize("source", SOURCES)
@alike("CREATE TABLE t (a, b)")
def test_any_source_of_rows_for_executemany(connection, source):
    result = outcome(connection.executemany, "INSERT INTO t VALUES (?, ?)", SOURCES[source]())
    stored = connection.execute("SELECT * FROM t").fetchall()
    return result, stored, connection.in_transaction
