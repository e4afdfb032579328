"""The connection factory: a new connection each time, with the default settings."""

from __future__ import annotations

import gc
import sqlite3
import threading

import pytest

from support import database
from support.child import run_child
from support.samples import add
from support.values import error_of, exactly, type_and_text


def test_each_call_opens_one_more(store):
    first, second = store._get_conn(), store._get_conn()
    assert first is not second
    gc.collect()  # what Python's own connection needs to be closed
    assert len(database.open_descriptors(store.db_path)) == 2


def test_the_row_factory_is_the_standard_row(store):
    assert store._get_conn().row_factory is sqlite3.Row


def test_rows_are_readable_by_name_and_by_position(store):
    add(store, plates=["A"])
    row = store._get_conn().execute("SELECT id, plates AS p FROM detections").fetchone()
    assert row["id"] == row[0] == 1
    assert row["p"] == row["P"] == row[-1] == '["A"]'
    assert row.keys() == ["id", "p"]
    assert dict(row) == {"id": 1, "p": '["A"]'}
    assert tuple(row) == (1, '["A"]')
    assert type_and_text(error_of(lambda: row["plates"])) == (
        IndexError,
        "No item with that key",
    )


def test_the_busy_timeout_is_five_seconds(store):
    assert tuple(store._get_conn().execute("PRAGMA busy_timeout").fetchone()) == (5000,)


def test_foreign_keys_are_not_enforced(store):
    assert tuple(store._get_conn().execute("PRAGMA foreign_keys").fetchone()) == (0,)


def test_transactions_are_implicit_and_deferred(store):
    connection = store._get_conn()
    assert connection.isolation_level == ""
    assert connection.in_transaction is False


@pytest.mark.parametrize(
    "statement",
    [
        "SELECT * FROM detections",
        "CREATE TABLE other (x)",
        "ALTER TABLE detections ADD COLUMN other TEXT",
        "DROP INDEX idx_timestamp",
        "PRAGMA user_version = 5",
        "WITH t(x) AS (SELECT 1) SELECT x FROM t",
        "EXPLAIN SELECT 1",
    ],
)
def test_a_statement_that_changes_no_rows_opens_no_transaction(store, statement):
    connection = store._get_conn()
    connection.execute(statement).fetchall()
    assert connection.in_transaction is False


@pytest.mark.parametrize(
    "statement",
    [
        "INSERT INTO watchlist (plate, created_at) VALUES ('A', 'now')",
        "UPDATE detections SET success = 0",
        "DELETE FROM detections",
        "REPLACE INTO watchlist (id, plate, created_at) VALUES (1, 'A', 'now')",
        "  -- a comment\n insert INTO watchlist (plate, created_at) VALUES ('A', 'now')",
    ],
)
def test_a_statement_that_changes_rows_begins_a_transaction_when_none_is_open(store, statement):
    connection = store._get_conn()
    connection.execute(statement)
    assert connection.in_transaction is True
    connection.execute(statement)
    connection.rollback()
    assert connection.in_transaction is False
    assert database.count(store.db_path, "watchlist") == 0


def test_a_statement_in_a_transaction_stays_in_it(store):
    connection = store._get_conn()
    connection.execute("INSERT INTO watchlist (plate, created_at) VALUES ('A', 'now')")
    connection.execute("CREATE TABLE other (x)")
    connection.execute("SELECT 1").fetchall()
    assert connection.in_transaction is True
    connection.rollback()
    assert "other" not in database.schema(store.db_path)


def test_the_transaction_begins_deferred(store):
    """With another connection's write lock on the file, only a deferred BEGIN gets through."""
    connection = store._get_conn()
    connection.execute("PRAGMA busy_timeout = 0")
    connection.execute("CREATE TEMP TABLE notes (x)")
    with database.lock_held(store.db_path, "IMMEDIATE"):
        connection.execute("INSERT INTO notes VALUES (1)")
        assert connection.in_transaction is True
        assert tuple(connection.execute("SELECT x FROM notes").fetchone()) == (1,)
    connection.rollback()


def test_values_come_back_in_their_storage_classes(store):
    row = store._get_conn().execute("SELECT NULL, 5, 5.0, '5', x'35', 1e999").fetchone()
    assert exactly(tuple(row)) == exactly((None, 5, 5.0, "5", b"5", float("inf")))


def test_declared_types_are_not_detected(store):
    connection = store._get_conn()
    connection.execute("CREATE TEMP TABLE t (a date, b timestamp, c boolean)")
    connection.execute("INSERT INTO t VALUES ('2024-05-01', '2024-05-01 10:00:00', 1)")
    row = connection.execute('SELECT a, b, c, a AS "a [date]" FROM t').fetchone()
    assert exactly(tuple(row)) == exactly(("2024-05-01", "2024-05-01 10:00:00", 1, "2024-05-01"))
    assert row.keys() == ["a", "b", "c", "a [date]"]


def test_a_connection_belongs_to_the_thread_that_opened_it(store):
    connection = store._get_conn()
    errors = []
    thread = threading.Thread(
        target=lambda: errors.append(error_of(connection.execute, "SELECT 1"))
    )
    thread.start()
    thread.join()
    here, there = threading.get_ident(), thread.ident
    assert type_and_text(errors[0]) == (
        sqlite3.ProgrammingError,
        "SQLite objects created in a thread can only be used in that same thread. The object was"
        f" created in thread id {here} and this is thread id {there}.",
    )


def test_a_missing_file_is_made_empty(store, tmp_path):
    store.db_path = tmp_path / "missing.db"
    connection = store._get_conn()
    assert connection.execute("SELECT * FROM sqlite_master").fetchall() == []
    assert store.db_path.read_bytes() == b""


def test_a_missing_directory_is_not_made(store, tmp_path):
    store.db_path = tmp_path / "missing" / "anpr.db"
    for call in (store._get_conn, store.get_history):
        error = error_of(call)
        assert type_and_text(error) == (sqlite3.OperationalError, "unable to open database file")
        assert (error.sqlite_errorcode, error.sqlite_errorname) == (14, "SQLITE_CANTOPEN")
    assert not store.db_path.parent.exists()


def test_memory_is_private_to_the_connection(store):
    store.db_path = ":memory:"
    first, second = store._get_conn(), store._get_conn()
    first.execute("CREATE TABLE t (x)")
    assert second.execute("SELECT * FROM sqlite_master").fetchall() == []


def test_the_connection_is_the_callers_to_keep(store):
    connection = store._get_conn()
    with connection:
        connection.execute("INSERT INTO watchlist (plate, created_at) VALUES ('A', 'now')")
    assert database.count(store.db_path, "watchlist") == 1
    with connection as subject:
        assert subject is connection
    connection.close()
    assert type_and_text(error_of(connection.execute, "SELECT 1")) == (
        sqlite3.ProgrammingError,
        "Cannot operate on a closed database.",
    )


def test_opening_raises_the_audit_event_with_the_path(store_module_name, tmp_path):
    out = run_child(
        """
        import importlib, sys
        store = importlib.import_module(sys.argv[1]).ANPRDatabase("anpr.db")
        events = []
        sys.addaudithook(
            lambda event, values: events.append(values) if event == "sqlite3.connect" else None
        )
        store.get_history()
        print(events)
        """,
        store_module_name,
        cwd=tmp_path,
    )
    assert out == "[('anpr.db',)]\n"
