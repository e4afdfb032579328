"""Measures the store and its peers at the same work, side by side, and prints the figures.

    python benchmarks/run.py [--quick] [--results FILE] [WORD ...]

With words, only the works whose names hold one of them. A run of everything writes
docs/performance.md and its pictures; every run writes all figures to a JSON file. Answers are
compared before anything is timed; one that differs ends the run with exit code 1.
"""

from __future__ import annotations

import argparse
import json
import shutil
import sys
import tempfile
import time
from collections.abc import Sequence
from dataclasses import asdict
from functools import partial
from pathlib import Path
from typing import Any

from rich.console import Console

import filled_files
import page
import peak_memory
import peers
import pictures
import report
import timing
from long_calls import LONG_CALLS
from longest_stop import Stop, longest_stop
from works import GROWTH, PAGE_SIZES, TABLE_SIZES, WORKS, Work

WIDTH = 80
ROOM_NEEDED = 2**32
FILLERS = {
    "detections": partial(filled_files.fill_detections, count=10_000),
    "1,000 detections": partial(filled_files.fill_detections, count=1_000),
    "watchlist 100": partial(filled_files.fill_watchlist, count=100),
    "watchlist 1,000": partial(filled_files.fill_watchlist, count=1_000),
    "watchlist 100,000": partial(filled_files.fill_watchlist, count=100_000),
}
REPEATED = {"100,000 detections": 10, "1,000,000 detections": 100}
BESIDE = ("get_detection", "get_history(100)", "add_detection")
BUSY_THREADS = (1, 2, 4)


class Run:
    """One run: its folder, its peers' processes and what it has found."""

    def __init__(self, folder: Path, console: Console, quick: bool) -> None:
        self.folder, self.console, self.quick = folder, console, quick
        self.store, self.twin = peers.native(), peers.twin()
        self.peers = timing.Peers(*((2, 0.05) if quick else (5, 0.12)))
        self.results: dict[str, Any] = {}
        self.parts: dict[str, list[report.Figures | str]] = {}
        self.started = time.perf_counter()

    def say(self, what: str) -> None:
        seconds = time.perf_counter() - self.started
        self.console.print(f"[dim]{seconds:5.0f} s  {what}[/]", highlight=False)

    def file(self, name: str) -> Path:
        path = self.folder / f"{name}.db"
        if not path.exists():
            self.say(f"filling {name}")
            if name in REPEATED:
                source = self.file("detections")
                filled_files.fill_by_repeating(source, path, REPEATED[name])
            else:
                FILLERS[name](self.twin, path)
        return path

    def file_to_write(self, name: str) -> Path:
        path = self.folder / f"{name}, written.db"
        if not path.exists():
            shutil.copy(self.file(name), path)
        return path

    def keep(self, part: str, *shown: report.Figures | str) -> None:
        for each in shown:
            if isinstance(each, report.Figures):
                self.console.print()
                self.console.print(each.for_terminal())
        self.parts.setdefault(part, []).extend(shown)


def measure_works(run: Run, works: Sequence[Work]) -> None:
    found = {}
    for work in works:
        run.say(work.name)
        file = run.file_to_write(work.file) if work.writes else run.file(work.file)
        found[work.name] = run.peers.measure(work.name, work, file)
    run.results["works"] = {
        name: {peer: asdict(spread) for peer, spread in each.items()}
        for name, each in found.items()
    }
    pages = {size: found.get(f"get_history({size:,})") for size in PAGE_SIZES}
    whole = {size: each for size, each in pages.items() if each is not None}
    if len(whole) == len(PAGE_SIZES) and not run.quick:
        pictures.by_page_size(whole, page.IMAGES / "pages.svg")
        run.keep("pages", "![Time for each record, by size of the page](images/pages.svg)")
    run.keep("calls", report.times_table(works, found), report.ratios_table(works, found))


def measure_growth(run: Run, works: Sequence[Work]) -> None:
    sizes = TABLE_SIZES[:2] if run.quick else TABLE_SIZES
    found = {}
    rounds, run.peers.rounds = run.peers.rounds, 2
    for size in sizes:
        name = "detections" if size == 10_000 else f"{size:,} detections"
        # Reading comes first: what is written stays in the file.
        for work in works:
            run.say(f"{work.name} of {size:,}")
            file = run.file(name) if size > 10_000 or not work.writes else run.file_to_write(name)
            found[work.name, size] = run.peers.measure(f"growth {work.name}", work, file)
    run.peers.rounds = rounds
    run.results["growth"] = [
        {"work": name, "detections": size, **{peer: asdict(each) for peer, each in row.items()}}
        for (name, size), row in found.items()
    ]
    if not run.quick and len(works) == len(GROWTH):
        pictures.by_table_size(sizes, found, page.IMAGES / "growth.svg")
        run.keep("growth", "![Times by size of the table](images/growth.svg)")
    run.keep("growth", report.growth_table(sizes, found))


