"""Python code that runs in the middle of a call and comes back to the same connection or cursor."""

from __future__ import annotations

import gc
import sqlite3
import weakref
from collections.abc import Callable
from typing import Any

import pytest

from support.alike import alike
from support.sql_cases import open_native, outcome
from support.values import error_of, type_and_text

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3);"
INSERT = "INSERT INTO t VALUES (?)"

STEPS: dict[str, Callable[[Any, Any], Any]] = {
    "executescript on the cursor": lambda c, cursor: cursor.executescript("SELECT 1") is cursor,
    "fetchone on the cursor": lambda c, cursor: cursor.fetchone(),
    "fetchall on the cursor": lambda c, cursor: cursor.fetchall(),
    "next on the cursor": lambda c, cursor: next(cursor, "end"),
    "close the cursor": lambda c, cursor: cursor.close(),
    "look at the cursor": lambda c, cursor: (
        (cursor.description, cursor.rowcount, cursor.lastrowid)
    ),
    "execute on the connection": lambda c, cursor: c.execute("SELECT 5 AS x").fetchall(),
    "change on the connection": lambda c, cursor: c.execute("INSERT INTO t VALUES (7)").rowcount,
    "commit": lambda c, cursor: c.commit(),
    "rollback": lambda c, cursor: c.rollback(),
    "in_transaction": lambda c, cursor: c.in_transaction,
    "isolation_level": lambda c, cursor: setattr(c, "isolation_level", None),
}


class Asks:
    """A value, or a container of values, that does something when it is asked for this."""

    def __init__(self, where: str, action: Callable[[], Any]) -> None:
        self.where = where
        self.action = action

    def _asked(self, where: str, answer: Any) -> Any:
        if where == self.where:
            self.action()
        return answer

    def __conform__(self, protocol: Any) -> Any:
        return self._asked("conversion", 5)

    def __len__(self) -> int:
        return int(self._asked("size", 1))

    def __getitem__(self, index: int) -> Any:
        return self._asked("item", 5)


class Names(dict):
    def __init__(self, action: Callable[[], Any]) -> None:
        super().__init__()
        self.action = action

    def __missing__(self, name: str) -> Any:
        self.action()
        return 5


def rows(action: Callable[[], Any]) -> Any:
    yield (10,)
    action()
    yield (11,)


# Where it comes back from: the cursor's method and what it is given.
PLACES: dict[str, Callable[[Callable[[], Any]], tuple[Any, ...]]] = {
    "rows": lambda action: ("executemany", INSERT, rows(action)),
    "conversion": lambda action: ("execute", INSERT, (Asks("conversion", action),)),
    "size": lambda action: ("execute", "SELECT ?", Asks("size", action)),
    "item": lambda action: ("execute", "SELECT ?", Asks("item", action)),
    "mapping": lambda action: ("execute", "SELECT :v", Names(action)),
}


@pytest.mark.parametrize("step", STEPS)
@pytest.mark.parametrize("place", PLACES)
@alike(SETUP)
def test_a_call_inside_a_call(connection, place, step):
    cursor = connection.cursor()
    notes = []
    method, *given = PLACES[place](
        lambda: notes.append(outcome(STEPS[step], connection, cursor)),
    )
    result = outcome(lambda: getattr(cursor, method)(*given).fetchall())
    stored = connection.execute("SELECT v FROM t").fetchall()
    return notes, result, stored, cursor


@pytest.fixture
def connection():
    opened = open_native()
    opened.executescript(SETUP)
    yield opened
    opened.close()


@pytest.mark.parametrize("inner", [("execute", "SELECT 1"), ("executemany", "DELETE FROM t", [()])])
@pytest.mark.parametrize("outer", ["execute", "executemany", "rows"])
def test_a_statement_inside_a_call_of_its_own_cursor_is_refused(connection, outer, inner):
    # Python's own cursor crashes here, so there is nothing to compare with.
    cursor = connection.cursor()
    errors = []
    action = lambda: errors.append(error_of(getattr(cursor, inner[0]), *inner[1:]))  # noqa: E731
    value = (Asks("conversion", action),)
    if outer == "execute":
        cursor.execute(INSERT, value)
    else:
        cursor.executemany(INSERT, rows(action) if outer == "rows" else [value])
    refused = (sqlite3.ProgrammingError, "Recursive use of cursors not allowed.")
    assert [type_and_text(error) for error in errors] == [refused]
    stored = [10, 11] if outer == "rows" else [5]
    assert [row["v"] for row in connection.execute("SELECT v FROM t")] == [1, 2, 3, *stored]


def test_an_iterator_that_closes_the_connection_gets_an_error(connection):
    with pytest.raises(sqlite3.ProgrammingError):
        connection.executemany(INSERT, rows(connection.close))


@pytest.mark.parametrize("kind", ["factory", "parameter", "row"])
def test_an_object_that_uses_the_connection_when_it_dies(connection, kind):
    # The replaced row factory, parameter and row die inside our own code, and come back to it.
    seen = []

    def use() -> None:
        connection.row_factory = None
        seen.append(connection.execute("SELECT count(*) FROM t").fetchone()[0])
        connection.commit()

    class Dies(str):
        __slots__ = ("where",)

        def __call__(self, cursor: Any, row: tuple) -> Any:
            return row

        def __del__(self) -> None:
            try:
                use()
            except sqlite3.Error as error:
                seen.append(error)

    if kind == "factory":
        connection.row_factory = Dies()
        connection.row_factory = None
    elif kind == "parameter":
        connection.execute("SELECT ?", [Dies("x")]).fetchall()
        connection.executemany(INSERT, (value for value in [(Dies("y"),)]))
    else:
        connection.row_factory = lambda cursor, row: Dies("z")
        connection.execute("SELECT v FROM t").fetchall()
    gc.collect()
    assert seen
    assert not [value for value in seen if isinstance(value, sqlite3.ProgrammingError)]


def test_a_cycle_through_the_row_factory_is_collected(tmp_path):
    class Factory:
        def __call__(self, cursor, row):
            return row

    factory = Factory()
    factory.connection = open_native(tmp_path / "x.db")
    factory.cursor = factory.connection.execute("SELECT 1 AS a")
    factory.connection.row_factory = factory.cursor.row_factory = factory
    gone = weakref.ref(factory)
    del factory
    gc.collect()
    assert gone() is None
