"""Closed connections, and cursors of closed connections, refuse as Python's do."""

from __future__ import annotations

import os
import sqlite3

import pytest

from support.alike import alike
from support.database import open_descriptors
from support.dbapi_uses import CONNECTION_USES, CURSOR_USES, use
from support.sql_cases import open_native, outcome

SETUP = "CREATE TABLE t (v); INSERT INTO t VALUES (1), (2), (3);"
SELECT = "SELECT v FROM t"


@pytest.mark.parametrize("name", CONNECTION_USES)
@alike(SETUP)
def test_a_closed_connection(connection, name):
    connection.close()
    return outcome(use, name, connection, None)


@pytest.mark.parametrize("name", CURSOR_USES)
@pytest.mark.parametrize("begun", [True, False])
@pytest.mark.parametrize("closed", ["connection", "cursor"])
@alike(SETUP)
def test_a_cursor_that_is_closed_or_its_connection(connection, closed, begun, name):
    cursor = connection.cursor()
    if begun:
        cursor.execute(SELECT).fetchone()
    gave = (connection if closed == "connection" else cursor).close()
    return gave, outcome(use, name, connection, cursor), cursor.connection is connection


@alike()
def test_a_cursor_can_be_closed_again_and_again(connection):
    cursor = connection.execute("SELECT 1")
    return cursor.close(), cursor.close()


@alike(SETUP)
def test_closing_a_cursor_frees_its_table(connection):
    cursor = connection.execute(SELECT)
    cursor.fetchone()
    locked = outcome(connection.execute, "DROP TABLE t")
    cursor.close()
    return locked, connection.execute("DROP TABLE t")


@pytest.fixture
def opened(tmp_path):
    """A connection to a file with three rows, to be dropped by the test."""
    connection = open_native(tmp_path / "x.db")
    connection.executescript(SETUP)
    return [connection]


def test_closing_with_an_open_transaction_and_unfinished_statements(tmp_path, opened):
    connection = opened[0]
    connection.execute("INSERT INTO t VALUES (4)")
    readers = [connection.execute(SELECT) for _ in range(5)]
    for reader in readers:
        reader.fetchone()
    connection.close()
    del reader, readers
    assert open_descriptors(tmp_path) == []
    assert os.listdir(tmp_path) == ["x.db"]
    other = sqlite3.connect(tmp_path / "x.db", timeout=0)
    assert other.execute("SELECT count(*) FROM t").fetchone() == (3,)
    other.close()


@pytest.mark.parametrize("dropped_first", ["connection", "cursor", "row"])
def test_dropping_the_last_reference_closes_the_file(tmp_path, opened, dropped_first):
    held = {"connection": opened.pop()}
    held["connection"].execute("INSERT INTO t VALUES (4)")
    held["cursor"] = held["connection"].execute(SELECT)
    held["row"] = held["cursor"].fetchone()
    del held[dropped_first]
    while held:
        del held[next(iter(held))]
    assert open_descriptors(tmp_path) == []
    assert os.listdir(tmp_path) == ["x.db"]


def test_what_a_row_and_a_cursor_keep_open(tmp_path, opened):
    row = opened[0].execute("SELECT v AS a FROM t").fetchone()
    cursors = [opened[0].execute(SELECT) for _ in range(5)]
    for cursor in cursors[1:]:
        cursor.fetchone()
    opened.clear()
    del cursors[1:], cursor
    assert len(open_descriptors(tmp_path)) == 1
    assert [row["v"] for row in cursors[0]] == [1, 2, 3]
    assert cursors[0].connection.in_transaction is False
    del cursors
    assert open_descriptors(tmp_path) == []
    assert (row["A"], row.keys()) == (1, ["a"])