def measure_beside(run: Run, works: Sequence[Work]) -> None:
    found = {}
    for work in works:
        file = run.file_to_write(work.file) if work.writes else run.file(work.file)
        calls = {
            name: partial(work.call, peer.open(file))
            for name, peer in (("store", run.store), ("twin", run.twin))
        }
        for threads in BUSY_THREADS[:1] if run.quick else BUSY_THREADS:
            run.say(f"{work.name} beside {threads}")
            found[work.name, threads] = timing.beside(threads, calls)
    run.results["beside"] = [
        {"work": name, "threads": threads, **{peer: asdict(each) for peer, each in row.items()}}
        for (name, threads), row in found.items()
    ]
    if not run.quick and any(work.name == "get_history(100)" for work in works):
        pictures.by_busy_threads(found, "get_history(100)", page.IMAGES / "threads.svg")
        run.keep("threads", "![A page beside busy threads](images/threads.svg)")
    run.keep("threads", report.beside_table(found))


def measure_stops(run: Run) -> None:
    rows: list[tuple[str, str, Stop]] = []
    for work in LONG_CALLS:
        if run.quick and work.file.startswith("1,000,000"):
            continue
        database = run.file(work.file)
        for peer in (run.store, run.twin) if work.twin_too else (run.store,):
            run.say(f"longest stop: {work.name}, {peer.name}")
            stop = longest_stop(partial(work.call, peer.open(database)), 3)
            rows.append((work.name, peer.name, stop))
    rows.append(("a sleep, for comparison", "", longest_stop(lambda: time.sleep(0.2), 3)))
    run.results["stops"] = [{"call": name, "peer": peer, **asdict(s)} for name, peer, s in rows]
    run.keep("stops", report.stops_table(rows))


def measure_memory(run: Run) -> None:
    rows = {}
    large = {"page": "100,000 detections", "watchlist": "watchlist 100,000"}
    small = {"page": "1,000 detections", "watchlist": "watchlist 100"}
    titles = {"page": "get_history(100,000)", "watchlist": "check_watchlist of 100,000"}
    for call, title in titles.items():
        for peer in ("store", "twin"):
            run.say(f"memory: {title}, {peer}")
            files = run.file(large[call]), run.file(small[call])
            rows[f"{title}, {peer}"] = peak_memory.measure(peer, call, *files)
    run.results["memory"] = rows
    run.keep("memory", report.memory_table(rows))


def folder_with_room() -> str | None:
    """Memory where there is room for the files, so that no disk is measured; else the usual."""
    memory = Path("/dev/shm")
    if memory.is_dir() and shutil.disk_usage(memory).free > ROOM_NEEDED:
        return str(memory)
    return None


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="a first look, in less than a minute")
    parser.add_argument("--results", default="build/benchmarks.json", metavar="FILE")
    parser.add_argument("words", nargs="*", metavar="WORD")
    arguments = parser.parse_args()

    def wanted(works: Sequence[Work]) -> list[Work]:
        words = arguments.words
        return [each for each in works if not words or any(word in each.name for word in words)]

    console = Console(width=WIDTH)
    with tempfile.TemporaryDirectory(prefix="anpr-benchmark-", dir=folder_with_room()) as folder:
        run = Run(Path(folder), console, arguments.quick)
        facts, versions = report.machine(Path(folder)), report.versions()
        for name, value in {**versions, **facts}.items():
            console.print(f"{name}: {value}", highlight=False)
        try:
            if wanted(WORKS):
                measure_works(run, wanted(WORKS))
            beside = [work for work in wanted(WORKS) if work.name in BESIDE]
            if beside:
                measure_beside(run, beside)
            if not arguments.words:
                measure_stops(run)
                if peak_memory.can_measure() and not arguments.quick:
                    measure_memory(run)
            # Last, since it writes into the large files.
            if wanted(GROWTH):
                measure_growth(run, wanted(GROWTH))
        except timing.WrongAnswer as difference:
            console.print(f"[bold red]Wrong answer:[/] {difference}")
            return 1
        finally:
            run.peers.end()
        seconds = time.perf_counter() - run.started
        results = Path(arguments.results)
        results.parent.mkdir(parents=True, exist_ok=True)
        all_results = {"machine": facts, "versions": versions, "seconds": seconds, **run.results}
        results.write_text(json.dumps(all_results, indent=1) + "\n")
        console.print(f"\n{seconds:.0f} s in all; every figure is in {results}", highlight=False)
        if not arguments.words and not arguments.quick:
            page.write(facts, versions, run.parts, seconds)
            console.print(f"wrote {page.DOCS / 'performance.md'}", highlight=False)
    return 0


if __name__ == "__main__":
    sys.exit(main())
