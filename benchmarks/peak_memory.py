"""Memory of one call: what its result takes, and its peak, measured in a process of its own.

As a program it is that process:  python peak_memory.py (store|twin) (page|watchlist) FILE SMALL
"""

from __future__ import annotations

import gc
import json
import subprocess
import sys
from pathlib import Path
from typing import Any

import peers
from works import check

STATUS = Path("/proc/self/status")
CLEAR = Path("/proc/self/clear_refs")
RESET_PEAK = "5"
CALLS = {
    "page": lambda store: store.get_history(-1),
    "watchlist": lambda store: check(store, 0),
}


def can_measure() -> bool:
    """Only Linux says what the peak was and lets it be set back."""
    return STATUS.exists() and CLEAR.exists()


def measure(peer: str, call: str, database: Path, small_database: Path) -> dict[str, float]:
    command = [sys.executable, __file__, peer, call, str(database), str(small_database)]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    result: dict[str, float] = json.loads(output)
    return result


def resident_kib(line: str) -> int:
    for each in STATUS.read_text().splitlines():
        if each.startswith(line + ":"):
            return int(each.split()[1])
    raise LookupError(line)


def size_of(value: object) -> int:
    """Bytes of the object and all that it holds, each once, as the allocator rounds them."""
    seen: set[int] = set()
    waiting: list[Any] = [value]
    total = 0
    while waiting:
        each = waiting.pop()
        if id(each) in seen:
            continue
        seen.add(id(each))
        total += (sys.getsizeof(each) + 15) // 16 * 16
        if isinstance(each, dict):
            waiting += each.keys()
            waiting += each.values()
        elif isinstance(each, list):
            waiting += each
    return total


def main(peer_name: str, call: str, database: str, small_database: str) -> None:
    peer = peers.native() if peer_name == "store" else peers.twin()
    CALLS[call](peer.open(Path(small_database)))  # whatever is loaded or set up once
    store = peer.open(Path(database))
    gc.collect()
    CLEAR.write_text(RESET_PEAK)
    before = resident_kib("VmRSS")
    result = CALLS[call](store)
    peak = resident_kib("VmHWM") - before
    print(json.dumps({"peak_mib": peak / 1024, "result_mib": size_of(result) / 2**20}))


if __name__ == "__main__":
    main(*sys.argv[1:])
