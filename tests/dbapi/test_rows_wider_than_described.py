"""Rows with more columns than the statement had when its cursor was described.

`executemany` describes its rows once; the rows that it is given may alter the table in between,
and the next set of what it returns then has more columns.
"""

from __future__ import annotations

import sqlite3

import pytest

from support.alike import alike
from support.sql_cases import open_native, open_python, outcome
from support.values import error_of

SETUP = "CREATE TABLE t (a TEXT UNIQUE); INSERT INTO t VALUES ('x');"
COLUMNS = 60  # more than the places that stand free behind a row of one column

UNREADABLE = "GENERATED ALWAYS AS (CAST(x'ff41' AS TEXT)) VIRTUAL"


def widened(connection, factory, definition):
    """A cursor described with one column, whose only row has many."""

    def rows():
        yield ("x",)  # ignored: it returns no row, and yet describes them
        for number in range(COLUMNS):
            connection.execute(f"ALTER TABLE t ADD COLUMN b{number} TEXT {definition}")
        yield ("y",)

    if factory is None:  # either kind of connection begins with its own kind of row
        connection.row_factory = None
    cursor = connection.cursor()
    cursor.executemany("INSERT OR IGNORE INTO t (a) VALUES (?) RETURNING *", rows())
    return cursor


@pytest.mark.parametrize("factory", [None, "row"])
@pytest.mark.parametrize("definition", ["DEFAULT 'hello'", "DEFAULT NULL", "DEFAULT 7"])
@alike(SETUP)
def test_every_value_of_a_wider_row_is_read(connection, factory, definition):
    cursor = widened(connection, factory, definition)
    read = cursor.fetchall()
    assert [len(tuple(row)) for row in read] == [1 + COLUMNS]
    return read, outcome(lambda: list(read[0])), outcome(lambda: read[0][COLUMNS]), cursor


@alike(SETUP)
def test_names_of_a_wider_row_are_those_described(connection):
    (row,) = widened(connection, "row", "DEFAULT 'hello'").fetchall()
    assert row.keys() == ["a"]
    return row["a"], len(row), row[-1], outcome(lambda: row["b0"]), outcome(lambda: row[99])


@pytest.mark.parametrize("factory", [None, "row"])
@pytest.mark.parametrize("fetch", ["fetchone", "fetchmany", "fetchall", "__next__"])
def test_a_text_beyond_the_described_columns_that_cannot_be_read(factory, fetch):
    # The column has no name in our description; all else of the error is as Python has it.
    seen = []
    for open_one in (open_native, open_python):
        connection = open_one()
        connection.executescript(SETUP)
        error = error_of(getattr(widened(connection, factory, UNREADABLE), fetch))
        assert isinstance(error, sqlite3.OperationalError)
        assert str(error).startswith("Could not decode to UTF-8 column '")
        seen.append(str(error).partition("' with text ")[2])
        connection.close()
    assert seen[0] == seen[1] == "'\ufffdA'"
