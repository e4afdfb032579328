"""Peak memory of one `check_watchlist`, measured in a process of its own.

As a program it is that process:  python peak_memory.py (store|twin) DATABASE SMALL_DATABASE
"""

from __future__ import annotations

import gc
import json
import subprocess
import sys
import time
from pathlib import Path

import peers
from cases.watchlist import check

STATUS = Path("/proc/self/status")
CLEAR = Path("/proc/self/clear_refs")
RESET_PEAK = "5"


def can_measure() -> bool:
    """Only Linux says what the peak was and lets it be set back."""
    return STATUS.exists() and CLEAR.exists()


def measure(peer: str, database: Path, small_database: Path) -> dict[str, float]:
    """Gives `peak_mib`, the memory that the call took at its peak, `seconds` and `matches`."""
    command = [sys.executable, __file__, peer, str(database), str(small_database)]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    result: dict[str, float] = json.loads(output)
    return result


def resident_kib(line: str) -> int:
    for each in STATUS.read_text().splitlines():
        if each.startswith(line + ":"):
            return int(each.split()[1])
    raise LookupError(line)


def main(peer_name: str, database: str, small_database: str) -> None:
    peer = peers.native() if peer_name == "store" else peers.twin()
    check(peer.open(Path(small_database)), 0)  # whatever is loaded or set up once
    store = peer.open(Path(database))
    gc.collect()
    CLEAR.write_text(RESET_PEAK)
    before = resident_kib("VmRSS")
    started = time.perf_counter()
    matches = check(store, 0)
    seconds = time.perf_counter() - started
    peak = resident_kib("VmHWM") - before
    assert isinstance(matches, list)
    print(json.dumps({"peak_mib": peak / 1024, "seconds": seconds, "matches": len(matches)}))


if __name__ == "__main__":
    main(*sys.argv[1:])
