"""The demo's own database file: made afresh on every run, without ever taking somebody else's."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from pathlib import Path

# "ANPR" as SQLite's application id. The demo writes it into its file, to know it again.
DEMO_FILE = 0x414E5052


def start_afresh(path: Path) -> None:
    """Removes the file of an earlier run; raises FileExistsError for any other file."""
    if not path.exists():
        return
    with path.open("rb") as file:
        header = file.read(100)
    if header and int.from_bytes(header[68:72], "big") != DEMO_FILE:
        raise FileExistsError(f"{path} was not made by this program: give another path")
    path.unlink()
    for companion in ("-journal", "-wal", "-shm"):
        path.with_name(path.name + companion).unlink(missing_ok=True)


def mark(path: Path) -> None:
    """Marks a new file as the demo's. Nothing in the store reads the mark."""
    with closing(sqlite3.connect(path)) as connection:
        connection.execute(f"PRAGMA application_id = {DEMO_FILE}")
