"""What the file's journal costs a server: eight threads that record and read, in each mode.

    python benchmarks/journal_modes.py [--seconds 4] [--folder DIR] [--threads 8]

A mode is what a server may choose: SQLite's default, the default with the directory synced as well
(synchronous = EXTRA), WAL, and WAL with one idle connection kept open, so that the last call of a
moment does not checkpoint. Each thread records three times and reads seven times in turn.
"""

from __future__ import annotations

import argparse
import sqlite3
import statistics
import tempfile
import threading
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

PLATES = (["B MW 1234", "KA-01-AB-1234"], [0.97, 0.91], [[412, 300, 561, 338], [80, 290, 215, 331]])


class SyncsDirectory(ANPRDatabase):
    def _get_conn(self) -> Any:
        connection = super()._get_conn()
        connection.execute("PRAGMA synchronous = EXTRA")
        return connection


@contextmanager
def prepared(mode: str, path: Path) -> Iterator[ANPRDatabase]:
    store = SyncsDirectory(path) if mode == "rollback, EXTRA" else ANPRDatabase(path)
    idle = sqlite3.connect(path, check_same_thread=False)
    if mode.startswith("WAL"):
        idle.execute("PRAGMA journal_mode = WAL")
    if mode != "WAL, one idle connection":
        idle.close()
    for _ in range(100):
        store.add_detection(*PLATES, 0.084, 0.051, 0.033)
    yield store
    idle.close()


def one_thread(store: ANPRDatabase, until: float, writes: list[float], reads: list[float]) -> None:
    turn = 0
    while time.perf_counter() < until:
        started = time.perf_counter()
        if turn % 10 in (0, 3, 6):
            store.add_detection(*PLATES, 0.084, 0.051, 0.033)
            writes.append(time.perf_counter() - started)
        else:
            store.get_history(limit=20)
            reads.append(time.perf_counter() - started)
        turn += 1


def measure(mode: str, folder: Path, threads: int, seconds: float) -> tuple[float, ...]:
    writes: list[float] = []
    reads: list[float] = []
    scratch = tempfile.TemporaryDirectory(dir=folder)
    with scratch, prepared(mode, Path(scratch.name) / "anpr.db") as store:
        until = time.perf_counter() + seconds
        crowd = [
            threading.Thread(target=one_thread, args=(store, until, writes, reads))
            for _ in range(threads)
        ]
        for thread in crowd:
            thread.start()
        for thread in crowd:
            thread.join()
    return (
        (len(writes) + len(reads)) / seconds,
        statistics.median(writes) * 1e3,
        statistics.quantiles(writes, n=100)[98] * 1e3,
        statistics.quantiles(reads, n=100)[98] * 1e3,
    )


def main() -> None:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--seconds", type=float, default=4.0)
    parser.add_argument("--threads", type=int, default=8)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--folder", type=Path, default=Path(tempfile.gettempdir()))
    arguments = parser.parse_args()
    modes = ["rollback", "rollback, EXTRA", "WAL", "WAL, one idle connection"]
    results: dict[str, list[tuple[float, ...]]] = {mode: [] for mode in modes}
    for _ in range(arguments.rounds):
        for mode in modes:
            results[mode].append(
                measure(mode, arguments.folder, arguments.threads, arguments.seconds)
            )
    print(f"{'journal':26} {'calls/s':>8} {'write p50':>10} {'p99':>9} {'read p99':>9}")
    for mode, rounds in results.items():
        calls, median, write, read = (
            statistics.median(column) for column in zip(*rounds, strict=True)
        )
        print(f"{mode:26} {calls:8.0f} {median:7.2f} ms {write:6.1f} ms {read:6.1f} ms")


if __name__ == "__main__":
    main()
