"""What may hold the values of a statement: sequences, mappings and sources of rows."""

from __future__ import annotations

import array
import collections
import types
from typing import Any, NamedTuple

import pytest

from support.alike import alike
from support.answering import answering
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


OTHER_ITEMS = {"__getitem__": "item", "__len__": 1}

# fmt: off
CONTAINERS: list[Any] = [
    (), [], (1,), [1], (1, 2), [1, 2], (1, 2, 3), "", "a", "ab", b"a", b"ab", bytearray(b"ab"),
    range(2), None, 0, 1, True, 1.5, object, ..., {1}, frozenset((1, 2)), iter([1, 2]),
    (n for n in (1, 2)), {}, {"a": 1}, {"a": 1, "b": 2}, {"b": 2, "a": 1, "c": 3},
    {"A": 1, "B": 2}, {1: 1, 2: 2}, {"a": [], "b": 1}, {"a": 1, "b": object()}, {"": 1},
    {":a": 1, ":b": 2}, {"?1": 1, "1": 2}, Sequence(), Sequence(1), Sequence(1, 2),
    answering(Sequence, 1, __len__=LookupError("size asked")), answering(Sequence, 1, __len__=-1),
    answering(Sequence, 1, 2, __getitem__=LookupError("item asked")),
    answering(Sequence, 1, 2, __getitem__=IndexError("no such item")),
    answering(object, __len__=1), answering(tuple, (1, 2), **OTHER_ITEMS),
    answering(list, [1, 2], **OTHER_ITEMS, __iter__=LookupError("iterated")),
    answering(list, **OTHER_ITEMS, __iter__=LookupError("iterated")),
    # Mappings that are no dicts.
    *(
        answering(object, __getitem__=answer, keys=LookupError("keys asked"))
        for answer in (1, KeyError("k"), LookupError("l"), ZeroDivisionError("z"), [None])
    ),
    answering(dict, {"a": 1}, __missing__=lambda self, key: f"missing {key}"),
    answering(dict, {"a": 1}, __getitem__="item"), collections.OrderedDict(a=1, b=2),
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
    "iterable": lambda: answering(object, __iter__=lambda self: iter([(1, 2)])),
    "failing iterable": lambda: answering(object, __iter__=LookupError("iterated")),
    "no iterator": lambda: answering(object, __iter__=5),
    "by index": lambda: answering(object, __getitem__=lambda self, n: [(n, n)][n // 3]),
}


@pytest.mark.parametrize("source", SOURCES)
@alike("CREATE TABLE t (a, b)")
def test_any_source_of_rows_for_executemany(connection, source):
    result = outcome(connection.executemany, "INSERT INTO t VALUES (?, ?)", SOURCES[source]())
    stored = connection.execute("SELECT * FROM t").fetchall()
    return result, stored, connection.in_transaction
