"""Reading detections back: one by its id, a page, a large page."""

from __future__ import annotations

from pathlib import Path
from random import Random
from typing import Any

import bare_sql
from case import Case

IDS = Random(3).choices(range(1, 10_001), k=997)


def one(store: Any, number: int) -> Any:
    return store.get_detection(IDS[number % len(IDS)])


def bare_one(database: Path, number: int) -> list[Any]:
    return bare_sql.fetch(database, bare_sql.ONE, (IDS[number % len(IDS)],))


def page(limit: int, beside: tuple[int, ...]) -> Case:
    return Case(
        name=f"get_history({limit:,})",
        operation="get_history",
        call=lambda store, number: store.get_history(limit),
        bare=lambda database, number: bare_sql.fetch(database, bare_sql.PAGE, (limit, 0)),
        beside=beside,
    )


CASES = (
    Case(
        name="get_detection",
        operation="get_detection",
        call=one,
        bare=bare_one,
    ),
    page(100, beside=(1, 4)),
    # Beside four threads one call of the twin takes half a minute.
    page(1_000, beside=(1,)),
)
