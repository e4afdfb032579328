"""Runs code in a fresh Python process: what happens once a process, or would end it."""

from __future__ import annotations

import os
import subprocess
import sys
import textwrap
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
NATIVE = "zentrope_anpr.zentrope_anpr_server_db"
TWIN = "support.twin"
TIMEOUT = 120  # seconds; only ends what hangs


def run_child(
    code: str, *arguments: str, python: str = sys.executable, cwd: str | Path | None = None
) -> str:
    """What the code printed; it must end by itself, and well."""
    environment = dict(os.environ)
    search = [str(TESTS), environment.get("PYTHONPATH", "")]
    environment["PYTHONPATH"] = os.pathsep.join(part for part in search if part)
    done = subprocess.run(
        [python, "-c", textwrap.dedent(code), *arguments],
        env=environment,
        cwd=cwd,
        capture_output=True,
        text=True,
        timeout=TIMEOUT,
        check=False,
    )
    assert done.returncode == 0, f"exit code {done.returncode}\n{done.stdout}\n{done.stderr}"
    return done.stdout
