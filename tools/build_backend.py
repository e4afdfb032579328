"""What pip asks to build the package: scikit-build-core, once all that a build needs is there.

Whoever lacks SQLite's headers learns so in one line, with the command that installs them, and not
from the end of a build log.
"""

from __future__ import annotations

import os
import platform
import shlex
import shutil
import subprocess
import sys
import sysconfig
from pathlib import Path
from typing import Any

from scikit_build_core import build as _backend
from scikit_build_core.build import (
    build_sdist,
    build_wheel,
    get_requires_for_build_sdist,
)

# The times of a wheel's members: the same sources give the same bytes.
os.environ.setdefault("SOURCE_DATE_EPOCH", "315532800")  # 1980, the first that a zip can tell

__all__ = [
    "build_sdist",
    "build_wheel",
    "get_requires_for_build_sdist",
    "get_requires_for_build_wheel",
]


def get_requires_for_build_wheel(settings: dict[str, Any] | None = None) -> list[str]:
    complaint = _complaint()
    if complaint:
        sys.exit(complaint)
    return _backend.get_requires_for_build_wheel(settings)


def _complaint() -> str | None:
    """What is missing and how to get it; None where nothing is."""
    python = f"{sys.implementation.name} {platform.python_version()}"
    if sys.implementation.name != "cpython" or sys.version_info[:2] != (3, 12):
        return (
            f"This package is for CPython 3.12, and this is {python}. "
            "Use one, for instance: python3.12 -m pip install ."
        )
    if not (Path(sysconfig.get_path("include")) / "Python.h").is_file():
        return (
            f"Python.h of {python} is missing. {_cure('it', 'python3.12-dev', 'python3.12-devel')}"
        )
    compiler = shlex.split(os.environ.get("CXX") or shutil.which("c++") or "c++")
    if not shutil.which(compiler[0]):
        return f"A C++20 compiler is missing. {_cure('it', 'g++', 'gcc-c++')}"
    if not _compiles(compiler, "#include <concepts>\n#include <span>\n"):
        return (
            f"{compiler[0]} does not compile C++20; GCC 12 and Clang 14 or later do. "
            f"{_cure('it', 'g++', 'gcc-c++')}"
        )
    if not _compiles(compiler, "#include <sqlite3.h>\n"):
        return f"SQLite's headers are missing. {_cure('them', 'libsqlite3-dev', 'sqlite-devel')}"
    return None


def _cure(what: str, debian: str, fedora: str) -> str:
    if shutil.which("dnf") and not shutil.which("apt-get"):
        return f"Install {what}: sudo dnf install {fedora}"
    return f"Install {what}: sudo apt-get install {debian}"


def _compiles(compiler: list[str], source: str) -> bool:
    command = [*compiler, "-std=c++20", "-fsyntax-only", "-x", "c++", "-"]
    return subprocess.run(command, input=source.encode(), capture_output=True).returncode == 0
