"""Rows by position, name and slice; as sequences and mappings, beside `sqlite3.Row`."""

from __future__ import annotations

import collections.abc
import copy
import operator
import pickle
from collections.abc import Callable
from typing import Any

import pytest

from support.alike import alike
from support.answering import answering
from support.sql_cases import NativeRow, assert_alike, id_of, open_native, outcome
from support.values import error_of

SELECT = """
SELECT 1 AS id, 'AB123' AS plate, 2.5 AS Confidence, NULL AS "é", x'00' AS b,
    7 AS "with space", 8 AS id, 9 AS ""
"""


EQUAL_TO_ALL = {"__eq__": True, "__hash__": 0}

# fmt: off
INDEXES: list[Any] = [
    0, 1, 7, 8, 9, 100, -1, -8, -9, -100, True, False, 2**31, 2**63, 2**100, -(2**63), -(2**100),
    answering(int, 1), "id", "ID", "Id", "plate", "PLATE", "confidence", "CONFIDENCE", "é", "É",
    "b", "with space", "WITH SPACE", "", "missing", "id ", " id", "i", "idx", "id\0", "\0",
    "\ud800", "ı", "ﬁ", "K", "plate\u0301", answering(str, "plate", lower="plate"),
    answering(str, "other", lower="plate"), answering(str, "PLATE", lower="plate"),
    answering(str, "nothing", **EQUAL_TO_ALL), answering(str, "plate", **EQUAL_TO_ALL),
    slice(None), slice(0), slice(1, 3), slice(None, None, -1), slice(-3, None), slice(5, 2),
    slice(0, 100, 3), slice(1, 2, 0), slice("a"),
    slice(answering(object, __index__=1), answering(object, __index__=3)), slice(2**100),
    slice(None, None, 2**70), slice(1.5), None, 1.0, 0.0, b"id", (), (0,), [0], {}, object(), ...,
    *(answering(object, __index__=answer) for answer in (1, -1, "x", LookupError("index"))),
]
# fmt: on


@pytest.mark.parametrize("index", INDEXES, ids=id_of)
@pytest.mark.parametrize("sql", [SELECT, "SELECT 1 AS plate"], ids=["special", "plain"])
@alike()
def test_any_index(connection, sql, index):
    return connection.execute(sql).fetchone()[index]


@alike()
def test_every_ascii_letter_is_found_in_either_case_and_no_other(connection):
    names = [chr(code) for code in range(33, 0x250) if chr(code) not in '"']
    sql = ", ".join(f'{place} AS "{name}"' for place, name in enumerate(names))
    row = connection.execute(f"SELECT {sql}").fetchone()
    return [outcome(row.__getitem__, key) for name in names for key in (name, name.swapcase())]


USES: dict[str, Callable[[Any], Any]] = {
    "len": len,
    "bool": bool,
    "keys": lambda row: row.keys(),
    "keys with an argument": lambda row: type(error_of(row.keys, 1)),
    "list": list,
    "tuple": tuple,
    "dict": dict,
    "set": lambda row: {type(value).__name__ for value in row},
    "reversed": lambda row: list(reversed(row)),
    "unpacked": lambda row: [*row],
    "unpacked as a mapping": lambda row: {**row},
    "passed by name": lambda row: dict(**row),
    "zip": lambda row: list(zip(row.keys(), row, strict=True)),
    "contains a value": lambda row: ("AB123" in row, 1 in row, 99 in row, None in row),
    "contains a name": lambda row: "plate" in row,
    "iter twice": lambda row: (list(iter(row)), list(iter(row))),
    "next": lambda row: next(iter(row)),
    "sorted keys": lambda row: sorted(row.keys()),
    "max": lambda row: max(value for value in row if isinstance(value, int)),
    "join": lambda row: ",".join(map(repr, row)),
    "index method": lambda row: row.index(1),
    "count method": lambda row: row.count(1),
    "get method": lambda row: row.get("id"),
    "items method": lambda row: row.items(),
    "values method": lambda row: row.values(),
    "set item": lambda row: operator.setitem(row, 0, 1),
    "set named item": lambda row: operator.setitem(row, "id", 1),
    "delete item": lambda row: operator.delitem(row, 0),
    "set attribute": lambda row: setattr(row, "other", 1),
    "add": lambda row: row + row,
    "add tuple": lambda row: row + tuple(row),
    "multiply": lambda row: row * 2,
    "less": lambda row: row < row,
    "less than tuple": lambda row: row < tuple(row),
    "greater or equal": lambda row: row >= row,
    "equal to itself": lambda row: (row == row, row != row),
    "equal to its tuple": lambda row: (row == tuple(row), row != tuple(row), tuple(row) == row),
    "equal to nothing": lambda row: (row == None, row != None, row == 5, row == object()),  # noqa: E711
    "hash": lambda row: hash(row) == hash(row),
    "is a sequence": lambda row: (
        isinstance(row, collections.abc.Sequence),
        isinstance(row, collections.abc.Mapping),
        isinstance(row, tuple),
        issubclass(type(row), collections.abc.Sequence),
    ),
    "operator.index": lambda row: operator.length_hint(row),
    "format": lambda row: "{0[id]} {0[plate]} {0[1]}".format(row),  # noqa: UP032
    "percent": lambda row: "%(id)s" % row,  # noqa: UP031
    "format map": lambda row: "{plate}".format_map(row),
    "str of it holds its type": lambda row: "Row object at" in str(row),
}


