"""What else closes its file at once, beside the calls of operations: no collector is needed."""

from __future__ import annotations

import gc
import sqlite3

import pytest

from support.database import lock_held, open_descriptors
from support.fakes import impatient_class
from support.samples import add
from support.values import error_of


@pytest.fixture
def store(native, db_path):
    """Python's own connections wait for the collector, so this is about the native ones."""
    gc.disable()
    yield native.ANPRDatabase(db_path)
    gc.enable()


def test_constructing_leaves_none(store, native, tmp_path):
    assert open_descriptors(tmp_path) == []
    path = tmp_path / "no.db"
    path.write_bytes(b"no database " * 100)
    error = error_of(native.ANPRDatabase, path)
    assert type(error) is sqlite3.DatabaseError
    assert open_descriptors(tmp_path) == []


def test_a_locked_file_leaves_only_the_holders(native, store, db_path):
    impatient = impatient_class(native.ANPRDatabase)(db_path)
    with lock_held(db_path, "EXCLUSIVE"):
        held = len(open_descriptors(db_path))
        error = error_of(impatient.get_history)
        assert str(error) == "database is locked"
        # While another connection of this process has a lock, the engine puts off closing a
        # descriptor of the same file: POSIX locks go with the first one closed.
        assert len(open_descriptors(db_path)) <= held + 1
    assert open_descriptors(db_path) == []


def test_a_row_that_the_caller_keeps_keeps_no_file_open(store, db_path):
    add(store)
    kept = []
    store._row_to_dict = kept.append
    store.get_history()
    assert open_descriptors(db_path) == []
    assert kept[0]["id"] == 1
