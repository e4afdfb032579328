"""A second copy of SQLite in the process is warned of; the one copy that is usual is not."""

from __future__ import annotations

import _sqlite3
import re
import subprocess
import sys
from pathlib import Path

import pytest

from support import child

SHARED = b"libsqlite3.so.0"
SECOND = b"libsqlite9.so.0"  # as long as the other, so that it can be written over it

OPENS_TWICE = """
    import sys
    sys.path[:0] = sys.argv[1:]
    import sqlite3, tempfile, warnings
    from pathlib import Path
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        with tempfile.TemporaryDirectory() as folder:
            ANPRDatabase(str(Path(folder) / "a.db"))
            ANPRDatabase(str(Path(folder) / "a.db")).get_history()
    print(len(caught), {w.category.__name__ for w in caught})
    print(*{str(w.message) for w in caught})
"""


def engine_file() -> Path:
    listed = subprocess.run(["ldd", _sqlite3.__file__], capture_output=True, text=True, check=True)
    found = re.search(rf"{SHARED.decode()} => (\S+)", listed.stdout)
    if found is None:
        pytest.skip("this Python's sqlite3 is not linked to the shared library")
    return Path(found[1])


@pytest.fixture
def other_engine(tmp_path):
    """A folder with a copy of SQLite under another name, and Python's module linked to it."""
    copy = engine_file().read_bytes().replace(SHARED, SECOND)
    (tmp_path / SECOND.decode()).write_bytes(copy)
    module = Path(_sqlite3.__file__)
    (tmp_path / module.name).write_bytes(module.read_bytes().replace(SHARED, SECOND))
    return tmp_path


def test_a_second_copy_is_warned_of_once(other_engine):
    output = child.output(
        OPENS_TWICE,
        str(other_engine),
        environment={"LD_LIBRARY_PATH": str(other_engine)},
    )
    count, message = output.splitlines()
    assert count == "1 {'RuntimeWarning'}"
    assert "two copies of SQLite in this process" in message
    assert "lose transactions" in message


def test_the_one_copy_is_not_warned_of():
    assert child.output(OPENS_TWICE).splitlines()[0] == "0 set()"


def test_no_connection_of_python_is_opened_to_find_out():
    output = child.output("""
        import sys, tempfile
        from pathlib import Path
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        events = []
        sys.addaudithook(lambda name, args: events.append(args) if name == "sqlite3.connect" else 0)
        with tempfile.TemporaryDirectory() as folder:
            ANPRDatabase(str(Path(folder) / "a.db"))
        print(len(events))
    """)
    assert output == "1\n"


def test_the_build_refuses_a_python_with_another_copy(other_engine):
    script = Path(__file__).parents[2] / "cmake" / "one_engine.py"
    if not script.exists():
        pytest.skip("the sources are not beside the tests")
    library = str(engine_file())
    same = subprocess.run([sys.executable, str(script), library], capture_output=True, check=False)
    assert same.returncode == 0
    other = subprocess.run(
        [sys.executable, str(script), library],
        capture_output=True,
        text=True,
        check=False,
        env={"PYTHONPATH": str(other_engine), "LD_LIBRARY_PATH": str(other_engine)},
    )
    assert other.returncode == 1
    assert "has a copy of SQLite" in other.stderr
