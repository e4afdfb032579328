"""What a row factory is called with and what its results become, beside Python's connection."""

from __future__ import annotations

import sqlite3
from typing import Any, NamedTuple

import pytest

from support.sql_cases import NativeRow, assert_alike, open_native

ROWS = "SELECT 1 AS a, 'x' AS b UNION ALL SELECT 2, 'y' UNION ALL SELECT 3, 'z'"


class Named(NamedTuple):
    a: object
    b: object


def as_dict(cursor: Any, row: tuple) -> dict:
    return {column[0]: value for column, value in zip(cursor.description, row, strict=True)}


def as_given(cursor: Any, row: tuple) -> Any:
    return type(row), row, cursor.description, cursor.rowcount


class Record:
    def __init__(self, cursor: Any, row: tuple) -> None:
        self.row = row


class Callable:
    def __call__(self, *given: Any) -> Any:
        return len(given), given[1]


def fails(cursor: Any, row: tuple) -> Any:
    raise LookupError(f"row {row}")


def fails_on_the_second(cursor: Any, row: tuple) -> Any:
    if row[0] == 2:
        raise LookupError("second")
    return row


FACTORIES: dict[str, Any] = {
    "none": None,
    "row": sqlite3.Row,
    "dict": as_dict,
    "given": as_given,
    "class": Record,
    "callable": Callable(),
    "tuple type": tuple,
    "list type": list,
    "named tuple": Named,
    "fails": fails,
    "fails on the second": fails_on_the_second,
    "takes nothing": lambda: None,
    "takes one": lambda cursor: None,
    "takes three": lambda cursor, row, more: None,
    "gives none": lambda cursor, row: None,
    "not callable": 5,
    "text": "x",
    "stop": lambda cursor, row: next(iter(())),
}
READERS: dict[str, Any] = {
    "fetchone": lambda cursor: [cursor.fetchone(), cursor.fetchone()],
    "fetchmany": lambda cursor: cursor.fetchmany(2),
    "fetchall": lambda cursor: cursor.fetchall(),
    "iteration": list,
    "next": next,
}


@pytest.mark.parametrize("reader", READERS)
@pytest.mark.parametrize("factory", FACTORIES)
def test_a_factory_set_on_the_connection(factory: str, reader: str) -> None:
    def steps(connection: Any) -> Any:
        connection.row_factory = FACTORIES[factory]
        assert connection.row_factory is FACTORIES[factory]
        return READERS[reader](connection.execute(ROWS))

    assert_alike(steps)


@pytest.mark.parametrize("reader", READERS)
@pytest.mark.parametrize("factory", FACTORIES)
def test_a_factory_set_on_the_cursor(factory: str, reader: str) -> None:
    def steps(connection: Any) -> Any:
        cursor = connection.execute(ROWS)
        cursor.row_factory = FACTORIES[factory]
        assert cursor.row_factory is FACTORIES[factory]
        return READERS[reader](cursor)

    assert_alike(steps)


@pytest.mark.parametrize("factory", FACTORIES)
def test_the_cursor_takes_the_factory_when_it_is_made(factory: str) -> None:
    def steps(connection: Any) -> Any:
        early = connection.cursor()
        connection.row_factory = FACTORIES[factory]
        late = connection.cursor()
        connection.row_factory = None
        kept = (early.row_factory is sqlite3.Row, late.row_factory is FACTORIES[factory])
        return kept, early.execute(ROWS).fetchone(), late.execute(ROWS).fetchone()

    assert_alike(steps)


def test_rows_after_a_failing_factory() -> None:
    def steps(connection: Any) -> Any:
        connection.row_factory = fails_on_the_second
        cursor = connection.execute(ROWS)
        seen: list[Any] = [cursor.fetchone()]
        for _ in range(3):
            try:
                seen.append(cursor.fetchone())
            except LookupError as error:
                seen.append(str(error))
        return seen, cursor

    assert_alike(steps)


def test_the_factory_is_called_with_the_cursor_itself() -> None:
    connection = open_native()
    seen = []

    def factory(cursor: Any, row: tuple) -> tuple:
        seen.append((cursor, row))
        return row

    connection.row_factory = factory
    cursor = connection.execute(ROWS)
    cursor.fetchall()
    assert [(given is cursor, type(row)) for given, row in seen] == [(True, tuple)] * 3
    connection.close()


def test_the_standard_row_gives_our_rows_and_none_gives_tuples() -> None:
    connection = open_native()
    assert connection.row_factory is sqlite3.Row
    assert type(connection.execute(ROWS).fetchone()) is NativeRow
    connection.row_factory = None
    assert type(connection.execute(ROWS).fetchone()) is tuple
    connection.row_factory = sqlite3.Row
    assert type(connection.execute(ROWS).fetchone()) is NativeRow
    cursor = connection.cursor()
    cursor.row_factory = None
    assert type(cursor.execute(ROWS).fetchone()) is tuple
    connection.close()


@pytest.mark.parametrize("reader", ["fetchone", "fetchmany", "fetchall", "__next__"])
@pytest.mark.parametrize(
    "step",
    [
        lambda cursor: cursor.fetchone(),
        lambda cursor: cursor.fetchall(),
        lambda cursor: next(cursor),
        lambda cursor: cursor.execute("SELECT 'again'"),
        lambda cursor: cursor.connection.execute("SELECT 'other'").fetchall(),
        lambda cursor: cursor.connection.commit(),
        lambda cursor: cursor.connection.rollback(),
        lambda cursor: setattr(cursor, "row_factory", None),
        lambda cursor: setattr(cursor.connection, "row_factory", None),
        lambda cursor: cursor.connection.in_transaction,
    ],
    ids=range(10),
)
def test_a_factory_that_uses_its_cursor_or_connection(step: Any, reader: str) -> None:
    def steps(connection: Any) -> Any:
        calls: list[Any] = []

        def factory(cursor: Any, row: tuple) -> Any:
            if len(calls) < 2:
                calls.append(None)
                try:
                    calls.append(step(cursor))
                except (sqlite3.Error, StopIteration) as error:
                    calls.append(f"{type(error).__name__}: {error}")
            return row

        connection.row_factory = factory
        cursor = connection.execute(ROWS)
        return getattr(cursor, reader)(), ["cursor" if call is cursor else call for call in calls]

    assert_alike(steps)


@pytest.mark.parametrize("step", ["close the cursor", "close the connection"])
def test_a_factory_that_closes_gets_rows_or_an_error_of_the_engine(step: str) -> None:
    for reader in ("fetchone", "fetchall", "fetchmany"):
        connection = open_native()

        def factory(cursor: Any, row: tuple) -> Any:
            (cursor if step == "close the cursor" else cursor.connection).close()
            return row

        connection.row_factory = factory
        cursor = connection.execute(ROWS)
        try:
            rows = getattr(cursor, reader)()
        except sqlite3.ProgrammingError:
            rows = []
        assert len(rows) <= 3
        connection.close()


def test_a_factory_that_drops_the_last_references() -> None:
    def rows() -> list:
        connection = open_native()
        held = [connection]

        def factory(cursor: Any, row: tuple) -> Any:
            held.clear()
            return row

        connection.row_factory = factory
        cursor = connection.execute(ROWS)
        del connection
        return cursor.fetchall()

    assert rows() == [(1, "x"), (2, "y"), (3, "z")]


def test_setting_what_a_factory_may_not_be() -> None:
    def steps(connection: Any) -> Any:
        connection.row_factory = 5
        return connection.execute("SELECT 1"), connection.row_factory

    assert_alike(steps)
