"""The scope that every operation runs in: one connection, ended by commit or rollback."""

from __future__ import annotations

import gc
import sqlite3
import weakref

import pytest

from support import database
from support.answering import answering
from support.fakes import RecordingConnection, give, keep_connections, steps, wrap_connections
from support.operations import BAD_CALLS, CONNECTED
from support.values import error_of, type_and_text

EVERY = pytest.mark.parametrize("operation", CONNECTED, ids=str)


@EVERY
def test_the_connection_used_is_what_enter_returned(sampled, operation):
    log = []

    def front(opened):
        """Gives another object when it is entered."""
        inner = RecordingConnection(opened, log)
        leave = lambda self, *error: inner.__exit__(*error)  # noqa: E731
        return answering(object, __enter__=lambda self: inner, __exit__=leave)

    wrap_connections(sampled, front)
    operation.run(sampled)
    assert "execute" in steps(log)


@EVERY
def test_enter_and_exit_are_looked_up_on_the_type(sampled, operation):
    log = []

    def wrap(opened):
        connection = RecordingConnection(opened, log)
        connection.__enter__ = connection.__exit__ = None
        return connection

    wrap_connections(sampled, wrap)
    operation.run(sampled)
    assert log[-1] == ("exit", None)


@EVERY
def test_what_is_no_connection_fails_as_in_a_with_statement(store, operation):
    def with_statement(subject):
        with subject:
            pass

    # Both are looked up before one is called.
    enters = answering(object, __enter__=AssertionError("entered"))
    leaves = answering(object, __exit__=AssertionError("left"))
    for subject in (None, 5, object(), enters, leaves):
        give(store, subject)
        expected = error_of(with_statement, subject)
        assert type_and_text(error_of(operation.run, store)) == type_and_text(expected)


@EVERY
def test_an_error_of_opening_reaches_the_caller_as_it_was_raised(store, operation):
    raised = ValueError("not today")

    def fail():
        raise raised

    store._get_conn = fail
    assert error_of(operation.run, store) is raised


RAISED = [
    sqlite3.OperationalError("disk I/O error"),
    sqlite3.IntegrityError("a constraint"),
    ValueError("of the caller's own"),
    KeyboardInterrupt(),
    StopIteration(5),
    GeneratorExit(),
]


class Left(RecordingConnection):
    """Writes down what leaving was given."""

    def __exit__(self, *error):
        self.error = error
        return super().__exit__(*error)


@pytest.mark.parametrize("swallows", [False, True])
@EVERY
def test_an_error_of_a_statement_ends_the_scope_and_reaches_the_caller(
    sampled, operation, swallows
):
    """Whatever leaving the connection returns; and nothing is tried again."""
    for raised in RAISED:
        log, opened = [], type(sampled)._get_conn(sampled)
        connection = give(sampled, Left(opened, log, at={"execute": raised}, swallows=swallows))
        assert error_of(operation.run, sampled) is raised
        assert steps(log) == ["enter", "execute", "exit"]
        error_type, error, traceback = connection.error
        assert error_type is type(raised)
        assert error is raised
        assert traceback is not None


@EVERY
def test_a_true_exit_changes_no_result(sampled, operation):
    expected = None if operation.writes else operation.run(sampled)
    wrap_connections(sampled, lambda opened: RecordingConnection(opened, swallows=True))
    result = operation.run(sampled)
    assert type(result) in operation.gives
    assert operation.writes or result == expected


@pytest.mark.parametrize("inside", [None, ValueError("in the block")], ids=repr)
@EVERY
def test_an_error_of_leaving_reaches_the_caller_with_the_blocks_behind_it(
    sampled, operation, inside
):
    leaving = LookupError("while leaving")
    at = {"exit": leaving, **({"execute": inside} if inside else {})}
    wrap_connections(sampled, lambda opened: RecordingConnection(opened, at=at))
    assert error_of(operation.run, sampled) is leaving
    assert leaving.__context__ is inside


@pytest.fixture
def inserting(sampled):
    """A store whose connections arrive with a transaction open and an alert inserted in it."""

    def insert(connection):
        connection.execute("PRAGMA busy_timeout = 20")
        connection.execute("INSERT INTO alerts (timestamp, plate) VALUES ('now', 'open')")
        return connection

    wrap_connections(sampled, insert)
    return sampled


def inserted(store):
    return database.query(store.db_path, "SELECT COUNT(*) FROM alerts WHERE plate = 'open'")[0][0]


@EVERY
def test_leaving_normally_commits_what_is_open(inserting, operation):
    operation.run(inserting)
    assert inserted(inserting) == 1


@pytest.mark.parametrize("call", BAD_CALLS.values(), ids=str)
def test_leaving_by_an_error_rolls_everything_back(inserting, call):
    assert type(error_of(call.run, inserting)) is call.error
    # These two work on what they read when the scope has been left normally.
    assert inserted(inserting) == (call.method in ("get_top_plates", "check_watchlist"))


def test_a_failing_commit_at_the_end_is_rolled_back_and_reported(inserting, db_path):
    kept = keep_connections(inserting)
    with database.lock_held(db_path, "SHARED"):
        error = error_of(inserting.get_history)
        assert type_and_text(error) == (sqlite3.OperationalError, "database is locked")
        assert error.sqlite_errorname == "SQLITE_BUSY"
        assert kept[0].in_transaction is False
    assert inserted(inserting) == 0


@pytest.mark.parametrize("fails", [False, True], ids=["returning", "failing"])
def test_the_connection_is_dropped_without_the_collectors_help(sampled, fails):
    references = []
    at = {"execute": ValueError("dropped all the same")} if fails else {}

    def wrap(opened):
        connection = RecordingConnection(opened, at=at)
        references.append(weakref.ref(connection))
        return connection

    wrap_connections(sampled, wrap)
    gc.collect()
    gc.disable()
    try:
        for operation in CONNECTED:
            try:
                operation.run(sampled)
            except ValueError as error:
                error.__traceback__ = None
                assert fails
            assert references.pop()() is None, operation
    finally:
        gc.enable()


@EVERY
def test_the_connection_is_not_closed_before_it_is_dropped(sampled, operation):
    """Whoever else holds the connection may go on with it: leaving a scope does not close it."""
    kept = keep_connections(sampled)
    operation.run(sampled)
    (connection,) = kept
    assert connection.execute("SELECT 5").fetchone()[0] == 5
    assert connection.in_transaction is False
