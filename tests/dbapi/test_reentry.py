"""Python code that runs in the middle of a call and comes back to the same connection or cursor."""

from __future__ import annotations

import gc
import sqlite3
from collections.abc import Callable
from typing import Any

import pytest

from support.sql_cases import assert_alike, open_native

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3);"

STEPS: dict[str, Callable[[Any, Any], Any]] = {
    "executescript on the cursor": lambda connection, cursor: cursor.executescript("SELECT 1"),
    "fetchone on the cursor": lambda connection, cursor: cursor.fetchone(),
    "fetchall on the cursor": lambda connection, cursor: cursor.fetchall(),
    "next on the cursor": lambda connection, cursor: next(cursor, "end"),
    "close the cursor": lambda connection, cursor: cursor.close(),
    "look at the cursor": lambda connection, cursor: (
        cursor.description,
        cursor.rowcount,
        cursor.lastrowid,
    ),
    "execute on the connection": lambda connection, cursor: connection.execute(
        "SELECT 5 AS x"
    ).fetchall(),
    "change on the connection": lambda connection, cursor: (
        connection.execute("INSERT INTO t VALUES (7)").rowcount
    ),
    "commit": lambda connection, cursor: connection.commit(),
    "rollback": lambda connection, cursor: connection.rollback(),
    "in_transaction": lambda connection, cursor: connection.in_transaction,
    "isolation_level": lambda connection, cursor: setattr(connection, "isolation_level", None),
}


def noted(step: Callable[[Any, Any], Any], connection: Any, cursor: Any, notes: list) -> None:
    try:
        value = step(connection, cursor)
        notes.append("the cursor" if value is cursor else value)
    except sqlite3.Error as error:
        notes.append(f"{type(error).__name__}: {error}")


@pytest.mark.parametrize("step", STEPS)
def test_from_the_rows_of_executemany(step: str) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        notes: list[Any] = []

        def rows() -> Any:
            yield (10,)
            noted(STEPS[step], connection, cursor, notes)
            yield (11,)

        try:
            cursor.executemany("INSERT INTO t VALUES (?)", rows())
        except sqlite3.Error as error:
            notes.append(f"{type(error).__name__}: {error}")
        stored = connection.execute("SELECT v FROM t").fetchall()
        return notes, stored, cursor

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("step", STEPS)
def test_from_the_conversion_of_a_value(step: str) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        notes: list[Any] = []

        class Value:
            def __conform__(self, protocol: Any) -> Any:
                noted(STEPS[step], connection, cursor, notes)
                return 5

        try:
            cursor.execute("INSERT INTO t VALUES (?)", (Value(),))
        except sqlite3.Error as error:
            notes.append(f"{type(error).__name__}: {error}")
        stored = connection.execute("SELECT v FROM t").fetchall()
        return notes, stored, cursor

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("step", STEPS)
@pytest.mark.parametrize("where", ["size", "item", "mapping"])
def test_from_a_container_of_values(step: str, where: str) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.cursor()
        notes: list[Any] = []

        class Values:
            def __len__(self) -> int:
                if where == "size":
                    noted(STEPS[step], connection, cursor, notes)
                return 1

            def __getitem__(self, index: int) -> Any:
                if where == "item":
                    noted(STEPS[step], connection, cursor, notes)
                return 5

        class Names(dict):
            def __missing__(self, name: str) -> Any:
                noted(STEPS[step], connection, cursor, notes)
                return 5

        sql, given = ("SELECT :v", Names()) if where == "mapping" else ("SELECT ?", Values())
        try:
            rows = cursor.execute(sql, given).fetchall()
        except sqlite3.Error as error:
            rows = f"{type(error).__name__}: {error}"
        return notes, rows

    assert_alike(steps, setup=SETUP)


