"""How long calls take: alone, and beside threads that spin."""

from __future__ import annotations

import statistics
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass

from spinner import spinning

ROUNDS = 5
ALONE_SECONDS = 0.15
BESIDE_SECONDS = 0.3

Call = Callable[[int], object]


@dataclass(frozen=True)
class Spread:
    """A middle figure in nanoseconds and the range around it."""

    middle: float
    low: float
    high: float
    calls: int


def alone(calls: Mapping[str, Call]) -> dict[str, Spread]:
    """Median and middle half of each peer's calls; the peers take turns, so load meets all."""
    samples: dict[str, list[int]] = {name: [] for name in calls}
    for _ in range(ROUNDS):
        for name, call in calls.items():
            _time_calls(call, samples[name], ALONE_SECONDS)
    spreads = {}
    for name, times in samples.items():
        low, middle, high = statistics.quantiles(times, n=4)
        spreads[name] = Spread(middle, low, high, len(times))
    return spreads


def beside(threads: int, calls: Mapping[str, Call]) -> dict[str, Spread]:
    """Mean of each peer's calls beside spinning threads: the middle, least and greatest round.

    A mean, since most calls of a burst run in one turn and the last one waits for the next.
    """
    made = dict.fromkeys(calls, 0)
    means: dict[str, list[float]] = {name: [] for name in calls}
    for _ in range(ROUNDS):
        for name, call in calls.items():
            samples: list[int] = []
            with spinning(threads):
                _time_calls(call, samples, BESIDE_SECONDS)
            made[name] += len(samples)
            means[name].append(statistics.fmean(samples))
    return {
        name: Spread(statistics.median(each), min(each), max(each), made[name])
        for name, each in means.items()
    }


def _time_calls(call: Call, samples: list[int], seconds: float) -> None:
    """Appends the time of each call until the seconds are over, of one at least."""
    clock = time.perf_counter_ns
    number = len(samples)
    end = clock() + int(seconds * 1e9)
    while True:
        started = clock()
        call(number)
        ended = clock()
        samples.append(ended - started)
        number += 1
        if ended >= end:
            return
