"""Files and directories that the process may not use, tried by a process that is not root."""

from __future__ import annotations

import os
import shutil
import tempfile
from pathlib import Path

import pytest

from support import child
from support.samples import DETECTION

pytestmark = pytest.mark.slow

NOBODY = 65534

CHILD = f"""
import importlib, os
store_class = importlib.import_module(sys.argv[1]).ANPRDatabase
import json, sqlite3  # loaded while it can be read
DETECTION = {DETECTION!r}
if os.getuid() == 0:
    os.setgroups([])
    os.setgid({NOBODY})
    os.setuid({NOBODY})

def tell(action, *arguments, **named):
    try:
        print(repr(action(*arguments, **named)))
    except Exception as error:
        print(f"{{type(error).__name__}}: {{error}}")
"""
NOT_OPENED = "OperationalError: unable to open database file"
NOT_WRITTEN = "OperationalError: attempt to write a readonly database"


@pytest.fixture
def folder():
    """A folder that other users reach, too: pytest's own is closed to them."""
    path = Path(tempfile.mkdtemp(dir="/tmp"))
    path.chmod(0o755)
    yield path
    for below in [path, *path.rglob("*")]:
        if below.is_dir():
            below.chmod(0o755)
    shutil.rmtree(path)


@pytest.fixture
def made(store_module, folder):
    """A file with one detection, in a folder of its own; both belong to whom the child becomes."""
    path = folder / "data" / "anpr.db"
    path.parent.mkdir()
    store_module.ANPRDatabase(path).add_detection(**DETECTION)
    if os.getuid() == 0:
        for given in (path, path.parent):
            os.chown(given, NOBODY, NOBODY)
    return path


@pytest.fixture
def told(store_module_name):
    """Runs code in the child, with this path; what it told."""
    return lambda path, code: child.output(
        CHILD + code, store_module_name, str(path), cwd="/"
    ).splitlines()


def test_a_directory_that_cannot_be_made_is_the_operating_systems_error(told, folder):
    folder.chmod(0o555)
    missing = folder / "a" / "b"
    code = """
store = store_class.__new__(store_class)
store._init_schema = lambda: print("asked for the schema")
tell(store.__init__, sys.argv[2])
print(str(store.db_path) == sys.argv[2])
"""
    error = f"PermissionError: [Errno 13] Permission denied: '{missing.parent}'"
    assert told(missing / "anpr.db", code) == [error, "True"]
    assert not missing.exists()


def test_a_new_file_in_a_closed_directory_cannot_be_opened(told, folder):
    folder.chmod(0o555)
    assert told(folder / "anpr.db", "tell(store_class, sys.argv[2])") == [NOT_OPENED]
    assert os.listdir(folder) == []


def test_an_unreadable_file_cannot_be_opened(told, made):
    made.chmod(0o000)
    assert told(made, "tell(store_class, sys.argv[2])") == [NOT_OPENED]


@pytest.mark.parametrize("closed", ["file", "directory"])
def test_what_may_only_be_read_is_read_and_not_written(told, made, closed):
    """A file without the right to write, or a directory that takes no journal."""
    (made if closed == "file" else made.parent).chmod(0o444 if closed == "file" else 0o555)
    before = made.read_bytes()
    code = """
store = store_class(sys.argv[2])
tell(lambda: store.get_detection(1)["plates"])
tell(lambda: len(store.get_history()))
tell(store.add_detection, **DETECTION)
tell(store.update_image_paths, 1, "a", "b")
tell(store.update_mmc_data, 1, {})
tell(lambda: len(store.get_history()))
"""
    assert told(made, code) == ["['AB123', 'XY-9']", "1", *[NOT_WRITTEN] * 3, "1"]
    assert made.read_bytes() == before
