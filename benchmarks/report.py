"""The tables of a run, for the terminal and for docs/performance.md alike."""

from __future__ import annotations

import os
import platform
import sqlite3
import sys
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from importlib.metadata import version
from pathlib import Path

from rich.table import Table

from longest_stop import Stop
from timing import Spread
from works import ALL, Work

TITLES = {
    "store": "store",
    "twin": "twin",
    "apsw": "apsw",
    "sqlalchemy": "SQLAlch.",
    "bare": "engine",
}


@dataclass(frozen=True)
class Figures:
    """A table of texts; the first column is on the left, the others are on the right."""

    title: str
    head: list[str]
    rows: list[list[str]]

    def for_terminal(self) -> Table:
        table = Table(title=self.title, title_justify="left", box=None, pad_edge=False)
        for number, each in enumerate(self.head):
            table.add_column(each, justify="right" if number else "left", no_wrap=number > 0)
        for row in self.rows:
            table.add_row(*row)
        return table

    def as_markdown(self) -> str:
        lines = ["| " + " | ".join(self.head) + " |"]
        lines.append("|---|" + "---:|" * (len(self.head) - 1))
        lines += ["| " + " | ".join(row) + " |" for row in self.rows]
        return "\n".join(lines)


def versions() -> dict[str, str]:
    import apsw

    return {
        "Python": platform.python_version(),
        "SQLite": sqlite3.sqlite_version,
        "apsw": f"{version('apsw')} (SQLite {apsw.sqlite_lib_version()})",
        "orjson": version("orjson"),
        "SQLAlchemy": version("sqlalchemy"),
    }


def machine(folder: Path) -> dict[str, str]:
    cores, load = os.cpu_count() or 1, os.getloadavg()[0]
    others = ", other programs had the machine too: single times are too high"
    return {
        "system": f"{platform.system()} {platform.machine()}, {cores} cores",
        "files in": str(folder.parent),
        "switch interval": f"{sys.getswitchinterval() * 1000:g} ms",
        "load when the run began": f"{load:.1f}{others if load > cores / 4 else ''}",
    }


def duration(nanoseconds: float) -> str:
    units = (("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1.0))
    unit, size = next((each for each in units if nanoseconds >= each[1]), units[-1])
    return f"{nanoseconds / size:.3g} {unit}"


def times_table(works: Sequence[Work], found: Mapping[str, Mapping[str, Spread]]) -> Figures:
    peers = [peer for peer in ALL if any(peer in each for each in found.values())]
    rows = []
    for work in works:
        spreads = found[work.name]
        cells = [duration(spreads[peer].middle) if peer in spreads else "" for peer in peers]
        rows.append([work.name, f"{work.rows:,}" if work.rows else "", *cells])
    head = ["time of one call", "rows", *(TITLES[peer] for peer in peers)]
    return Figures("Median time of one call, alone in its process", head, rows)


def ratios_table(works: Sequence[Work], found: Mapping[str, Mapping[str, Spread]]) -> Figures:
    others = [peer for peer in ALL[1:] if any(peer in each for each in found.values())]
    rows = []
    for work in works:
        spreads = found[work.name]
        own = spreads["store"].middle
        cells = [f"{spreads[peer].middle / own:.2f}" if peer in spreads else "" for peer in others]
        rows.append([work.name, *cells])
    head = ["time, if the store's is 1", *(TITLES[peer] for peer in others)]
    return Figures("The same as a multiple of the store's time (above 1: slower)", head, rows)


def growth_table(
    sizes: Sequence[int], found: Mapping[tuple[str, int], Mapping[str, Spread]]
) -> Figures:
    names = list(dict.fromkeys(name for name, _ in found))
    rows = []
    for name in names:
        for peer in ("store", "twin", "bare"):
            cells = [
                duration(found[name, size][peer].middle)
                if peer in found.get((name, size), {})
                else ""
                for size in sizes
            ]
            if any(cells):
                rows.append([name if peer == "store" else "", TITLES[peer], *cells])
    head = ["time of one call", "", *(f"{size:,}" for size in sizes)]
    return Figures("Median time of one call, by the number of detections in the file", head, rows)


def beside_table(found: Mapping[tuple[str, int], Mapping[str, Spread]]) -> Figures:
    rows = [
        [name, str(threads), *(duration(each[peer].middle) for peer in ("store", "twin"))]
        for (name, threads), each in found.items()
    ]
    head = ["time of one call", "busy threads", "store", "twin"]
    return Figures("Mean time of one call beside busy threads of the same process", head, rows)


def stops_table(rows: Sequence[tuple[str, str, Stop]]) -> Figures:
    cells = [
        [name, peer, *(duration(each * 1e6) for each in (stop.usual, stop.worst, stop.call))]
        for name, peer, stop in rows
    ]
    head = ["call", "peer", "usual stop", "worst stop", "call took"]
    return Figures("Longest stop of one busy thread while a call runs", head, cells)


def memory_table(rows: Mapping[str, Mapping[str, float]]) -> Figures:
    cells = [
        [name, f"{each['result_mib']:.1f} MiB", f"{each['peak_mib']:.1f} MiB"]
        for name, each in rows.items()
    ]
    return Figures("Memory of one call", ["call, peer", "its result", "at its peak"], cells)
