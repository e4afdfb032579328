"""What a row factory is called with and what its results become, beside Python's connection."""

from __future__ import annotations

import sqlite3
from typing import Any, NamedTuple

import pytest

from support.alike import alike
from support.sql_cases import open_native, outcome

ROWS = "SELECT 1 AS a, 'x' AS b UNION ALL SELECT 2, 'y' UNION ALL SELECT 3, 'z'"


class Named(NamedTuple):
    a: object
    b: object


class Record:
    def __init__(self, cursor: Any, row: tuple) -> None:
        self.row = row


class Callable:
    def __call__(self, *given: Any) -> Any:
        return len(given), given[1]


def as_dict(cursor: Any, row: tuple) -> dict:
    return {column[0]: value for column, value in zip(cursor.description, row, strict=True)}


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
    "given": lambda cursor, row: (type(row), row, cursor.description, cursor.rowcount),
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
@pytest.mark.parametrize("where", ["connection", "cursor"])
@alike()
def test_a_factory_set_on_a_connection_or_cursor(connection, where, factory, reader):
    cursor = connection.cursor()
    subject = connection if where == "connection" else cursor
    subject.row_factory = FACTORIES[factory]
    assert subject.row_factory is FACTORIES[factory]
    runner = connection if where == "connection" else cursor
    return READERS[reader](runner.execute(ROWS))


@pytest.mark.parametrize("factory", FACTORIES)
@alike()
def test_the_cursor_takes_the_factory_when_it_is_made(connection, factory):
    early = connection.cursor()
    connection.row_factory = FACTORIES[factory]
    late = connection.cursor()
    connection.row_factory = None
    kept = (early.row_factory is sqlite3.Row, late.row_factory is FACTORIES[factory])
    return kept, early.execute(ROWS).fetchone(), late.execute(ROWS).fetchone()


@alike()
def test_rows_after_a_failing_factory(connection):
    connection.row_factory = fails_on_the_second
    cursor = connection.execute(ROWS)
    return [outcome(cursor.fetchone) for _ in range(4)], cursor


def test_the_factory_is_called_with_the_cursor_itself():
    connection = open_native()
    seen = []
    connection.row_factory = lambda *given: seen.append(given)
    cursor = connection.execute(ROWS)
    cursor.fetchall()
    assert [(given is cursor, type(row)) for given, row in seen] == [(True, tuple)] * 3
    connection.close()


STEPS: tuple[Any, ...] = (
    lambda cursor: cursor.fetchone(),
    lambda cursor: cursor.fetchall(),
    lambda cursor: next(cursor),
    lambda cursor: cursor.execute("SELECT 'again'") is cursor,
    lambda cursor: cursor.connection.execute("SELECT 'other'").fetchall(),
    lambda cursor: cursor.connection.commit(),
    lambda cursor: cursor.connection.rollback(),
    lambda cursor: setattr(cursor, "row_factory", None),
    lambda cursor: setattr(cursor.connection, "row_factory", None),
    lambda cursor: cursor.connection.in_transaction,
)


@pytest.mark.parametrize("reader", ["fetchone", "fetchmany", "fetchall", "__next__"])
@pytest.mark.parametrize("step", STEPS, ids=range(len(STEPS)))
@alike()
def test_a_factory_that_uses_its_cursor_or_connection(connection, step, reader):
    calls = []

    def factory(cursor: Any, row: tuple) -> Any:
        if len(calls) < 2:
            calls.append(None)
            calls.append(outcome(step, cursor))
        return row

    connection.row_factory = factory
    return getattr(connection.execute(ROWS), reader)(), calls


@pytest.mark.parametrize("closed", ["cursor", "connection"])
@pytest.mark.parametrize("reader", ["fetchone", "fetchall", "fetchmany"])
def test_a_factory_that_closes_gets_rows_or_an_error_of_the_engine(reader, closed):
    connection = open_native()

    def factory(cursor: Any, row: tuple) -> Any:
        (cursor if closed == "cursor" else cursor.connection).close()
        return row

    connection.row_factory = factory
    cursor = connection.execute(ROWS)
    try:
        assert len(getattr(cursor, reader)()) <= 3
    except sqlite3.ProgrammingError:
        pass
    connection.close()


def test_a_factory_that_drops_the_last_references():
    held = [open_native()]
    held[0].row_factory = lambda cursor, row: held.clear() or row
    assert held[0].execute(ROWS).fetchall() == [(1, "x"), (2, "y"), (3, "z")]
    assert held == []