@pytest.mark.parametrize("use", USES)
def test_any_use_of_a_row(use):
    for sql in (SELECT, "SELECT 1 AS only"):
        assert_alike(lambda c, sql: USES[use](c.execute(sql).fetchone()), sql)


def matched(row: Any) -> Any:
    match row:
        case [a]:
            return "one", a
        case {"id": value}:
            return "mapping", value
        case [1, first, *rest]:
            return "sequence", first, len(rest)
        case _:
            return "nothing"


def test_rows_match_the_patterns_that_they_match_in_python():
    for sql in (SELECT, "SELECT 1 AS id", "SELECT 2 AS id, 3 AS b", "SELECT 'ab' AS x, 1 AS y"):
        assert_alike(lambda c, sql: matched(c.execute(sql).fetchone()), sql)


PAIRS = [
    ("SELECT 1 AS a, 2 AS b", "SELECT 1 AS a, 2 AS b"),
    ("SELECT 1 AS a, 2 AS b", "SELECT 1 AS a, 2 AS c"),
    ("SELECT 1 AS a, 2 AS b", "SELECT 1 AS A, 2 AS B"),
    ("SELECT 1 AS a, 2 AS b", "SELECT 1 AS a, 3 AS b"),
    ("SELECT 1 AS a, 2 AS b", "SELECT 2 AS b, 1 AS a"),
    ("SELECT 1 AS a", "SELECT 1.0 AS a"),
    ("SELECT 1 AS a", "SELECT '1' AS a"),
    ("SELECT NULL AS a", "SELECT NULL AS a"),
    ("SELECT 1 AS a", "SELECT 1 AS a, 1 AS a"),
    ("SELECT x'61' AS a", "SELECT 'a' AS a"),
]


@pytest.mark.parametrize("pair", PAIRS, ids=str)
@alike()
def test_two_rows_are_equal_when_names_and_values_are(connection, pair):
    first, second = (connection.execute(sql).fetchone() for sql in pair)
    same_hash = hash(first) == hash(second)
    return first == second, first != second, same_hash, len({first, second})


@alike()
def test_rows_of_one_fetch_compare_by_their_values(connection):
    rows = connection.execute("SELECT 1 AS a UNION ALL SELECT 2 UNION ALL SELECT 1").fetchall()
    equal = [[left == right for left in rows] for right in rows]
    return equal, len(set(rows)), rows.index(rows[2])


@pytest.mark.parametrize("use", [copy.copy, copy.deepcopy, pickle.dumps])
@alike()
def test_copies_and_pickles_fail_or_work_as_in_python(connection, use):
    row = connection.execute("SELECT 1 AS a").fetchone()
    try:
        use(row)
    except TypeError:
        return "refused"
    return "done"


@alike()
def test_a_row_keeps_its_names_when_the_cursor_goes_on(connection):
    cursor = connection.execute("SELECT 1 AS a")
    row = cursor.fetchone()
    cursor.execute("SELECT 2 AS b, 3 AS c")
    return row.keys(), row["a"], cursor.fetchone().keys()


def test_the_rows_of_one_statement_share_their_names_and_outlive_their_connection():
    connection = open_native()
    first, second = connection.execute("SELECT 1 AS a UNION ALL SELECT 2").fetchall()
    connection.close()
    del connection
    assert list(map(id, first.keys())) == list(map(id, second.keys()))
    first.keys().append("b")
    assert [(row["A"], row.keys()) for row in (first, second)] == [(1, ["a"]), (2, ["a"])]
    assert type(first) is NativeRow
