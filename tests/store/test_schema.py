"""The layout of a new file, and the statements that make it."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import recording_class, statements, steps
from support.samples import DETECTION_COLUMNS, add
from support.values import error_of

DETECTIONS = (
    "(id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp TEXT NOT NULL,"
    " num_plates INTEGER DEFAULT 0, plates TEXT, confidences TEXT, bboxes TEXT,"
    " processing_time REAL, detector_time REAL, ocr_time REAL, image_path TEXT,"
    " thumbnail_path TEXT, success INTEGER DEFAULT 1"
)
WATCHLIST = (
    "(id INTEGER PRIMARY KEY AUTOINCREMENT, plate TEXT NOT NULL, label TEXT DEFAULT '',"
    " note TEXT DEFAULT '', created_at TEXT NOT NULL)"
)
ALERTS = (
    "(id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp TEXT NOT NULL, plate TEXT NOT NULL,"
    " watchlist_label TEXT DEFAULT '', note TEXT DEFAULT '', detection_id INTEGER,"
    " confidence REAL"
)
FOREIGN = ", FOREIGN KEY (detection_id) REFERENCES detections(id)"
STEPS = [
    f"CREATE TABLE IF NOT EXISTS detections {DETECTIONS})",
    "CREATE INDEX IF NOT EXISTS idx_timestamp ON detections(timestamp DESC)",
    "ALTER TABLE detections ADD COLUMN mmc_data TEXT",
    "ALTER TABLE detections ADD COLUMN detection_confidences TEXT",
    f"CREATE TABLE IF NOT EXISTS watchlist {WATCHLIST}",
    "ALTER TABLE watchlist ADD COLUMN note TEXT DEFAULT ''",
    f"CREATE TABLE IF NOT EXISTS alerts {ALERTS}{FOREIGN})",
    "ALTER TABLE alerts ADD COLUMN note TEXT DEFAULT ''",
    "ALTER TABLE alerts ADD COLUMN is_read INTEGER DEFAULT 0",
    "CREATE INDEX IF NOT EXISTS idx_alerts_ts ON alerts(timestamp DESC)",
]
GUARDED = [statement for statement in STEPS if statement.startswith("ALTER")]
UNGUARDED = [statement for statement in STEPS if statement not in GUARDED]


def table_info(path, table):
    return [row[1:] for row in database.query(path, f"PRAGMA table_info({table})")]


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


def test_the_stored_statements_show_which_columns_were_added_later(store, db_path):
    stored = database.schema(db_path)
    assert stored["detections"] == (
        f"CREATE TABLE detections {DETECTIONS}, mmc_data TEXT, detection_confidences TEXT)"
    )
    assert stored["watchlist"] == f"CREATE TABLE watchlist {WATCHLIST}"
    # The engine puts a column that it adds before the constraints.
    added = ", is_read INTEGER DEFAULT 0"
    assert stored["alerts"] == f"CREATE TABLE alerts {ALERTS}{added}{FOREIGN})"
    assert stored["idx_timestamp"] == "CREATE INDEX idx_timestamp ON detections(timestamp DESC)"
    assert stored["idx_alerts_ts"] == "CREATE INDEX idx_alerts_ts ON alerts(timestamp DESC)"


def test_the_columns_of_detections(store, db_path):
    assert database.columns(db_path, "detections") == DETECTION_COLUMNS
    assert table_info(db_path, "detections") == [
        ("id", "INTEGER", 0, None, 1),
        ("timestamp", "TEXT", 1, None, 0),
        ("num_plates", "INTEGER", 0, "0", 0),
        ("plates", "TEXT", 0, None, 0),
        ("confidences", "TEXT", 0, None, 0),
        ("bboxes", "TEXT", 0, None, 0),
        ("processing_time", "REAL", 0, None, 0),
        ("detector_time", "REAL", 0, None, 0),
        ("ocr_time", "REAL", 0, None, 0),
        ("image_path", "TEXT", 0, None, 0),
        ("thumbnail_path", "TEXT", 0, None, 0),
        ("success", "INTEGER", 0, "1", 0),
        ("mmc_data", "TEXT", 0, None, 0),
        ("detection_confidences", "TEXT", 0, None, 0),
    ]


def test_the_columns_of_the_watchlist(store, db_path):
    assert table_info(db_path, "watchlist") == [
        ("id", "INTEGER", 0, None, 1),
        ("plate", "TEXT", 1, None, 0),
        ("label", "TEXT", 0, "''", 0),
        ("note", "TEXT", 0, "''", 0),
        ("created_at", "TEXT", 1, None, 0),
    ]


def test_the_columns_of_alerts(store, db_path):
    assert table_info(db_path, "alerts") == [
        ("id", "INTEGER", 0, None, 1),
        ("timestamp", "TEXT", 1, None, 0),
        ("plate", "TEXT", 1, None, 0),
        ("watchlist_label", "TEXT", 0, "''", 0),
        ("note", "TEXT", 0, "''", 0),
        ("detection_id", "INTEGER", 0, None, 0),
        ("confidence", "REAL", 0, None, 0),
        ("is_read", "INTEGER", 0, "0", 0),
    ]


@pytest.mark.parametrize("index", ["idx_timestamp", "idx_alerts_ts"])
def test_an_index_is_on_the_timestamp_descending(store, db_path, index):
    first = database.query(db_path, f"PRAGMA index_xinfo({index})")[0]
    assert first[2:4] == ("timestamp", 1)


def test_the_foreign_key_is_declared_and_not_enforced(store, db_path):
    (declared,) = database.query(db_path, "PRAGMA foreign_key_list(alerts)")
    assert declared[2:5] == ("detections", "detection_id", "id")
    connection = store._get_conn()
    with connection:
        connection.execute(
            "INSERT INTO alerts (timestamp, plate, detection_id) VALUES ('now', 'A', 999)"
        )
    assert database.query(db_path, "SELECT detection_id, is_read FROM alerts") == [(999, 0)]


def test_an_alert_outlives_its_detection(store, db_path):
    detection_id = add(store)
    connection = store._get_conn()
    with connection:
        connection.execute(
            "INSERT INTO alerts (timestamp, plate, detection_id) VALUES ('now', 'A', ?)",
            (detection_id,),
        )
    before = database.query(db_path, "SELECT * FROM alerts")
    with connection:
        connection.execute("DELETE FROM detections WHERE id = ?", (detection_id,))
    assert database.query(db_path, "SELECT * FROM alerts") == before


def test_an_id_is_never_given_twice(store, db_path):
    ids = [add(store) for _ in range(3)]
    assert ids == [1, 2, 3]
    database.run_script(db_path, "DELETE FROM detections WHERE id = 3")
    assert add(store) == 4
    database.run_script(db_path, "DELETE FROM detections")
    assert add(store) == 5


def test_defaults_fill_the_columns_that_another_program_leaves_out(store, db_path):
    database.run_script(db_path, "INSERT INTO detections (timestamp) VALUES ('now')")
    row = database.detection(db_path, 1)
    assert (row["num_plates"], row["success"], row["plates"], row["mmc_data"]) == (0, 1, None, None)


def construct_recorded(store_module, db_path, before_execute=None):
    log = []
    recorded = recording_class(store_module.ANPRDatabase, log, before_execute)
    return recorded, log


def test_the_steps_run_in_their_order_on_one_connection(store_module, db_path):
    recorded, log = construct_recorded(store_module, db_path)
    recorded(db_path)
    assert statements(log) == STEPS
    assert steps(log) == ["_get_conn", "enter", *["execute"] * len(STEPS), "commit", "exit"]
    assert all(len(entry) == 2 for entry in log if entry[0] == "execute")  # no parameters


def test_the_same_steps_run_on_a_current_file(store, store_module, db_path):
    recorded, log = construct_recorded(store_module, db_path)
    recorded(db_path)
    assert statements(log) == STEPS


def test_it_returns_nothing_and_may_run_again(store, db_path):
    before = database.contents(db_path)
    assert store._init_schema() is None
    assert database.contents(db_path) == before


def test_each_step_takes_effect_by_itself(store_module, db_path):
    """Looked at from another connection, each step is there once it has run."""
    seen = []

    def before_execute(statement):
        seen.append(len(database.query(db_path, "SELECT name FROM sqlite_master")))

    recorded, _ = construct_recorded(store_module, db_path, before_execute)
    recorded(db_path)
    assert seen == [0, 2, 3, 3, 3, 4, 4, 5, 5, 5]


class SubclassedError(sqlite3.OperationalError):
    pass


@pytest.mark.parametrize("guarded", GUARDED)
@pytest.mark.parametrize(
    "raised",
    [sqlite3.OperationalError("disk I/O error"), SubclassedError("of another kind")],
    ids=repr,
)
def test_every_operational_error_of_a_guarded_step_is_ignored(
    store_module, db_path, guarded, raised
):
    def before_execute(statement):
        if statement == guarded:
            raise raised

    recorded, log = construct_recorded(store_module, db_path, before_execute)
    recorded(db_path)
    assert statements(log) == STEPS
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize("guarded", GUARDED)
@pytest.mark.parametrize(
    "raised",
    [
        sqlite3.DatabaseError("file is not a database"),
        sqlite3.ProgrammingError("closed"),
        MemoryError(),
        KeyboardInterrupt(),
    ],
    ids=repr,
)
def test_any_other_error_of_a_guarded_step_ends_construction(
    store_module, db_path, guarded, raised
):
    def before_execute(statement):
        if statement == guarded:
            raise raised

    recorded, log = construct_recorded(store_module, db_path, before_execute)
    assert error_of(recorded, db_path) is raised
    assert statements(log)[-1] == guarded
    assert log[-1] == ("exit", type(raised))


@pytest.mark.parametrize("unguarded", UNGUARDED)
def test_any_error_of_an_unguarded_step_ends_construction_and_leaves_the_steps_before(
    store_module, db_path, tmp_path, unguarded
):
    raised = sqlite3.OperationalError("disk I/O error")

    def before_execute(statement):
        if statement == unguarded:
            raise raised

    recorded, log = construct_recorded(store_module, db_path, before_execute)
    assert error_of(recorded, db_path) is raised
    ran = statements(log)
    assert ran == STEPS[: STEPS.index(unguarded) + 1]
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
    raised = sqlite3.OperationalError("disk full")
    log = []

    class Failing(recording_class(store_module.ANPRDatabase, log)):
        def _get_conn(self):
            connection = super()._get_conn()

            def commit():
                raise raised

            connection.commit = commit
            return connection

    assert error_of(Failing, db_path) is raised
    assert log[-1] == ("exit", sqlite3.OperationalError)
