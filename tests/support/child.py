"""Python programs in processes of their own: what happens once a process, or would end it.

They see the same packages as the tests.
"""

from __future__ import annotations

import os
import subprocess
import sys
import textwrap
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]
NATIVE = "zentrope_anpr.zentrope_anpr_server_db"
TWIN = "support.twin"

# Not a measure of speed: a child that hangs must not hang the whole run.
HANG_SECONDS = 240

# What a process that died in C code, or noticed a broken invariant, leaves on its standard error.
ABORT_WORDS = (
    "Fatal Python error",
    "terminate called",
    "Aborted",
    "Segmentation fault",
    "AddressSanitizer",
    "ThreadSanitizer",
    "LeakSanitizer",
    "runtime error:",
    "free(): ",
    "corrupted",
)


def _command(source: str, arguments: tuple[str, ...], python: str = sys.executable) -> list[str]:
    # At the end of the path: a folder here may be called like a module of the standard library.
    first = f"import sys; sys.path.append({str(TESTS)!r})\n"
    return [python, "-c", first + textwrap.dedent(source), *arguments]


def _environment(changes: dict[str, str] | None) -> dict[str, str]:
    return {**os.environ, "PYTHONUNBUFFERED": "1", **(changes or {})}


def run(
    source: str,
    *arguments: str,
    python: str = sys.executable,
    environment: dict[str, str] | None = None,
    cwd: str | Path | None = None,
) -> subprocess.CompletedProcess[str]:
    """Runs the program to its end and returns whatever came of it."""
    return subprocess.run(
        _command(source, arguments, python),
        env=_environment(environment),
        cwd=cwd,
        capture_output=True,
        text=True,
        timeout=HANG_SECONDS,
        check=False,
    )


def output(
    source: str,
    *arguments: str,
    python: str = sys.executable,
    environment: dict[str, str] | None = None,
    cwd: str | Path | None = None,
) -> str:
    """Runs a program that must end well; what it printed."""
    done = run(source, *arguments, python=python, environment=environment, cwd=cwd)
    assert_ended_well(done.returncode, done.stdout, done.stderr)
    return done.stdout


def start(
    source: str, *arguments: str, environment: dict[str, str] | None = None
) -> subprocess.Popen[str]:
    """Starts the program with pipes at all three ends; the caller waits for it."""
    return subprocess.Popen(
        _command(source, arguments),
        env=_environment(environment),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    )


def assert_ended_well(code: int, *told: str) -> None:
    assert code == 0, "\n".join([f"exit code {code}", *told])
    errors = told[-1] if told else ""
    assert not [word for word in ABORT_WORDS if word in errors], errors
