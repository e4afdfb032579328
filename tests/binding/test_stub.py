"""The stub says what the module has, and the types reach whoever imports it."""

from __future__ import annotations

import os
import subprocess
import sys

import pytest

from support.child import NATIVE

pytest.importorskip("mypy")
pytestmark = pytest.mark.slow

USE = f"""
from pathlib import Path
from {NATIVE} import ANPRDatabase

store = ANPRDatabase("anpr.db")
new: int = store.add_detection(["A"], [0.5], [[1, 2, 3, 4]], 0.1, 0.1, 0.1, success=False)
record = store.get_detection(new)
if record is not None:
    stored: int = record["id"]
for entry in store.get_history(5, date_from="2024-05-01"):
    number: int = entry["id"]
path: Path = store.db_path
"""

MISUSE = {
    'store.get_history(limit="5")': "arg-type",
    "store.get_history(page=1)": "call-arg",
    "store.add_detection([])": "call-arg",
    'store.get_detection(1)["plates"]': "index",
    "store.get_nothing()": "attr-defined",
}


@pytest.fixture
def mypy(native, tmp_path):
    """Runs mypy's programs where nothing but the installed module can be found."""

    def run(*arguments: str) -> subprocess.CompletedProcess:
        return subprocess.run(
            [sys.executable, "-m", *arguments],
            cwd=tmp_path,
            env={**os.environ, "MYPY_CACHE_DIR": str(tmp_path / "cache")},
            capture_output=True,
            text=True,
            check=False,
        )

    return run


def test_the_stub_and_the_module_agree(mypy):
    done = mypy("mypy.stubtest", NATIVE)
    assert done.returncode == 0, done.stdout + done.stderr


def test_a_program_that_uses_the_store_type_checks(mypy, tmp_path):
    (tmp_path / "use.py").write_text(USE)
    done = mypy("mypy", "--strict", "use.py")
    assert done.returncode == 0, done.stdout + done.stderr


def test_misuse_is_told(mypy, tmp_path):
    lines = [f"from {NATIVE} import ANPRDatabase", 'store = ANPRDatabase("anpr.db")', *MISUSE]
    (tmp_path / "misuse.py").write_text("\n".join(lines) + "\n")
    done = mypy("mypy", "--strict", "misuse.py")
    told = {
        int(line.split(":")[1]) - 3: line.rsplit("[", 1)[1].rstrip("]")
        for line in done.stdout.splitlines()
        if ": error:" in line
    }
    assert told == dict(enumerate(MISUSE.values())), done.stdout + done.stderr
