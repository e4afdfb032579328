"""The scope that every operation runs in: one connection, ended by commit or rollback."""

from __future__ import annotations

import gc
import sqlite3
import weakref

import pytest

from support import database
from support.recording import RecordingConnection, recording_class, steps
from support.samples import add
from support.values import error_of, type_and_text

OPERATIONS = {
    "add_detection": lambda store: add(store),
    "get_history": lambda store: store.get_history(),
    "get_detection": lambda store: store.get_detection(1),
    "update_image_paths": lambda store: store.update_image_paths(1, "a", "b"),
    "update_mmc_data": lambda store: store.update_mmc_data(1, {}),
    "_init_schema": lambda store: store._init_schema(),
}
WRITING = ["add_detection", "update_image_paths", "update_mmc_data", "_init_schema"]
READING = ["get_history", "get_detection"]


@pytest.fixture(params=OPERATIONS)
def operation(request):
    return OPERATIONS[request.param]


def test_an_operation_opens_one_connection_and_runs_between_its_ends(recorded, operation):
    store, log = recorded
    operation(store)
    asked = steps(log)
    assert asked[:2] == ["_get_conn", "enter"]
    assert log[-1] == ("exit", None)
    assert [asked.count(name) for name in ("_get_conn", "enter", "exit")] == [1, 1, 1]


@pytest.mark.parametrize("name", WRITING)
def test_a_writing_operation_commits_after_its_statements(recorded, name):
    store, log = recorded
    OPERATIONS[name](store)
    asked = steps(log)
    assert asked.count("commit") == 1
    assert "execute" not in asked[asked.index("commit") :]


@pytest.mark.parametrize("name", READING)
def test_a_reading_operation_does_not_commit(recorded, name):
    store, log = recorded
    add(store)
    log.clear()
    OPERATIONS[name](store)
    assert "commit" not in steps(log)


@pytest.mark.parametrize(
    ("name", "expected"),
    [
        ("add_detection", ["execute", "commit", "lastrowid"]),
        ("update_image_paths", ["execute", "commit"]),
        ("update_mmc_data", ["execute", "commit"]),
        ("get_history", ["execute", "fetchall"]),
        ("get_detection", ["execute", "fetchone"]),
    ],
)
def test_an_operation_asks_for_no_more_than_it_needs(recorded, name, expected):
    store, log = recorded
    OPERATIONS[name](store)
    assert steps(log) == ["_get_conn", "enter", *expected, "exit"]


def test_the_connection_used_is_what_enter_returned(store, operation):
    class Front:
        def __init__(self, inner):
            self.inner = inner

        def __enter__(self):
            return self.inner

        def __exit__(self, *error):
            return self.inner.__exit__(*error)

    log = []
    opened = store._get_conn
    store._get_conn = lambda: Front(RecordingConnection(opened(), log))
    operation(store)
    assert "execute" in steps(log)


def test_enter_and_exit_are_looked_up_on_the_type(store, operation):
    class Connection(RecordingConnection):
        pass

    log = []
    opened = store._get_conn

    def open_connection():
        connection = Connection(opened(), log)
        connection.__enter__ = connection.__exit__ = None
        return connection

    store._get_conn = open_connection
    operation(store)
    assert log[-1] == ("exit", None)


class Enter:
    def __enter__(self):
        raise AssertionError("exit is looked up before entering")


class Exit:
    def __exit__(self, *error):
        raise AssertionError("never entered")


@pytest.mark.parametrize(
    "subject", [None, 5, object(), Enter(), Exit()], ids=lambda subject: type(subject).__name__
)
def test_what_is_no_connection_fails_as_in_a_with_statement(store, operation, subject):
    def with_statement():
        with subject:
            pass

    store._get_conn = lambda: subject
    assert type_and_text(error_of(operation, store)) == type_and_text(error_of(with_statement))


def test_an_error_of_opening_reaches_the_caller_as_it_was_raised(store, operation):
    raised = ValueError("not today")

    def failing():
        raise raised

    store._get_conn = failing
    assert error_of(operation, store) is raised


@pytest.mark.parametrize(
    "raised",
    [
        sqlite3.OperationalError("disk I/O error"),
        sqlite3.IntegrityError("a constraint"),
        ValueError("of the caller's own"),
        KeyboardInterrupt(),
        StopIteration(5),
        GeneratorExit(),
    ],
    ids=repr,
)
@pytest.mark.parametrize("name", [name for name in OPERATIONS if name != "_init_schema"])
def test_an_error_of_a_statement_ends_the_scope_and_reaches_the_caller(
    store_module, db_path, name, raised
):
    log = []

    def failing(statement):
        if armed:
            raise raised

    armed = False
    store = recording_class(store_module.ANPRDatabase, log, failing)(db_path)
    armed = True
    log.clear()
    assert error_of(OPERATIONS[name], store) is raised
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]  # and no retry
    assert log[-1] == ("exit", type(raised))


class Swallowing(RecordingConnection):
    def __exit__(self, *error):
        super().__exit__(*error)
        return True


def test_an_error_gets_out_also_when_exit_returns_true(store, operation):
    raised = KeyError("kept")

    def failing(statement):
        raise raised

    opened = store._get_conn
    log = []
    store._get_conn = lambda: Swallowing(opened(), log, failing)
    assert error_of(operation, store) is raised
    assert log[-1] == ("exit", KeyError)


