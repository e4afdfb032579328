"""The layout of a new file, and the statements that make it."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.fakes import RecordingConnection, connecting_class, recording_class, statements, steps
from support.operations import SCHEMA
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of

GUARDED = [statement for statement in SCHEMA if statement.startswith("ALTER")]
UNGUARDED = [statement for statement in SCHEMA if statement not in GUARDED]


def test_a_new_file_holds_these_tables_and_indexes_and_no_others(store, db_path):
    rows = database.query(db_path, "SELECT type, name, tbl_name FROM sqlite_master ORDER BY name")
    assert rows == [
        ("table", "alerts", "alerts"),
        ("table", "detections", "detections"),
        ("index", "idx_alerts_ts", "alerts"),
        ("index", "idx_timestamp", "detections"),
        ("table", "sqlite_sequence", "sqlite_sequence"),
        ("table", "watchlist", "watchlist"),
    ]
    assert database.columns(db_path, "detections") == DETECTION_COLUMNS


def test_the_stored_statements_show_which_columns_were_added_later(store, db_path):
    detections, by_time, _, _, watchlist, _, alerts, _, _, alerts_by_time = (
        statement.replace("IF NOT EXISTS ", "") for statement in SCHEMA
    )
    stored = database.schema(db_path)
    assert stored["detections"] == (
        detections.removesuffix(")") + ", mmc_data TEXT, detection_confidences TEXT)"
    )
    assert stored["watchlist"] == watchlist
    # The engine puts a column that it adds before the constraints.
    assert stored["alerts"] == alerts.replace(
        ", FOREIGN KEY", ", is_read INTEGER DEFAULT 0, FOREIGN KEY"
    )
    assert stored["idx_timestamp"] == by_time
    assert stored["idx_alerts_ts"] == alerts_by_time


def test_the_foreign_key_is_declared_and_not_enforced(store, db_path):
    (declared,) = database.query(db_path, "PRAGMA foreign_key_list(alerts)")
    assert declared[2:5] == ("detections", "detection_id", "id")
    detection_id = add(store)
    with store._get_conn() as connection:
        for refers_to in (999, detection_id):
            connection.execute(
                "INSERT INTO alerts (timestamp, plate, detection_id) VALUES ('now', 'A', ?)",
                (refers_to,),
            )
        connection.execute("DELETE FROM detections")
    rows = database.query(db_path, "SELECT detection_id, is_read FROM alerts")
    assert rows == [(999, 0), (detection_id, 0)]


def test_an_id_is_never_given_twice(store, db_path):
    assert [add(store) for _ in range(3)] == [1, 2, 3]
    database.run_script(db_path, "DELETE FROM detections WHERE id = 3")
    assert add(store) == 4
    database.run_script(db_path, "DELETE FROM detections")
    assert add(store) == 5


def test_defaults_fill_the_columns_that_another_program_leaves_out(store, db_path):
    database.run_script(db_path, "INSERT INTO detections (timestamp) VALUES ('now')")
    row = database.detection(db_path, 1)
    assert (row["num_plates"], row["success"], row["plates"], row["mmc_data"]) == (0, 1, None, None)


@pytest.fixture
def construct(store_module, db_path):
    """Constructs a store on the file; its log. What is raised before a statement runs, is raised.

    A construction that fails gives its error.
    """

    def make(before_execute=None):
        log = []
        recorded = recording_class(store_module.ANPRDatabase, log, before_execute)
        try:
            recorded(db_path)
        except BaseException as error:
            return log, error
        return log, None

    return make


@pytest.mark.parametrize("kind", ["new", "current"])
def test_the_steps_run_in_their_order_on_one_connection(construct, kind):
    if kind == "current":
        construct()
    log, error = construct()
    assert error is None
    assert [entry[1:] for entry in log if entry[0] == "execute"] == [(s,) for s in SCHEMA]
    assert steps(log) == ["_get_conn", "enter", *["execute"] * len(SCHEMA), "commit", "exit"]


def test_it_returns_nothing_and_may_run_again(store, db_path):
    before = database.contents(db_path)
    assert store._init_schema() is None
    assert database.contents(db_path) == before


def test_each_step_takes_effect_by_itself(construct, db_path):
    """Looked at from another connection, each step is there once it has run."""
    seen = []
    construct(lambda _: seen.append(len(database.query(db_path, "SELECT * FROM sqlite_master"))))
    assert seen == [0, 2, 3, 3, 3, 4, 4, 5, 5, 5]


def raising_at(chosen, raised):
    def before_execute(statement):
        if statement == chosen:
            raise raised

    return before_execute


class SubclassedError(sqlite3.OperationalError):
    pass


IGNORED = [sqlite3.OperationalError("disk I/O error"), SubclassedError("of another kind")]
NOT_IGNORED = [
    sqlite3.DatabaseError("file is not a database"),
    sqlite3.ProgrammingError("closed"),
    MemoryError(),
    KeyboardInterrupt(),
]


@pytest.mark.parametrize("guarded", GUARDED)
@pytest.mark.parametrize("raised", IGNORED, ids=repr)
def test_every_operational_error_of_a_guarded_step_is_ignored(construct, guarded, raised):
    log, error = construct(raising_at(guarded, raised))
    assert error is None
    assert statements(log) == list(SCHEMA)
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize("guarded", GUARDED)
@pytest.mark.parametrize("raised", NOT_IGNORED, ids=repr)
def test_any_other_error_of_a_guarded_step_ends_construction(construct, guarded, raised):
    log, error = construct(raising_at(guarded, raised))
    assert error is raised
    assert statements(log)[-1] == guarded
    assert log[-1] == ("exit", type(raised))


@pytest.mark.parametrize("unguarded", UNGUARDED)
def test_any_error_of_an_unguarded_step_ends_construction_and_leaves_the_steps_before(
    construct, store_module, db_path, tmp_path, unguarded
):
    raised = sqlite3.OperationalError("disk I/O error")
    log, error = construct(raising_at(unguarded, raised))
    assert error is raised
    ran = statements(log)
    assert ran == list(SCHEMA[: SCHEMA.index(unguarded) + 1])
    assert "commit" not in steps(log)

    # The same file as one on which just those steps ran.
    by_hand = tmp_path / "by_hand.db"
    database.run_script(by_hand, "; ".join(s for s in ran[:-1] if "note" not in s or "CREATE" in s))
    assert database.schema(db_path) == database.schema(by_hand)

    # A later construction completes the rest.
    store_module.ANPRDatabase(db_path)
    store_module.ANPRDatabase(tmp_path / "new.db")
    assert database.schema(db_path) == database.schema(tmp_path / "new.db")


def test_an_error_of_the_commit_ends_construction(store_module, db_path):
    log, raised = [], sqlite3.OperationalError("disk full")
    failing = connecting_class(
        store_module.ANPRDatabase,
        lambda opened: RecordingConnection(opened, log, at={"commit": raised}),
    )
    assert error_of(failing, db_path) is raised
    assert log[-1] == ("exit", sqlite3.OperationalError)
