"""One piece of work to measure, written once for all peers."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import Any


@dataclass(frozen=True)
class Case:
    """A call of one operation; `number` counts the calls, for arguments that vary."""

    name: str
    operation: str
    call: Callable[[Any, int], Any]
    # Name of the filled file. The peers read the same one; when they write, each has a copy.
    file: str = "detections"
    writes: bool = False
    # What the peers must agree on before anything is timed.
    answer: Callable[[Any], Any] | None = None
    # The same statement through `sqlite3` alone: rows whose first value is the id.
    bare: Callable[[Path, int], list[Any]] | None = None
    # How many spinning threads to run it beside. Python's sqlite3 gives each row away to them.
    beside: tuple[int, ...] = (1, 4)

    def result(self, store: Any) -> Any:
        return self.answer(store) if self.answer is not None else self.call(store, 0)