@pytest.mark.parametrize("inner", ["execute", "executemany"])
@pytest.mark.parametrize("outer", ["execute", "executemany"])
def test_a_statement_inside_a_call_of_its_own_cursor_is_refused(outer: str, inner: str) -> None:
    # Python's own cursor crashes here, so there is nothing to compare with.
    connection = open_native()
    connection.executescript(SETUP)
    cursor = connection.cursor()
    texts: list[str] = []

    class Value:
        def __conform__(self, protocol: Any) -> Any:
            with pytest.raises(sqlite3.ProgrammingError) as caught:
                cursor.execute("SELECT 1") if inner == "execute" else cursor.executemany(
                    "DELETE FROM t", [()]
                )
            texts.append(str(caught.value))
            return 5

    given = (Value(),) if outer == "execute" else [(Value(),)]
    getattr(cursor, outer)("INSERT INTO t VALUES (?)", given)
    assert texts == ["Recursive use of cursors not allowed."]
    assert [row["v"] for row in connection.execute("SELECT v FROM t")] == [1, 2, 3, 5]
    connection.close()


@pytest.mark.parametrize("inner", ["execute", "executemany"])
def test_another_statement_on_the_cursor_that_reads_its_rows_is_refused(inner: str) -> None:
    # Here too Python's own cursor crashes.
    connection = open_native()
    connection.executescript(SETUP)
    cursor = connection.cursor()
    texts: list[str] = []

    def rows() -> Any:
        yield (10,)
        with pytest.raises(sqlite3.ProgrammingError) as caught:
            cursor.execute("SELECT 1") if inner == "execute" else cursor.executemany(
                "DELETE FROM t", [()]
            )
        texts.append(str(caught.value))
        yield (11,)

    cursor.executemany("INSERT INTO t VALUES (?)", rows())
    assert texts == ["Recursive use of cursors not allowed."]
    assert [row["v"] for row in connection.execute("SELECT v FROM t")] == [1, 2, 3, 10, 11]
    connection.close()


def test_an_iterator_that_closes_the_connection_gets_an_error() -> None:
    connection = open_native()
    connection.executescript(SETUP)

    def rows() -> Any:
        yield (1,)
        connection.close()
        yield (2,)

    with pytest.raises(sqlite3.ProgrammingError):
        connection.executemany("INSERT INTO t VALUES (?)", rows())


def test_an_object_that_uses_the_connection_when_it_dies() -> None:
    # The replaced row factory, cursor and parameter die inside our own code, and come back to it.
    for kind in ("factory", "parameter", "row"):
        connection = open_native()
        connection.executescript(SETUP)
        seen: list[Any] = []

        class Dies(str):
            __slots__ = ("where",)

            def __call__(self, cursor: Any, row: tuple) -> Any:
                return row

            def __del__(self) -> None:
                connection.row_factory = None  # noqa: B023
                try:
                    seen.append(connection.execute("SELECT count(*) FROM t").fetchone()[0])  # noqa: B023
                    connection.commit()  # noqa: B023
                except sqlite3.Error as error:
                    seen.append(error)  # noqa: B023

        if kind == "factory":
            connection.row_factory = Dies()
            connection.row_factory = None
        elif kind == "parameter":
            connection.execute("SELECT ?", [Dies("x")]).fetchall()
            connection.executemany("INSERT INTO t VALUES (?)", (value for value in [(Dies("y"),)]))
        else:
            connection.row_factory = lambda cursor, row: Dies("z")
            connection.execute("SELECT v FROM t").fetchall()
        gc.collect()
        assert seen
        assert not [value for value in seen if isinstance(value, sqlite3.ProgrammingError)], kind
        connection.close()


def test_a_cycle_through_the_row_factory_is_collected(tmp_path: Any) -> None:
    import weakref

    class Factory:
        def __call__(self, cursor: Any, row: tuple) -> Any:
            return row

    connection: Any = open_native(tmp_path / "x.db")
    factory = Factory()
    factory.connection = connection  # type: ignore[attr-defined]
    factory.cursor = connection.execute("SELECT 1 AS a")  # type: ignore[attr-defined]
    connection.row_factory = factory
    factory.cursor.row_factory = factory  # type: ignore[attr-defined]
    gone = weakref.ref(factory)
    del factory, connection
    gc.collect()
    assert gone() is None
