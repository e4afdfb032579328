"""One round: a fresh server on a fresh copy of the file, and the client's load on it."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any
from urllib.request import urlopen

import peers
from server_load.conditions import Condition

HERE = Path(__file__).resolve().parent
PATIENCE = 60  # seconds; only ends what hangs
DETECTIONS = 10_000  # as many as the example server keeps
SAMPLE_EVERY = 0.1  # seconds


@dataclass(frozen=True)
class Figures:
    """What one round showed. What only Linux tells of a process is 0 elsewhere."""

    requests_a_second: float
    p50_ms: float
    p99_ms: float
    slowest_ms: float
    failed: dict[str, int]  # by status
    cpu_ms: float  # of the server, for each request; with what a recognising thread took
    peak_mib: float
    descriptors: int  # at most, while under load
    descriptors_left: int  # more than before, when the load had ended


class Server:
    """A running server's process."""

    def __init__(self, process: subprocess.Popen[str]) -> None:
        assert process.stdout is not None
        self.pid = process.pid
        self.port = int(process.stdout.readline())

    def descriptors(self) -> int:
        folder = Path(f"/proc/{self.pid}/fd")
        return len(list(folder.iterdir())) if folder.exists() else 0

    def cpu_seconds(self) -> float:
        stat = Path(f"/proc/{self.pid}/stat")
        if not stat.exists():
            return 0.0
        # The command's name, in brackets, may hold anything; the fields are counted behind it.
        fields = stat.read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def peak_mib(self) -> float:
        status = Path(f"/proc/{self.pid}/status")
        for line in status.read_text().splitlines() if status.exists() else ():
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) / 1024
        return 0.0


def get(server: Server, path: str) -> bytes:
    with urlopen(f"http://127.0.0.1:{server.port}{path}", timeout=PATIENCE) as answer:
        body: bytes = answer.read()
    return body


@contextmanager
def running(peer: str, database: Path, recognising: bool = False) -> Iterator[Server]:
    name = "store" if peer == peers.STORE else "twin"
    beside = "recognising" if recognising else "alone"
    command = [sys.executable, str(HERE / "served.py"), name, str(database), beside]
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    try:
        yield Server(process)
    finally:
        process.terminate()
        process.communicate(timeout=PATIENCE)


def load(server: Server, connections: int, seconds: float, seed: int) -> tuple[dict[str, Any], int]:
    """What the client counted, and the most descriptors that the server had open meanwhile."""
    arguments = (server.port, connections, seconds, seed, DETECTIONS)
    command = [sys.executable, str(HERE / "client.py"), *map(str, arguments)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as client:
        most = 0
        while True:
            most = max(most, server.descriptors())
            try:
                output, _ = client.communicate(timeout=SAMPLE_EVERY)
                break
            except subprocess.TimeoutExpired:
                pass
    if client.returncode:
        raise RuntimeError(f"the client ended with exit code {client.returncode}")
    counted: dict[str, Any] = json.loads(output)
    return counted, most


def run_round(
    condition: Condition, folder: Path, filled: Path, seconds: float, number: int
) -> Figures:
    database = folder / "served.db"
    shutil.copy(filled, database)
    try:
        with running(condition.peer, database, condition.recognising) as server:
            get(server, "/api/alerts/count")  # answered as soon as it has started
            before = server.descriptors()
            used = server.cpu_seconds()
            counted, most = load(server, condition.connections, seconds, number)
            used = server.cpu_seconds() - used
            left = server.descriptors() - before
            peak = server.peak_mib()
    finally:
        for file in folder.glob("served.db*"):
            file.unlink()
    took: list[float] = counted["milliseconds"]
    if not took:
        raise RuntimeError(f"no request was answered: {condition}")
    return Figures(
        requests_a_second=len(took) / seconds,
        p50_ms=took[len(took) // 2],
        p99_ms=took[len(took) * 99 // 100],
        slowest_ms=took[-1],
        failed=counted["failed"],
        cpu_ms=used * 1000 / counted["requests"],
        peak_mib=peak,
        descriptors=most,
        descriptors_left=left,
    )
