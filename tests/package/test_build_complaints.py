"""Who cannot build the package is told what is missing in one line, with the cure."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest

TOOLS = Path(__file__).parents[2] / "tools"
ASKS = "import build_backend as b; print(b.get_requires_for_build_wheel())"


def complaint(changes: dict[str, str], prelude: str = "") -> str:
    done = subprocess.run(
        [sys.executable, "-c", prelude + ASKS],
        env={**os.environ, "PYTHONPATH": str(TOOLS), **changes},
        capture_output=True,
        text=True,
        check=False,
    )
    assert done.returncode == 1, done.stdout
    return done.stderr


@pytest.fixture
def compiler_without(tmp_path):
    """A compiler that lacks one header."""

    def make(header: str) -> dict[str, str]:
        script = tmp_path / "compiler"
        script.write_text(
            f'#!/bin/sh\nsource=$(cat)\ncase "$source" in *"<{header}>"*) exit 1;; esac\n'
        )
        script.chmod(0o755)
        return {"CXX": str(script)}

    return make


def test_headers_of_sqlite(compiler_without):
    assert complaint(compiler_without("sqlite3.h")).startswith(
        "SQLite's headers are missing. Install them: sudo "
    )


def test_a_compiler(tmp_path):
    told = complaint({"CXX": str(tmp_path / "none")})
    assert told.startswith("A C++20 compiler is missing. Install it: sudo ")


def test_a_compiler_that_is_too_old(compiler_without):
    changes = compiler_without("concepts")
    assert complaint(changes).startswith(f"{changes['CXX']} does not compile C++20; GCC 12")


def test_headers_of_python():
    prelude = "import sysconfig; sysconfig.get_path = lambda name: '/nowhere'\n"
    assert complaint({}, prelude).startswith("Python.h of cpython 3.12.")


def test_another_python():
    prelude = "import sys, scikit_build_core.build; sys.version_info = (3, 11, 7)\n"
    assert complaint({}, prelude).startswith("This package is for CPython 3.12, and this is ")


def test_nothing():
    done = subprocess.run(
        [sys.executable, "-c", ASKS],
        env={**os.environ, "PYTHONPATH": str(TOOLS)},
        capture_output=True,
        text=True,
        check=False,
    )
    assert done.returncode == 0, done.stderr
