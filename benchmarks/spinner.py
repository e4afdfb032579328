"""Threads that only count: what a busy recognition server does to a call, and a call to them."""

from __future__ import annotations

import threading
import time
from collections.abc import Iterator
from contextlib import contextmanager


class Spinner(threading.Thread):
    """Spins in Python code and notes the longest time between two of its turns."""

    def __init__(self) -> None:
        super().__init__(daemon=True)
        self.longest_stop_ns = 0
        self._stopping = False

    def run(self) -> None:
        clock = time.perf_counter_ns
        last = clock()
        while not self._stopping:
            now = clock()
            if now - last > self.longest_stop_ns:
                self.longest_stop_ns = now - last
            last = now

    def stop(self) -> None:
        self._stopping = True
        self.join()


@contextmanager
def spinning(threads: int) -> Iterator[list[Spinner]]:
    spinners = [Spinner() for _ in range(threads)]
    for spinner in spinners:
        spinner.start()
    time.sleep(0.02)  # all of them have had a turn
    try:
        yield spinners
    finally:
        for spinner in spinners:
            spinner.stop()
