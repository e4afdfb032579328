"""Looks into a database file, or changes it, beside the store: with Python's own `sqlite3`."""

from __future__ import annotations

import os
import sqlite3
from collections.abc import Iterator
from contextlib import closing, contextmanager
from pathlib import Path
from typing import Any


def _open(path: str | Path) -> sqlite3.Connection:
    # Absolute, so that no engine takes the name for a URI.
    return sqlite3.connect(os.path.abspath(path), isolation_level=None)


def query(path: str | Path, sql: str, parameters: Any = ()) -> list[tuple[Any, ...]]:
    with closing(_open(path)) as connection:
        return connection.execute(sql, parameters).fetchall()


def run_script(path: str | Path, script: str) -> None:
    with closing(_open(path)) as connection:
        connection.executescript(script)


def columns(path: str | Path, table: str) -> list[str]:
    return [row[1] for row in query(path, f"PRAGMA table_info({table})")]


def detection(path: str | Path, detection_id: int) -> dict[str, Any]:
    """The stored row as it stands in the file, nothing decoded."""
    row = query(path, "SELECT * FROM detections WHERE id = ?", (detection_id,))[0]
    return dict(zip(columns(path, "detections"), row, strict=True))


def count(path: str | Path, table: str = "detections") -> int:
    number: int = query(path, f"SELECT COUNT(*) FROM {table}")[0][0]
    return number


def collapse(sql: str) -> str:
    """The statement with its white space collapsed, none inside of brackets or before commas."""
    text = " ".join(sql.split())
    for loose, tight in (("( ", "("), (" )", ")"), (" ,", ",")):
        text = text.replace(loose, tight)
    return text


def schema(path: str | Path) -> dict[str, str | None]:
    """The stored SQL of every table and index, by name."""
    rows = query(path, "SELECT name, sql FROM sqlite_master ORDER BY name")
    return {name: sql and collapse(sql) for name, sql in rows}


def contents(path: str | Path) -> dict[str, Any]:
    """Everything that the file holds, in a form that two files can be compared in."""
    tables = query(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")
    return {
        "schema": schema(path),
        **{
            t: (columns(path, t), query(path, f"SELECT * FROM {t} ORDER BY rowid"))
            for (t,) in tables
        },
    }


@contextmanager
def lock_held(path: str | Path, kind: str) -> Iterator[sqlite3.Connection]:
    """Another connection's lock on the file: SHARED, or what BEGIN `kind` takes."""
    with closing(_open(path)) as other:
        if kind == "SHARED":
            other.execute("BEGIN")
            other.execute("SELECT COUNT(*) FROM sqlite_master").fetchall()
        else:
            other.execute(f"BEGIN {kind}")
        yield other
        other.rollback()


def open_descriptors(below: str | Path) -> list[str]:
    """What this process has open whose path begins so: a database, its journal, its log."""
    wanted = os.path.realpath(below)
    found = []
    for name in os.listdir("/proc/self/fd"):
        try:
            target = os.readlink(f"/proc/self/fd/{name}")
        except FileNotFoundError:
            continue  # the listing's own descriptor
        if target.startswith(wanted):
            found.append(target)
    return sorted(found)
