"""A crowd on one file: who is in it, and running it once with one peer."""

from __future__ import annotations

import json
import os
import subprocess
import sys
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Any

WORKER = Path(__file__).resolve().parent / "crowd_worker.py"


@dataclass(frozen=True)
class Scene:
    """Threads of each of the processes; the disk is where the file lies."""

    name: str
    writers: int = 0
    readers: int = 0
    spinning: int = 0
    processes: int = 1
    read: str = "get_detection"
    on_disk: bool = True
    seconds: float = 4
    peers: tuple[str, ...] = ("store", "twin", "twin+lock")


@dataclass
class Calls:
    """Calls of one kind: milliseconds, and how many the laziest and the busiest thread made."""

    per_second: float = 0
    p50: float = 0
    p99: float = 0
    longest: float = 0
    fewest: int = 0
    most: int = 0
    errors: int = 0
    error_texts: list[str] = field(default_factory=list)


@dataclass
class Outcome:
    scene: str
    peer: str
    writes: Calls
    reads: Calls
    longest_stop_ms: float

    def as_dict(self) -> dict[str, object]:
        return asdict(self)


def _calls(threads: list[dict[str, list[Any]]], seconds: float) -> Calls:
    times = sorted(time for thread in threads for time in thread["times"])
    errors = [text for thread in threads for text in thread["errors"]]
    if not times:
        return Calls()
    counts = [len(thread["times"]) - len(thread["errors"]) for thread in threads]
    return Calls(
        per_second=sum(counts) / seconds,
        p50=times[len(times) // 2] / 1e6,
        p99=times[min(len(times) - 1, len(times) * 99 // 100)] / 1e6,
        longest=times[-1] / 1e6,
        fewest=min(counts),
        most=max(counts),
        errors=len(errors),
        error_texts=sorted(set(errors)),
    )


def run(scene: Scene, peer: str, database: Path) -> Outcome:
    command = [sys.executable, str(WORKER), "--peer", peer, "--file", str(database)]
    for name in ("writers", "readers", "spinning", "seconds", "read"):
        command += [f"--{name}", str(getattr(scene, name))]
    workers = [
        subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=os.environ
        )
        for _ in range(scene.processes)
    ]
    for worker in workers:
        assert worker.stdout is not None
        if worker.stdout.readline() != "ready\n":
            raise RuntimeError("a process of the crowd did not start")
    for worker in workers:
        assert worker.stdin is not None
        worker.stdin.write("go\n")
        worker.stdin.flush()
    results = [json.loads(worker.communicate()[0]) for worker in workers]
    seconds = max(result["seconds"] for result in results)
    return Outcome(
        scene.name,
        peer,
        _calls([thread for result in results for thread in result["writers"]], seconds),
        _calls([thread for result in results for thread in result["readers"]], seconds),
        max(result["longest_stop_ms"] for result in results),
    )
