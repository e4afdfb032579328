"""A thread that only counts: how far it came tells whether the interpreter was let go."""

from __future__ import annotations

import threading
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager


class Counter:
    """Counts on a thread of its own until it is told to stop."""

    def __init__(self, yielding: bool = False) -> None:
        self.count = 0
        self._stop = False
        self._yielding = yielding
        self._thread = threading.Thread(target=self._run, daemon=True)

    def _run(self) -> None:
        while not self._stop:
            self.count += 1
            if self._yielding:
                # Gives the interpreter back after each step; otherwise only when it is asked for.
                time.sleep(0)

    def progress_of(self, function: Callable[[], object]) -> int:
        before = self.count
        function()
        return self.count - before


@contextmanager
def counting(yielding: bool = False) -> Iterator[Counter]:
    counter = Counter(yielding)
    counter._thread.start()
    while not counter.count:
        time.sleep(0)
    try:
        yield counter
    finally:
        counter._stop = True
        counter._thread.join()
