"""Many threads and processes on one file: the store beside its twin, in alternating rounds.

make bench-crowd, or: crowd.py [--rounds 3] [--seconds 4] [--scene TEXT] [--json FILE] [--svg FILE]
"""

from __future__ import annotations

import argparse
import json
import os
import shutil
import tempfile
import time
from pathlib import Path
from statistics import median

from crowd_picture import draw
from crowd_scene import Calls, Outcome, Scene, run
from crowd_table import print_scans, print_scene
from filled_files import fill_detections, fill_watchlist
from peers import native

DETECTIONS = 10_000
WATCHED = 100
STORE_AND_TWIN = ("store", "twin")

WRITING = (
    Scene("1 writer", writers=1),
    Scene("8 writers", writers=8),
    Scene("40 writers", writers=40),
    Scene("8 writers, 4 readers", writers=8, readers=4),
    Scene("8 writers, 4 readers, 1 spinning", writers=8, readers=4, spinning=1),
    Scene("3 processes of that", writers=8, readers=4, spinning=1, processes=3),
    Scene("1 writer, 1 spinning", writers=1, spinning=1),
    Scene("8 writers in memory", writers=8, on_disk=False),
    Scene(
        "8 writers, 4 readers, 1 spinning, in memory",
        writers=8,
        readers=4,
        spinning=1,
        on_disk=False,
    ),
)
SCANS = tuple(
    Scene(f"{read} in {threads}", readers=threads, read=read, on_disk=False, peers=STORE_AND_TWIN)
    for read in ("get_statistics", "search_plates", "get_hourly_stats")
    for threads in (1, 2, 4, 8)
)
READING = tuple(
    Scene(f"{read} in {threads}", readers=threads, read=read, on_disk=False, peers=STORE_AND_TWIN)
    for read in ("get_history(100)", "get_detection", "check_watchlist")
    for threads in (1, 8)
)
BESIDE_SPINNING = tuple(
    Scene(
        f"{read} beside {spinning} spinning",
        readers=1,
        spinning=spinning,
        read=read,
        on_disk=False,
        peers=STORE_AND_TWIN,
    )
    for read in ("get_detection", "get_history(100)", "get_statistics")
    for spinning in (1, 4)
)
SCENES = (*WRITING, *SCANS, *READING, *BESIDE_SPINNING)


def combined(rounds: list[Outcome]) -> Outcome:
    """The median of each figure over the rounds; the worst of errors, fewest and longest."""

    def calls(which: list[Calls]) -> Calls:
        return Calls(
            per_second=median(one.per_second for one in which),
            p50=median(one.p50 for one in which),
            p99=median(one.p99 for one in which),
            longest=max(one.longest for one in which),
            fewest=min(one.fewest for one in which),
            most=max(one.most for one in which),
            errors=sum(one.errors for one in which),
            error_texts=sorted({text for one in which for text in one.error_texts}),
        )

    return Outcome(
        rounds[0].scene,
        rounds[0].peer,
        calls([outcome.writes for outcome in rounds]),
        calls([outcome.reads for outcome in rounds]),
        max(outcome.longest_stop_ms for outcome in rounds),
    )


def measure(scene: Scene, rounds: int, start: Path) -> list[Outcome]:
    found: dict[str, list[Outcome]] = {peer: [] for peer in scene.peers}
    for _ in range(rounds):
        for peer in scene.peers:
            database = start.with_name("crowd.db")
            shutil.copy(start, database)
            found[peer].append(run(scene, peer, database))
            time.sleep(0.1)
    return [combined(outcomes) for outcomes in found.values()]


def filled_file(folder: Path) -> Path:
    start = folder / "start.db"
    fill_detections(native(), start, DETECTIONS)
    fill_watchlist(native(), start, WATCHED)
    return start


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=4)
    parser.add_argument("--scene", default="", help="only scenes whose name holds this text")
    parser.add_argument("--disk", type=Path, default=Path(tempfile.gettempdir()))
    parser.add_argument("--memory", type=Path, default=Path("/dev/shm"))
    parser.add_argument("--json", type=Path)
    parser.add_argument("--svg", type=Path)
    given = parser.parse_args()
    load = os.getloadavg()[0]
    print(f"{os.cpu_count()} processors, load {load:.1f} at the start; {given.rounds} rounds")
    results: list[Outcome] = []
    with (
        tempfile.TemporaryDirectory(dir=given.disk) as disk,
        tempfile.TemporaryDirectory(dir=given.memory) as memory,
    ):
        starts = {True: filled_file(Path(disk)), False: filled_file(Path(memory))}
        for scene in SCENES:
            if given.scene not in scene.name:
                continue
            timed = Scene(**{**vars(scene), "seconds": given.seconds})
            outcomes = measure(timed, given.rounds, starts[scene.on_disk])
            results += outcomes
            if scene.writers:
                print_scene(scene.name, outcomes)
            else:
                print_scans(scene.name, outcomes)
    if given.json:
        report = {
            "processors": os.cpu_count(),
            "load": [load, os.getloadavg()[0]],
            "rounds": given.rounds,
            "seconds": given.seconds,
            "outcomes": [outcome.as_dict() for outcome in results],
        }
        given.json.write_text(json.dumps(report, indent=1) + "\n")
    if given.svg:
        draw(results, given.svg)


if __name__ == "__main__":
    main()
