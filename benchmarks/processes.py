"""The peers' processes, as the run talks to them."""

from __future__ import annotations

import json
import subprocess
import sys
from pathlib import Path
from typing import Any

HERE = Path(__file__).resolve().parent


class Worker:
    """A peer that runs in Python."""

    def __init__(self, name: str) -> None:
        command = [sys.executable, str(HERE / "worker.py"), name]
        self._process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )

    def ask(self, do: str, work: str, file: Path, **more: object) -> Any:
        request = {"do": do, "work": work, "file": str(file), **more}
        return json.loads(_exchange(self._process, json.dumps(request)))

    def end(self) -> None:
        _end(self._process)


class BareEngine:
    """The C++ program that runs the statements alone."""

    def __init__(self) -> None:
        import anpr_test_modules

        programs = (Path(folder) / "bare_engine" for folder in anpr_test_modules.__path__)
        program = next(each for each in programs if each.exists())
        self._process = subprocess.Popen(
            [str(program)],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )

    def times(self, file: Path, statements: list[str], seconds: float) -> tuple[int, list[int]]:
        """Rows of one pass, and the nanoseconds of each."""
        answer = _exchange(self._process, "\t".join([str(seconds), str(file), *statements]))
        rows, *times = map(int, answer.split())
        return rows, times

    def end(self) -> None:
        _end(self._process)


def _exchange(process: subprocess.Popen[str], line: str) -> str:
    assert process.stdin is not None
    assert process.stdout is not None
    process.stdin.write(line + "\n")
    process.stdin.flush()
    answer = process.stdout.readline()
    if not answer:
        raise RuntimeError(f"{process.args!r} ended with {process.wait()}")
    return answer


def _end(process: subprocess.Popen[str]) -> None:
    assert process.stdin is not None
    process.stdin.close()
    process.wait()
