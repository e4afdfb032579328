"""One process of a crowd: threads that write, read, scan or spin for a while, and what each got.

Started by crowd.py. Says "ready", waits for a line on its standard input, works for the time given
and prints its result as JSON.
"""

from __future__ import annotations

import argparse
import json
import sys
import threading
import time
from collections.abc import Callable
from contextlib import nullcontext
from pathlib import Path
from typing import Any

from peers import native, twin
from spinner import Spinner

NO_PLATE = "no such plate"
READS: dict[str, Callable[[Any], object]] = {
    "get_statistics": lambda store: store.get_statistics(),
    "search_plates": lambda store: store.search_plates(NO_PLATE),
    "get_hourly_stats": lambda store: store.get_hourly_stats(10**6),
    "get_history(100)": lambda store: store.get_history(100),
    "get_detection": lambda store: store.get_detection(4711),
    "check_watchlist": lambda store: store.check_watchlist(["B-AB 1234"]),
}


def write(store: Any) -> object:
    return store.add_detection(
        ["B-AB 1234"], [0.97], [[412, 633, 598, 671]], 0.043, 0.028, 0.012, "images/1.jpg"
    )


class Caller(threading.Thread):
    """Calls in a loop between the start and the end, and notes how long each call took."""

    def __init__(self, call: Callable[[], object], window: Window) -> None:
        super().__init__(daemon=True)
        self.call = call
        self.window = window
        self.times: list[int] = []
        self.errors: list[str] = []

    def run(self) -> None:
        self.window.begin.wait()
        clock = time.perf_counter_ns
        while (started := clock()) < self.window.end:
            try:
                self.call()
            except Exception as error:
                self.errors.append(f"{type(error).__name__}: {error}")
            self.times.append(clock() - started)


class Window:
    def __init__(self) -> None:
        self.begin = threading.Event()
        self.end = 0

    def open(self, seconds: float) -> None:
        self.end = time.perf_counter_ns() + int(seconds * 1e9)
        self.begin.set()


def callers(given: argparse.Namespace, window: Window) -> dict[str, list[Caller]]:
    peer = native() if given.peer == "store" else twin()
    store = peer.open(given.file)
    lock = threading.Lock() if given.peer == "twin+lock" else nullcontext()

    def locked_write() -> object:
        with lock:
            return write(store)

    read = READS[given.read]
    made = {
        "writers": [Caller(locked_write, window) for _ in range(given.writers)],
        "readers": [Caller(lambda: read(store), window) for _ in range(given.readers)],
    }
    read(store)
    return made


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--peer", choices=("store", "twin", "twin+lock"), required=True)
    parser.add_argument("--file", type=Path, required=True)
    parser.add_argument("--writers", type=int, default=0)
    parser.add_argument("--readers", type=int, default=0)
    parser.add_argument("--spinning", type=int, default=0)
    parser.add_argument("--read", choices=READS, default="get_detection")
    parser.add_argument("--seconds", type=float, default=4)
    given = parser.parse_args()
    window = Window()
    groups = callers(given, window)
    spinners = [Spinner() for _ in range(given.spinning)]
    threads = [*groups["writers"], *groups["readers"], *spinners]
    for thread in threads:
        thread.start()
    print("ready", flush=True)
    sys.stdin.readline()
    for spinner in spinners:
        spinner.longest_stop_ns = 0
    began = time.perf_counter_ns()
    window.open(given.seconds)
    for group in groups.values():
        for caller in group:
            caller.join()
    lasted = time.perf_counter_ns() - began
    stops = [spinner.longest_stop_ns for spinner in spinners]
    for spinner in spinners:
        spinner.stop()
    result: dict[str, object] = {
        name: [{"times": caller.times, "errors": caller.errors} for caller in group]
        for name, group in groups.items()
    }
    result["seconds"] = lasted / 1e9
    result["longest_stop_ms"] = max(stops, default=0) / 1e6
    print(json.dumps(result), flush=True)


if __name__ == "__main__":
    main()
