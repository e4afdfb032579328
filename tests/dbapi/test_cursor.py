"""What a cursor tells about its statement: description, rowcount, lastrowid, and the rest."""

from __future__ import annotations

import weakref

import pytest

from support.alike import alike
from support.sql_cases import assert_alike, open_native, outcome
from support.values import error_of

SETUP = "CREATE TABLE t (id INTEGER PRIMARY KEY, v UNIQUE); INSERT INTO t (v) VALUES ('a'), ('b');"

ROWS = [
    *([], [("c",)], [("c",), ("d",), ("e",)], [("c",), ("a",)], [("c",), (object(),)]),
    [("c",), ()],
]


@pytest.mark.parametrize("rows", ROWS, ids=range(6))
@alike(SETUP)
def test_counts_and_row_ids_after_executemany(connection, rows):
    cursor = connection.cursor()
    seen = []
    for sql in (
        "INSERT INTO t (v) VALUES (?)",
        "UPDATE t SET v = ? WHERE id = 1",
        "INSERT INTO t (v) VALUES (?) RETURNING id",
    ):
        seen.append(outcome(lambda sql: cursor.executemany(sql, rows).fetchall(), sql))
        seen.append((cursor.rowcount, cursor.lastrowid, connection.total_changes))
        connection.rollback()
    return seen


@pytest.mark.parametrize("call", ["setinputsizes", "setoutputsize"])
def test_sizes_are_taken_and_ignored(call):
    taken = [([3, 4, 5],), (None,)]
    refused = [(), (1, 2)]
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
    assert cursor.connection is connection
    assert cursor.row_factory is connection.row_factory
    assert connection.execute("SELECT 1") is not connection.execute("SELECT 1")
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
