"""Starts hunts, each in a process of its own, and gathers what they met and found."""

from __future__ import annotations

import json
import os
import subprocess
import sys
import tempfile
import time
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

TESTS = Path(__file__).resolve().parents[2]

HUNTS = ("power_loss", "json_documents", "damaged_files", "killed_writers", "hostile_calls")


@dataclass
class Report:
    hunt: str
    seconds: float = 0.0
    figures: Counter[str] = field(default_factory=Counter)
    find: str = ""  # empty: nothing was found
    seed: int = 0  # of the last round, which is that of the find


def run(hunt: str, seed: int, rounds: int = 1, seconds: float = 0) -> Report:
    """Plays rounds with the seeds from this one on, until a find or the end of number and time."""
    report = Report(hunt)
    began = time.monotonic()
    search = [str(TESTS), os.environ.get("PYTHONPATH", "")]
    program = [sys.executable, "-m", "reliability.hunts.rounds", hunt]
    with (
        tempfile.TemporaryFile("w+", errors="replace") as errors,
        subprocess.Popen(
            [*program, str(seed), str(rounds), str(seconds)],
            env={**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, search))},
            stdout=subprocess.PIPE,
            stderr=errors,
            text=True,
        ) as child,
    ):
        assert child.stdout is not None
        for line in child.stdout:
            facts = json.loads(line)
            report.seed = facts.get("begin", report.seed)
            report.find = facts.get("text", report.find)
            if "end" in facts:
                report.figures["rounds"] += 1
                report.figures.update(facts["figures"])
        code = child.wait()
        errors.seek(0)
        said = errors.read()
        # What a child says there without ending badly is an error that nobody saw.
        if code != 0 or said:
            report.find = f"{report.find}\nexit code {code}\n{said}".strip()
    report.seconds = time.monotonic() - began
    return report
