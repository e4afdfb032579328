"""What is varied: the place of the file, connections, the recognising thread, and the peer."""

from __future__ import annotations

import itertools
import os
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

import peers

MEMORY = Path("/dev/shm")


@dataclass(frozen=True)
class Condition:
    place: str
    connections: int
    recognising: bool
    peer: str

    def __str__(self) -> str:
        beside = "recognising" if self.recognising else "alone"
        return f"{self.peer}, {self.place}, {self.connections} connections, {beside}"


def conditions(places: dict[str, Path], quick: bool) -> list[Condition]:
    """Every combination, the two peers of each side by side."""
    connections = (8,) if quick else (8, 40)
    names = (peers.STORE, peers.TWIN)
    every = itertools.product(places, connections, (False, True), names)
    return [Condition(*each) for each in every]


@contextmanager
def folders(disk: Path) -> Iterator[dict[str, Path]]:
    """The places that there are, each with a folder for the files."""
    if not os.access(MEMORY, os.W_OK):
        yield {"disk": disk}
        return
    with tempfile.TemporaryDirectory(prefix="server-load-", dir=MEMORY) as memory:
        yield {"disk": disk, "tmpfs": Path(memory)}
