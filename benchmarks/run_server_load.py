"""Loads the example server over HTTP, over the store and over its twin, and prints the figures.

    python benchmarks/run_server_load.py [--quick] [--json FILE]

30 of 100 requests record a detection, the others read. Each round starts a fresh server on a
fresh copy of one file; the two take turns, and the client is a process of its own.
"""

from __future__ import annotations

import argparse
import json
import sys
import tempfile
import time
from dataclasses import asdict
from pathlib import Path

from rich.console import Console

import filled_files
import peers
import report
from server_load.answers import DifferentAnswers, same_answers
from server_load.conditions import Condition, conditions, folders
from server_load.load_round import DETECTIONS, Figures, run_round
from server_load.table import table

ROOT = Path(__file__).resolve().parent.parent


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="one short round, 8 connections")
    parser.add_argument("--json", type=Path, default=ROOT / "build" / "server_load.json")
    arguments = parser.parse_args()
    rounds, seconds = (1, 1.0) if arguments.quick else (3, 4.0)

    console = Console(width=None if sys.stdout.isatty() else 80)
    started = time.perf_counter()
    arguments.json.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="server-load-", dir=arguments.json.parent) as disk:
        for what, value in report.machine(Path(disk)).items():
            console.print(f"{what}: {value}", highlight=False)
        filled = Path(disk) / "filled.db"
        with console.status("filling the file and comparing answers"):
            filled_files.fill_detections(peers.twin(), filled, DETECTIONS)
            try:
                same_answers(filled)
            except DifferentAnswers as difference:
                console.print(f"[bold red]Wrong answer:[/] {difference}")
                return 1
        with folders(Path(disk)) as places:
            if "tmpfs" not in places:
                console.print("[yellow]There is no /dev/shm to use: only the disk is measured.[/]")
            chosen = conditions(places, quick=arguments.quick)
            measured = measure(console, chosen, places, filled, rounds, seconds)
    console.print(table(measured, rounds, seconds))
    arguments.json.write_text(as_json(measured, seconds, Path(disk)))
    took = time.perf_counter() - started
    console.print(f"{took:.0f} s in all; each round is in {arguments.json}", highlight=False)
    return 0


def measure(
    console: Console,
    chosen: list[Condition],
    places: dict[str, Path],
    filled: Path,
    rounds: int,
    seconds: float,
) -> dict[Condition, list[Figures]]:
    """Rounds outside, so that a slow minute of the machine is shared by all conditions."""
    measured: dict[Condition, list[Figures]] = {condition: [] for condition in chosen}
    for number in range(rounds):
        # Who goes first alternates too. The peer is the last thing that conditions differ in.
        pairs = [chosen[at : at + 2] for at in range(0, len(chosen), 2)]
        for condition in [each for pair in pairs for each in pair[:: -1 if number % 2 else 1]]:
            with console.status(f"round {number + 1} of {rounds}: {condition}"):
                figures = run_round(condition, places[condition.place], filled, seconds, number)
            measured[condition].append(figures)
    return measured


def as_json(measured: dict[Condition, list[Figures]], seconds: float, disk: Path) -> str:
    results = [
        asdict(condition) | {"rounds": [asdict(figures) for figures in rounds]}
        for condition, rounds in measured.items()
    ]
    whole = {
        "machine": report.machine(disk),
        "detections": DETECTIONS,
        "seconds": seconds,
        "results": results,
    }
    return json.dumps(whole, indent=2) + "\n"


if __name__ == "__main__":
    sys.exit(main())
