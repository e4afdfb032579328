"""Python programs in processes of their own, which see the same packages as the tests."""

from __future__ import annotations

import os
import subprocess
import sys
import textwrap
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]

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


def _program(source: str) -> str:
    # At the end of the path: a folder here may be called like a module of the standard library.
    return f"import sys; sys.path.append({str(TESTS)!r})\n{textwrap.dedent(source)}"


def _command(source: str, arguments: tuple[str, ...]) -> list[str]:
    return [sys.executable, "-c", _program(source), *arguments]


def _environment(changes: dict[str, str] | None) -> dict[str, str]:
    return {**os.environ, "PYTHONUNBUFFERED": "1", **(changes or {})}


def run(
    source: str, *arguments: str, environment: dict[str, str] | None = None, cwd: Path | None = None
) -> subprocess.CompletedProcess[str]:
    """Runs the program to its end and returns whatever came of it."""
    return subprocess.run(
        _command(source, arguments),
        env=_environment(environment),
        cwd=cwd,
        capture_output=True,
        text=True,
        timeout=HANG_SECONDS,
        check=False,
    )


def output(
    source: str, *arguments: str, environment: dict[str, str] | None = None, cwd: Path | None = None
) -> str:
    """Runs a program that must end well; what it printed."""
    done = run(source, *arguments, environment=environment, cwd=cwd)
    assert_ended_well(done.returncode, done.stderr)
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


def assert_ended_well(code: int, errors: str) -> None:
    assert code == 0, f"exit code {code}\n{errors}"
    found = [word for word in ABORT_WORDS if word in errors]
    assert not found, errors
