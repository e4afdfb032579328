"""Measures the store and its peers at the same work, side by side, and prints the figures.

    python benchmarks/run.py [--quick] [WORD ...]

With words, only the calls whose names hold one of them. Every answer is compared with the
twin's before it is timed; one that differs ends the run with exit code 1.
"""

from __future__ import annotations

import argparse
import shutil
import sys
import tempfile
import time
from functools import partial
from pathlib import Path

from rich.console import Console

import filled_files
import peak_memory
import peers
import report
import timing
from case import Case
from cases import CASES
from long_calls import LONG_CALLS, LongCall
from longest_stop import Stop, longest_stop

ROOM_NEEDED = 2**31
FILLERS = {
    "detections": partial(filled_files.fill_detections, count=10_000),
    "watchlist 100": partial(filled_files.fill_watchlist, count=100),
    "watchlist 100,000": partial(filled_files.fill_watchlist, count=100_000),
}


class WrongAnswer(Exception):
    """The peers disagree, so a time would say nothing."""


class Run:
    """One run: its folder, its peers and its filled files."""

    def __init__(self, folder: Path, console: Console) -> None:
        self.folder = folder
        self.console = console
        self.store, self.twin = peers.native(), peers.twin()

    def has(self, work: Case | LongCall) -> bool:
        return hasattr(self.store.store_class, work.operation)

    def file(self, name: str) -> Path:
        path = self.folder / f"{name}.db"
        if not path.exists():
            with self.console.status(f"filling {name}"):
                if name == "1,000,000 detections":
                    filled_files.fill_by_repeating(self.file("detections"), path, 100)
                else:
                    FILLERS[name](self.twin, path)
        return path

    def calls(self, case: Case) -> dict[str, timing.Call]:
        """Each peer's call on the case's file, after all of them have given the same answer."""
        calls: dict[str, timing.Call] = {}
        answers = []
        for peer in (self.store, self.twin):
            store = peer.open(self.file_for(case, peer.name))
            answers.append(case.result(store))
            calls[peer.name] = partial(case.call, store)
        # Texts of the answers, so that types count and NaN is like NaN.
        if repr(answers[0]) != repr(answers[1]):
            raise WrongAnswer(f"{case.name}: the store and its twin give different answers")
        if case.bare is not None:
            bare = partial(case.bare, self.file_for(case, report.BARE))
            records = answers[0] if isinstance(answers[0], list) else [answers[0]]
            if [row[0] for row in bare(0)] != [record["id"] for record in records]:
                raise WrongAnswer(f"{case.name}: the bare statement finds other rows")
            calls[report.BARE] = bare
        return calls

    def file_for(self, case: Case, peer: str) -> Path:
        shared = self.file(case.file)
        if not case.writes:
            return shared
        own = self.folder / f"{case.name} of {peer}.db"
        shutil.copy(shared, own)
        return own


def measure_times(run: Run, cases: list[Case]) -> None:
    alone, beside = {}, {}
    for case in cases:
        calls = run.calls(case)
        with run.console.status(f"{case.name}, alone"):
            alone[case.name] = timing.alone(calls)
        for threads in case.beside:
            with run.console.status(f"{case.name}, beside {threads}"):
                beside[threads, case.name] = timing.beside(threads, calls)
    what = "median of a call, with the middle half and the number of calls"
    run.console.print(report.times_table("Alone", what, alone))
    what = "mean of a call in the middle round, with the least and greatest round"
    for threads in (1, 4):
        rows = {name: row for (among, name), row in beside.items() if among == threads}
        if rows:
            title = f"Beside {threads} spinning thread{'s' if threads > 1 else ''}"
            run.console.print(report.times_table(title, what, rows))


def measure_stops(run: Run, long_calls: list[LongCall]) -> None:
    if not long_calls:
        return
    rows: list[tuple[str, str, Stop]] = []
    for work in long_calls:
        database = run.file(work.file)
        for peer in (run.store, run.twin) if work.twin_too else (run.store,):
            with run.console.status(f"{work.name}, longest stop"):
                rows.append(
                    (work.name, peer.name, longest_stop(partial(work.call, peer.open(database))))
                )
    rows.append(("a sleep of as long, for comparison", "", longest_stop(lambda: time.sleep(0.2))))
    run.console.print(report.stops_table(rows))


def measure_memory(run: Run) -> None:
    files = run.file("watchlist 100,000"), run.file("watchlist 100")
    rows = {
        run.store.name: peak_memory.measure("store", *files),
        run.twin.name: peak_memory.measure("twin", *files),
    }
    run.console.print(report.memory_table(rows))


def folder_with_room() -> str | None:
    """Memory where there is room for the files, so that no disk is measured; else the usual."""
    memory = Path("/dev/shm")
    if memory.is_dir() and shutil.disk_usage(memory).free > ROOM_NEEDED:
        return str(memory)
    return None


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="without the million rows")
    parser.add_argument("words", nargs="*", metavar="WORD")
    arguments = parser.parse_args()

    def wanted(work: Case | LongCall) -> bool:
        return not arguments.words or any(word in work.name for word in arguments.words)

    console = Console(width=None if sys.stdout.isatty() else 120)
    started = time.perf_counter()
    with tempfile.TemporaryDirectory(prefix="anpr-benchmark-", dir=folder_with_room()) as folder:
        run = Run(Path(folder), console)
        console.print(report.machine(Path(folder)), highlight=False)
        try:
            measure_times(run, [case for case in CASES if wanted(case) and run.has(case)])
        except WrongAnswer as difference:
            console.print(f"[bold red]Wrong answer:[/] {difference}")
            return 1
        measure_stops(
            run,
            [
                work
                for work in LONG_CALLS
                if wanted(work)
                and run.has(work)
                and not (arguments.quick and work.file.startswith("1,000,000"))
            ],
        )
        watches = any(case.operation == "check_watchlist" and wanted(case) for case in CASES)
        exists = hasattr(run.store.store_class, "check_watchlist")
        if watches and exists and peak_memory.can_measure():
            measure_memory(run)
    console.print(f"{time.perf_counter() - started:.0f} s in all", highlight=False)
    return 0


if __name__ == "__main__":
    sys.exit(main())
