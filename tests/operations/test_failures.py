"""Errors of the engine and of the commit reach the caller unchanged; the file is as it was."""

from __future__ import annotations

import re
import sqlite3

import pytest

from support import database
from support.fakes import RecordingConnection, impatient_class, steps, wrap_connections
from support.operations import BY_NAME, CONNECTED, READING, WRITING
from support.sample_file import make_sample
from support.values import error_of, type_and_text

LOCKED = (sqlite3.OperationalError, "database is locked")
ON_ROWS = [operation for operation in CONNECTED if operation.name != "_init_schema"]
WRITING_ROWS = [operation for operation in WRITING if operation in ON_ROWS]


def table_of(operation):
    statement = operation.sample.runs[0][0]
    return re.search(r"(?:FROM|INTO|UPDATE) (\w+)", statement)[1]


def no_table(operation):
    return sqlite3.OperationalError, f"no such table: {table_of(operation)}"


@pytest.fixture
def impatient(store_module, db_path):
    """A store on the sample file whose connections do not wait."""
    make_sample(db_path)
    return impatient_class(store_module.ANPRDatabase)(db_path)


@pytest.mark.parametrize("operation", ON_ROWS, ids=str)
def test_a_missing_table(recorded, db_path, operation):
    store, log = recorded
    database.run_script(db_path, f"DROP TABLE {table_of(operation)}")
    error = error_of(operation.run, store)
    assert type_and_text(error) == no_table(operation)
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (1, "SQLITE_ERROR")
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.OperationalError)


COLUMNS = {
    "add_detection": ("ocr_time", "table detections has no column named ocr_time"),
    "update_mmc_data": ("mmc_data", "no such column: mmc_data"),
    "search_plates": ("mmc_data", "no such column: mmc_data"),
    "get_statistics": ("processing_time", "no such column: processing_time"),
    "get_hourly_stats": ("num_plates", "no such column: num_plates"),
    "get_top_plates": ("plates", "no such column: plates"),
    "add_watchlist": ("label", "table watchlist has no column named label"),
    "add_alert": ("plate", "table alerts has no column named plate"),
    "get_alert_count": ("is_read", "no such column: is_read"),
    "mark_alerts_read": ("is_read", "no such column: is_read"),
    "get_alerts_for_detections": ("detection_id", "no such column: detection_id"),
}


@pytest.mark.parametrize("name", COLUMNS)
def test_a_missing_column(store, db_path, name):
    column, text = COLUMNS[name]
    table = table_of(BY_NAME[name])
    if column == "detection_id":  # it refers to another table, so the column cannot be dropped
        database.run_script(db_path, "DROP TABLE alerts; CREATE TABLE alerts (id, timestamp)")
    else:
        database.run_script(db_path, f"ALTER TABLE {table} DROP COLUMN {column}")
    failed = []
    for call in BY_NAME[name].calls:
        if any(column in statement for statement, *_ in call.runs):
            failed.append(type_and_text(error_of(call.run, store)))
        elif call.runs:
            call.run(store)  # a statement that does not name it does not need it
    assert set(failed) == {(sqlite3.OperationalError, text)}


@pytest.mark.parametrize("kind", ["IMMEDIATE", "EXCLUSIVE", "SHARED"])
@pytest.mark.parametrize("operation", WRITING_ROWS, ids=str)
def test_a_write_fails_while_another_writes_and_at_its_commit_while_another_reads(
    impatient, db_path, operation, kind
):
    before = database.contents(db_path)
    with database.lock_held(db_path, kind):
        error = error_of(operation.run, impatient)
        if kind == "SHARED":  # rolled back, not left half-way: others may write up to their commit
            with database.lock_held(db_path, "IMMEDIATE"):
                pass
    assert type_and_text(error) == LOCKED
    assert (error.sqlite_errorcode, error.sqlite_errorname) == (5, "SQLITE_BUSY")
    assert database.contents(db_path) == before
    operation.run(impatient)
    assert database.contents(db_path) != before


@pytest.mark.parametrize("operation", READING, ids=str)
def test_a_read_fails_only_while_another_has_the_file_for_itself(impatient, db_path, operation):
    expected = operation.run(impatient)
    for kind in ("SHARED", "IMMEDIATE"):
        with database.lock_held(db_path, kind):
            assert operation.run(impatient) == expected
    with database.lock_held(db_path, "EXCLUSIVE"):
        assert type_and_text(error_of(operation.run, impatient)) == LOCKED
    assert operation.run(impatient) == expected


@pytest.mark.parametrize("operation", CONNECTED, ids=str)
def test_a_file_that_became_another_thing(store, db_path, operation):
    db_path.write_bytes(b"no database any more" * 100)
    error = error_of(operation.run, store)
    assert type_and_text(error) == (sqlite3.DatabaseError, "file is not a database")
    db_path.unlink()
    db_path.mkdir()
    error = error_of(operation.run, store)
    assert type_and_text(error) == (sqlite3.OperationalError, "unable to open database file")


@pytest.mark.parametrize("operation", ON_ROWS, ids=str)
def test_a_file_that_went_away_is_made_anew_and_empty(store, db_path, operation):
    db_path.unlink()
    assert type_and_text(error_of(operation.run, store)) == no_table(operation)
    assert db_path.exists()


@pytest.mark.parametrize("operation", WRITING_ROWS, ids=str)
def test_a_trigger_that_refuses_undoes_the_whole_change(sampled, db_path, operation):
    verb = operation.sample.runs[0][0].split()[0]
    database.run_script(
        db_path,
        f"""
        CREATE TABLE seen (id);
        CREATE TRIGGER refuse AFTER {verb} ON {table_of(operation)} BEGIN
            INSERT INTO seen VALUES (1);
            SELECT RAISE(ABORT, 'refused');
        END
        """,
    )
    before = database.contents(db_path)
    error = error_of(operation.run, sampled)
    assert type_and_text(error) == (sqlite3.IntegrityError, "refused")
    assert error.sqlite_errorname == "SQLITE_CONSTRAINT_TRIGGER"
    assert database.contents(db_path) == before
    assert database.count(db_path, "seen") == 0


@pytest.mark.parametrize("operation", CONNECTED, ids=str)
def test_a_failing_commit_is_rolled_back(sampled, db_path, operation):
    """The explicit commit of a writing operation; a reading one has none."""
    log, failure = [], LookupError("no commit")
    wrap_connections(sampled, lambda c: RecordingConnection(c, log, at={"commit": failure}))
    before = database.contents(db_path)
    if operation.writes:
        assert error_of(operation.run, sampled) is failure
        assert log[-1] == ("exit", LookupError)
    else:
        operation.run(sampled)
    assert database.contents(db_path) == before
