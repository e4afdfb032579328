"""The outcome of a crowd's scene as lines of at most 80 columns."""

from __future__ import annotations

from crowd_scene import Outcome

HEADER = (
    f"  {'':9}{'writes/s':>9}{'p99':>7}{'longest':>9}{'few/most':>11}"
    f"{'reads/s':>9}{'p99':>7}{'stop':>7}{'errors':>8}"
)


def number(value: float) -> str:
    return f"{value:,.0f}" if value >= 10 else f"{value:.1f}"


def print_scene(name: str, outcomes: list[Outcome]) -> None:
    """Calls a second; milliseconds; the longest stop is that of a spinning thread."""
    print(f"\n{name}\n{HEADER}")
    for outcome in outcomes:
        writes, reads = outcome.writes, outcome.reads
        few_most = f"{writes.fewest}/{writes.most}"
        line = (
            f"  {outcome.peer:9}{number(writes.per_second):>9}{number(writes.p99):>7}"
            f"{number(writes.longest):>9}{few_most:>11}"
        )
        if reads.per_second:
            line += f"{number(reads.per_second):>9}{number(reads.p99):>7}"
        else:
            line += " " * 16
        stop = number(outcome.longest_stop_ms) if outcome.longest_stop_ms else ""
        print(f"{line}{stop:>7}{writes.errors + reads.errors:>8}", flush=True)


def print_scans(name: str, outcomes: list[Outcome]) -> None:
    """One line: calls a second of each, their ratio, and the longest calls."""
    store, twin = outcomes
    ratio = store.reads.per_second / twin.reads.per_second if twin.reads.per_second else 0
    print(
        f"{name:36}{number(store.reads.per_second):>8}{number(twin.reads.per_second):>8} a second"
        f"{ratio:>7.1f} times; p99{number(store.reads.p99):>6}{number(twin.reads.p99):>6}",
        flush=True,
    )
