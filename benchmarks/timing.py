"""How long calls take: alone, in the peers' processes, and beside threads that spin."""

from __future__ import annotations

import statistics
import time
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from pathlib import Path

from processes import BareEngine, Worker
from spinner import spinning
from works import Work

BESIDE_ROUNDS = 3
BESIDE_SECONDS = 0.25

Call = Callable[[int], object]


@dataclass(frozen=True)
class Spread:
    """A middle figure in nanoseconds and the range around it."""

    middle: float
    low: float
    high: float
    calls: int


class WrongAnswer(Exception):
    """The peers disagree, so a time would say nothing."""


class Peers:
    """The peers' processes; they take turns, so that load from outside meets all of them."""

    def __init__(self, rounds: int, seconds: float) -> None:
        self.rounds, self.seconds = rounds, seconds
        self.workers = {name: Worker(name) for name in ("store", "twin", "apsw", "sqlalchemy")}
        self.bare = BareEngine()

    def end(self) -> None:
        for worker in self.workers.values():
            worker.end()
        self.bare.end()

    def compare(self, key: str, work: Work, file: Path) -> list[str]:
        """The statements of the work, after all peers have given the same answer."""
        statements: list[str] = []
        if "bare" in work.peers:
            statements = self.workers["twin"].ask("statements", key, file)
        if not work.writes:
            answers = {
                name: self.workers[name].ask("answer", key, file)
                for name in work.peers
                if name != "bare"
            }
            wrong = [name for name, each in answers.items() if each != answers["twin"]]
            if wrong:
                raise WrongAnswer(f"{work.name}: another answer than the twin's from {wrong}")
        return statements

    def measure(self, key: str, work: Work, file: Path) -> dict[str, Spread]:
        statements = self.compare(key, work, file)
        samples: dict[str, list[int]] = {name: [] for name in work.peers}
        for _ in range(self.rounds):
            for name in work.peers:
                if name == "bare":
                    _, times = self.bare.times(file, statements, self.seconds)
                else:
                    times = self.workers[name].ask("time", key, file, seconds=self.seconds)
                samples[name] += times
        return {name: spread_of(times) for name, times in samples.items()}


def spread_of(times: list[int]) -> Spread:
    """Median and middle half."""
    if len(times) == 1:
        return Spread(times[0], times[0], times[0], 1)
    low, middle, high = statistics.quantiles(times, n=4, method="inclusive")
    return Spread(middle, low, high, len(times))


def beside(threads: int, calls: Mapping[str, Call]) -> dict[str, Spread]:
    """Mean of each peer's calls beside spinning threads: the middle, least and greatest round.

    A mean, since most calls of a burst run in one turn and the last one waits for the next.
    """
    made = dict.fromkeys(calls, 0)
    means: dict[str, list[float]] = {name: [] for name in calls}
    for _ in range(BESIDE_ROUNDS):
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
