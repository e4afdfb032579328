"""A call that has returned, or failed, has closed its connection: no collector is needed."""

from __future__ import annotations

import gc
import sqlite3

import pytest

from support.database import lock_held, open_descriptors, run_script
from support.fakes import connecting_class
from support.operations import BAD_CALLS, GOOD_CALLS
from support.sample_file import make_sample
from support.values import error_of


@pytest.fixture(scope="module")
def sample(tmp_path_factory):
    return make_sample(tmp_path_factory.mktemp("sample") / "x.db")


@pytest.fixture
def store(native, db_path, sample):
    """Python's own connections wait for the collector, so this is about the native ones."""
    gc.disable()
    store = native.ANPRDatabase(db_path)
    assert open_descriptors(db_path) == []
    db_path.write_bytes(sample)
    yield store
    gc.enable()


@pytest.mark.parametrize("journal", ["DELETE", "WAL"])
@pytest.mark.parametrize("call", GOOD_CALLS.values(), ids=str)
def test_a_call_leaves_no_descriptor(store, db_path, call, journal):
    run_script(db_path, f"PRAGMA journal_mode = {journal}")
    result = call.run(store)
    if call.method == "_get_conn":
        assert len(open_descriptors(db_path)) == 1
        del result
    assert open_descriptors(db_path) == []


@pytest.mark.parametrize("call", BAD_CALLS.values(), ids=str)
def test_a_failing_call_leaves_none_while_its_error_is_still_held(store, db_path, call):
    error = error_of(call.run, store)
    assert open_descriptors(db_path) == []
    assert error.__traceback__ is not None


BROKEN = {
    "a conversion": ("UPDATE detections SET plates = x'ff'", UnicodeDecodeError),
    "a missing table": ("DROP TABLE detections", sqlite3.OperationalError),
}


@pytest.mark.parametrize("name", BROKEN)
def test_a_reader_that_fails_leaves_none(store, db_path, name):
    script, kind = BROKEN[name]
    run_script(db_path, script)
    for call in (store.get_history, lambda: store.get_detection(1), store.search_plates):
        error = error_of(call)
        assert type(error) is kind
        assert open_descriptors(db_path) == []


def test_a_file_that_is_no_database_leaves_none(native, tmp_path):
    path = tmp_path / "no.db"
    path.write_bytes(b"no database " * 100)
    error = error_of(native.ANPRDatabase, path)
    assert type(error) is sqlite3.DatabaseError
    assert open_descriptors(path) == []


def test_a_locked_file_leaves_only_the_holders(native, store, db_path):
    def hurry(connection):
        connection.execute("PRAGMA busy_timeout = 0")
        return connection

    impatient = connecting_class(native.ANPRDatabase, hurry)(db_path)
    with lock_held(db_path, "EXCLUSIVE"):
        held = len(open_descriptors(db_path))
        error = error_of(impatient.get_history)
        assert str(error) == "database is locked"
        # While another connection of this process has a lock, the engine puts off closing a
        # descriptor of the same file: POSIX locks go with the first one closed.
        assert len(open_descriptors(db_path)) <= held + 1
    assert open_descriptors(db_path) == []


def test_a_row_that_the_caller_keeps_keeps_no_file_open(store, db_path):
    kept = []
    store._row_to_dict = kept.append
    store.get_history()
    assert open_descriptors(db_path) == []
    assert kept[-1]["id"] == 1
