"""The example server in a process of its own, as `make server` starts it."""

from __future__ import annotations

import os
import re
import signal
import subprocess
import sys
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

EXAMPLES = Path(__file__).resolve().parent.parent.parent / "examples"
PATIENCE = 60  # seconds; only ends what hangs


class ServerProcess:
    """A running server: its address, and what it has written so far once it has ended."""

    def __init__(self, database: Path, **settings: str) -> None:
        environment = {
            name: value for name, value in os.environ.items() if not name.startswith("ANPR_")
        }
        environment |= {"ANPR_DATABASE": str(database), "ANPR_PORT": "0", **settings}
        self.log = ""
        self._process = subprocess.Popen(
            [sys.executable, EXAMPLES / "run_server.py"],
            env=environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            bufsize=0,  # so that reading a line takes nothing away from reading the rest
        )
        try:
            self.address = self._address()
        except BaseException:
            self.end(signal.SIGKILL)
            raise

    def _address(self) -> str:
        assert self._process.stdout is not None
        for line in self._process.stdout:
            self.log += line.decode()
            if page := re.match(rb"The page: (http://127\.0\.0\.1:\d+)/", line):
                return page[1].decode()
        raise AssertionError(f"the server has not started:\n{self.log}")

    def end(self, signal_number: int = signal.SIGTERM) -> int:
        """Sends the signal, waits for the end, and gives the exit code."""
        if self._process.poll() is None:
            self._process.send_signal(signal_number)
        try:
            self.log += self._process.communicate(timeout=PATIENCE)[0].decode()
        except subprocess.TimeoutExpired:
            self._process.kill()
            self.log += self._process.communicate()[0].decode()
            raise
        return self._process.returncode


@contextmanager
def running_server(database: Path, **settings: str) -> Iterator[ServerProcess]:
    server = ServerProcess(database, **settings)
    try:
        yield server
    finally:
        server.end()
