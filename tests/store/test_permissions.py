"""Files and directories that the process may not use."""

from __future__ import annotations

import os
import sqlite3

import pytest

from support.operations import CONNECTED
from support.privileges import NOBODY, common_folder, without_privileges
from support.sample_file import make_sample
from support.values import error_of, type_and_text

NOT_OPENED = (sqlite3.OperationalError, "unable to open database file")
NOT_WRITTEN = (sqlite3.OperationalError, "attempt to write a readonly database")


@pytest.fixture
def folder():
    with common_folder() as folder:
        yield folder


def test_a_directory_that_cannot_be_made_is_the_operating_systems_error(store_module, folder):
    folder.chmod(0o555)
    missing = folder / "a" / "b"
    asked = []
    store = store_module.ANPRDatabase.__new__(store_module.ANPRDatabase)
    store._init_schema = lambda: asked.append(True)
    with without_privileges():
        error = error_of(store.__init__, missing / "anpr.db")
    text = f"[Errno 13] Permission denied: '{missing.parent}'"
    assert type_and_text(error) == (PermissionError, text)
    assert store.db_path == missing / "anpr.db"
    assert asked == []
    assert not missing.exists()


def test_a_new_file_in_a_closed_directory_cannot_be_opened(store_module, folder):
    folder.chmod(0o555)
    with without_privileges():
        error = error_of(store_module.ANPRDatabase, folder / "anpr.db")
    assert type_and_text(error) == NOT_OPENED
    assert os.listdir(folder) == []


@pytest.fixture
def made(folder):
    """A file with the sample rows, in a folder of its own; both belong to whom the tests become."""
    path = folder / "data" / "anpr.db"
    path.parent.mkdir()
    make_sample(path)
    if os.getuid() == 0:
        for given in (path, path.parent):
            os.chown(given, NOBODY, NOBODY)
    return path


def test_an_unreadable_file_cannot_be_opened(store_module, made):
    made.chmod(0o000)
    with without_privileges():
        assert type_and_text(error_of(store_module.ANPRDatabase, made)) == NOT_OPENED


@pytest.mark.parametrize("closed", ["file", "directory"])
def test_what_may_only_be_read_is_read_and_not_written(store_module, made, closed):
    """A file without the right to write, or a directory that takes no journal."""
    (made if closed == "file" else made.parent).chmod(0o444 if closed == "file" else 0o555)
    before = made.read_bytes()
    with without_privileges():
        store = store_module.ANPRDatabase(made)
        for operation in CONNECTED:
            if operation.writes and operation.name != "_init_schema":
                assert type_and_text(error_of(operation.run, store)) == NOT_WRITTEN
            else:
                assert type(operation.run(store)) in operation.gives
    assert made.read_bytes() == before
