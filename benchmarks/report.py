"""The tables of a run."""

from __future__ import annotations

import os
import platform
import sqlite3
import sys
from collections.abc import Mapping, Sequence
from pathlib import Path

from rich.table import Table

from longest_stop import Stop
from timing import Spread

STORE, TWIN, BARE = "store", "Python twin", "bare SQL"


def machine(folder: Path) -> str:
    """What was measured on, with a warning when other programs have it too."""
    cores, load = os.cpu_count() or 1, os.getloadavg()[0]
    text = (
        f"Python {platform.python_version()}, SQLite {sqlite3.sqlite_version}, {cores} cores, "
        f"switch interval {sys.getswitchinterval() * 1000:g} ms, files in {folder.parent}"
    )
    if load > 0.25 * cores:
        text += (
            f"\n[yellow]Other programs are busy (load {load:.1f}): a spinning thread that has to"
            " wait for a core\ntakes the lock less often, so the figures beside threads are too"
            " low.[/]"
        )
    return text


def duration(*nanoseconds: float) -> str:
    """One time, or several with one unit: `1.32 ms`, `0.97-1.4 ms`."""
    units = (("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1.0))
    unit, size = next((each for each in units if max(nanoseconds) >= each[1]), units[-1])
    return "-".join(f"{each / size:.3g}" for each in nanoseconds) + f" {unit}"


def times_table(title: str, what: str, rows: Mapping[str, Mapping[str, Spread]]) -> Table:
    """One row a case: each peer's figure with its range, and how much faster the store is."""
    table = Table(title=title, title_justify="left", caption=what, caption_justify="left")
    table.add_column("call")
    peers = [each for each in (STORE, TWIN, BARE) if any(each in row for row in rows.values())]
    for peer in peers:
        table.add_column(peer, justify="right", no_wrap=True)
    table.add_column("twin : store", justify="right", style="bold")
    for name, spreads in rows.items():
        cells = [_spread(spreads[peer]) if peer in spreads else "" for peer in peers]
        table.add_row(name, *cells, f"{spreads[TWIN].middle / spreads[STORE].middle:.1f}")
    return table


def _spread(spread: Spread) -> str:
    around = duration(spread.low, spread.high)
    return f"[bold]{duration(spread.middle)}[/]\n[dim]{around}, {spread.calls:,}x[/]"


def stops_table(rows: Sequence[tuple[str, str, Stop]]) -> Table:
    """One row for each (call, peer, stop)."""
    table = Table(title="Longest stop of one spinning thread", title_justify="left")
    for column in ("call", "peer"):
        table.add_column(column)
    for column in ("usual", "worst", "the call took"):
        table.add_column(column, justify="right")
    for name, peer, stop in rows:
        figures = (duration(each * 1e6) for each in (stop.usual, stop.worst, stop.call))
        table.add_row(name, peer, *figures)
    return table


def memory_table(rows: Mapping[str, Mapping[str, float]]) -> Table:
    table = Table(
        title="Peak memory of check_watchlist, 4 plates against 100,000 entries",
        title_justify="left",
    )
    table.add_column("peer")
    for column in ("peak", "time", "matches"):
        table.add_column(column, justify="right")
    for peer, row in rows.items():
        table.add_row(
            peer,
            f"{row['peak_mib']:.1f} MiB",
            duration(row["seconds"] * 1e9),
            f"{row['matches']:.0f}",
        )
    return table
