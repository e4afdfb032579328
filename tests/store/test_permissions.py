"""Files and directories that the process may not use, tried by a process that is not root."""

from __future__ import annotations

import os
import shutil
import tempfile
from pathlib import Path

import pytest

from support.child import run_child
from support.samples import DETECTION

NOBODY = 65534

CHILD = f"""
import importlib, os, sys
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
    """A file with one detection, in a folder of its own."""
    (folder / "data").mkdir()
    path = folder / "data" / "anpr.db"
    store_module.ANPRDatabase(path).add_detection(**DETECTION)
    return path


def give(path: Path) -> None:
    """Hands it to the user that the child becomes."""
    if os.getuid() == 0:
        os.chown(path, NOBODY, NOBODY)


def child(name: str, path: Path, code: str) -> list[str]:
    return run_child(CHILD + code, name, str(path), cwd="/").splitlines()


def test_a_directory_that_cannot_be_made_is_the_operating_systems_error(store_module_name, folder):
    folder.chmod(0o555)
    missing = folder / "a" / "b"
    out = child(
        store_module_name,
        missing / "anpr.db",
        """
store = store_class.__new__(store_class)
store._init_schema = lambda: print("asked for the schema")
tell(store.__init__, sys.argv[2])
print(str(store.db_path) == sys.argv[2])
""",
    )
    assert out == [
        f"PermissionError: [Errno 13] Permission denied: '{missing.parent}'",
        "True",
    ]
    assert not missing.exists()


def test_a_new_file_in_a_closed_directory_cannot_be_opened(store_module_name, folder):
    folder.chmod(0o555)
    out = child(store_module_name, folder / "anpr.db", "tell(store_class, sys.argv[2])")
    assert out == ["OperationalError: unable to open database file"]
    assert os.listdir(folder) == []


def test_an_unreadable_file_cannot_be_opened(store_module_name, made):
    give(made.parent)
    give(made)
    made.chmod(0o000)
    out = child(store_module_name, made, "tell(store_class, sys.argv[2])")
    assert out == ["OperationalError: unable to open database file"]


def test_a_file_that_may_only_be_read_is_read_and_not_written(store_module_name, made):
    give(made.parent)
    give(made)
    made.chmod(0o444)
    before = made.read_bytes()
    out = child(
        store_module_name,
        made,
        """
store = store_class(sys.argv[2])
tell(lambda: store.get_detection(1)["plates"])
tell(lambda: len(store.get_history()))
tell(store.add_detection, **DETECTION)
tell(store.update_image_paths, 1, "a", "b")
tell(store.update_mmc_data, 1, {})
tell(lambda: len(store.get_history()))
""",
    )
    refused = "OperationalError: attempt to write a readonly database"
    assert out == ["['AB123', 'XY-9']", "1", refused, refused, refused, "1"]
    assert made.read_bytes() == before


def test_a_closed_directory_lets_no_journal_be_made(store_module_name, made):
    give(made)
    made.chmod(0o644)
    made.parent.chmod(0o555)
    before = made.read_bytes()
    out = child(
        store_module_name,
        made,
        """
store = store_class(sys.argv[2])
tell(lambda: len(store.get_history()))
tell(store.add_detection, **DETECTION)
""",
    )
    assert out == ["1", "OperationalError: attempt to write a readonly database"]
    assert made.read_bytes() == before
