"""Searching 10,000 detections: most of the work is the engine's."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import bare_sql
from case import Case


def by_text(store: Any, number: int) -> Any:
    return store.search_plates("AB", limit=50)


def bare_by_text(database: Path, number: int) -> list[Any]:
    return bare_sql.fetch(database, bare_sql.FOUND, ("%AB%", 50, 0))


def by_vehicle(store: Any, number: int) -> Any:
    return store.search_plates(min_confidence=0.95, mmc_color="red", mmc_side="front", limit=50)


CASES = (
    Case(
        name="search_plates by text, 50 found",
        operation="search_plates",
        call=by_text,
        bare=bare_by_text,
        beside=(1,),
    ),
    Case("search_plates by vehicle and confidence", "search_plates", by_vehicle, beside=(1,)),
)
