"""Rows of `detections` as another program may leave them: any value in any column."""

from __future__ import annotations

from pathlib import Path
from typing import Any

from support import database


def put(path: str | Path, timestamp: str = "2024-05-01T12:00:00", **values: Any) -> None:
    """Inserts one row; the columns that are not named take the table's defaults."""
    columns = {"timestamp": timestamp, **values}
    placeholders = ", ".join("?" * len(columns))
    database.query(
        path,
        f"INSERT INTO detections ({', '.join(columns)}) VALUES ({placeholders})",
        tuple(columns.values()),
    )


def ids(records: list[dict[str, Any]]) -> list[int]:
    return [record["id"] for record in records]


def stored_ids(path: str | Path) -> list[int]:
    return [row[0] for row in database.query(path, "SELECT id FROM detections ORDER BY id")]


def plan(path: str | Path, statement: str, parameters: Any = ()) -> list[str]:
    """How the engine says it will run the statement, a line for each step."""
    rows = database.query(path, "EXPLAIN QUERY PLAN " + statement, parameters)
    return [row[3] for row in rows]