def test_a_true_exit_changes_no_result(store):
    add(store)
    opened = store._get_conn
    store._get_conn = lambda: Swallowing(opened(), [])
    assert store.get_detection(1)["id"] == 1
    assert add(store) == 2


def test_exit_is_given_the_error_with_its_type_and_traceback(store, operation):
    seen = []

    class Watching(RecordingConnection):
        def __exit__(self, *error):
            seen.append(error)
            return super().__exit__(*error)

    raised = ValueError("seen")

    def failing(statement):
        raise raised

    opened = store._get_conn
    store._get_conn = lambda: Watching(opened(), [], failing)
    error_of(operation, store)
    ((error_type, error, traceback),) = seen
    assert error_type is ValueError
    assert error is raised
    assert traceback is not None


def test_an_error_of_leaving_takes_the_place_of_the_blocks(store, operation):
    class Failing(RecordingConnection):
        def __exit__(self, *error):
            super().__exit__(*error)
            raise LookupError("while leaving")

    def failing(statement):
        raise ValueError("in the block")

    opened = store._get_conn
    store._get_conn = lambda: Failing(opened(), [], failing)
    error = error_of(operation, store)
    assert type_and_text(error) == (LookupError, "while leaving")
    assert type_and_text(error.__context__) == (ValueError, "in the block")


def test_an_error_of_leaving_normally_reaches_the_caller(store, operation):
    class Failing(RecordingConnection):
        def __exit__(self, *error):
            super().__exit__(*error)
            raise LookupError("while leaving")

    opened = store._get_conn
    store._get_conn = lambda: Failing(opened(), [])
    assert type_and_text(error_of(operation, store)) == (LookupError, "while leaving")


def test_a_failing_commit_leaves_nothing_of_the_operation(store, store_module, db_path):
    class Failing(RecordingConnection):
        def commit(self):
            raise sqlite3.OperationalError("disk full")

    opened = store._get_conn
    store._get_conn = lambda: Failing(opened(), [])
    before = database.contents(db_path)
    assert type_and_text(error_of(add, store)) == (sqlite3.OperationalError, "disk full")
    assert database.contents(db_path) == before
    assert add(store_module.ANPRDatabase(db_path)) == 1


def with_open_insert(store):
    """Each connection of the store arrives with a transaction open and a row inserted in it."""
    opened = store._get_conn

    def open_connection():
        connection = opened()
        connection.execute("PRAGMA busy_timeout = 20")
        connection.execute("INSERT INTO watchlist (plate, created_at) VALUES ('A', 'now')")
        return connection

    store._get_conn = open_connection


def test_leaving_normally_commits_what_is_open(store, db_path):
    with_open_insert(store)
    assert store.get_history() == []
    assert database.count(db_path, "watchlist") == 1


@pytest.mark.parametrize(
    "failing",
    [
        lambda store: store.get_history("no number"),
        lambda store: store.get_detection([]),
        lambda store: store.update_mmc_data(1, {1}),
        lambda store: add(store, plates=None),
        lambda store: add(store, processing_time=[]),
    ],
)
def test_leaving_by_an_error_rolls_everything_back(store, db_path, failing):
    with_open_insert(store)
    error_of(failing, store)
    assert database.count(db_path, "watchlist") == 0
    assert database.count(db_path, "detections") == 0


def test_a_failing_commit_at_the_end_is_rolled_back_and_reported(store, db_path):
    with_open_insert(store)
    kept = []
    opened = store._get_conn

    def open_and_keep():
        kept.append(opened())
        return kept[-1]

    store._get_conn = open_and_keep
    with database.lock_held(db_path, "SHARED"):
        error = error_of(store.get_history)
        assert type_and_text(error) == (sqlite3.OperationalError, "database is locked")
        assert error.sqlite_errorname == "SQLITE_BUSY"
        assert kept[0].in_transaction is False
    assert database.count(db_path, "watchlist") == 0


class Referable(RecordingConnection):
    """A connection that can be referred to weakly."""


@pytest.mark.parametrize("fails", [False, True], ids=["returning", "failing"])
def test_the_connection_is_dropped_without_the_collectors_help(store, operation, fails):
    references = []
    opened = store._get_conn

    def failing(statement):
        if fails:
            raise ValueError("dropped all the same")

    def open_connection():
        connection = Referable(opened(), [], failing)
        references.append(weakref.ref(connection))
        return connection

    store._get_conn = open_connection
    gc.collect()
    gc.disable()
    try:
        try:
            operation(store)
        except ValueError:
            assert fails
        assert [reference() for reference in references] == [None]
    finally:
        gc.enable()


def test_the_connection_is_not_closed_before_it_is_dropped(store, operation):
    """Whoever else holds the connection may go on with it: leaving a scope does not close it."""
    kept = []
    opened = store._get_conn

    def open_connection():
        kept.append(opened())
        return kept[-1]

    store._get_conn = open_connection
    operation(store)
    (connection,) = kept
    assert connection.execute("SELECT 5").fetchone()[0] == 5
    assert connection.in_transaction is False
