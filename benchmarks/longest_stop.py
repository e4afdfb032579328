"""How long one call keeps a spinning thread from running."""

from __future__ import annotations

import statistics
import time
from collections.abc import Callable
from dataclasses import dataclass

from spinner import spinning


@dataclass(frozen=True)
class Stop:
    """Milliseconds: the usual and the worst longest stop, and how long the call took."""

    usual: float
    worst: float
    call: float


def longest_stop(call: Callable[[], object], rounds: int = 5) -> Stop:
    stops, times = [], []
    with spinning(1) as (spinner,):
        for _ in range(rounds):
            time.sleep(0.02)
            spinner.longest_stop_ns = 0
            started = time.perf_counter_ns()
            call()
            times.append(time.perf_counter_ns() - started)
            time.sleep(0.02)  # the thread ticks again, so a stop at the end counts too
            stops.append(spinner.longest_stop_ns)
    return Stop(statistics.median(stops) / 1e6, max(stops) / 1e6, statistics.median(times) / 1e6)
