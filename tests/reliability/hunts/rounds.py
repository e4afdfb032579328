"""Plays rounds of one hunt: `python -m reliability.hunts.rounds HUNT SEED ROUNDS SECONDS`.

A process of its own for each hunt, since a find may be a crash. Before each round its seed goes out
as a line of JSON, so whoever reads along knows which one it was; behind it what the round met.
"""

from __future__ import annotations

import faulthandler
import importlib
import json
import os
import sys
import tempfile
import time
import traceback
from pathlib import Path
from typing import Any

# Nothing takes that long in one round, on the slowest machine and under a sanitizer: it hangs.
HANG_SECONDS = 540

# Thousands of files are made and synced: no disk has to wait for them where there is memory.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def say(**facts: Any) -> None:
    print(json.dumps(facts), flush=True)


def play_rounds(hunt: str, seed: int, rounds: int, seconds: float) -> bool:
    """Plays that many rounds, and more until the time is over; false after a find."""
    module = importlib.import_module(f"reliability.hunts.{hunt}")
    end = time.monotonic() + seconds
    number = 0
    while number < rounds or time.monotonic() < end:
        say(begin=seed + number)
        faulthandler.dump_traceback_later(HANG_SECONDS, exit=True)
        try:
            with tempfile.TemporaryDirectory(prefix="hunt-", dir=MEMORY) as folder:
                figures = module.play(seed + number, Path(folder))
        except BaseException:
            say(find=seed + number, text=traceback.format_exc())
            return False
        say(end=seed + number, figures=figures)
        number += 1
    faulthandler.cancel_dump_traceback_later()
    return True


if __name__ == "__main__":
    faulthandler.enable()
    name, first, least, time_to_run = sys.argv[1:]
    sys.exit(0 if play_rounds(name, int(first), int(least), float(time_to_run)) else 1)
