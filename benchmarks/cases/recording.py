"""Recording one detection: one row, one commit."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import bare_sql
from case import Case

PLATES = ["B-AB 1234", "TÜ-XY 77"]
CONFIDENCES = [0.9712, 0.8345]
BOXES = [[412, 633, 598, 671], [1022, 590, 1190, 633]]
TIMES = (0.0431, 0.0287, 0.0121)
PATHS = ("images/gate/000001.jpg", "thumbnails/gate/000001.jpg")
SURENESS = [0.88, 0.79]


def add(store: Any, number: int) -> Any:
    return store.add_detection(
        PLATES, CONFIDENCES, BOXES, *TIMES, *PATHS, True, detection_confidences=SURENESS
    )


def added(store: Any) -> Any:
    """What is kept of a new detection, its id included, without the time of the call."""
    record = store.get_detection(add(store, 0))
    return {column: value for column, value in record.items() if column != "timestamp"}


def bare_add(database: Path, number: int) -> list[Any]:
    plates, confidences = r'["B-AB 1234", "T\u00dc-XY 77"]', "[0.9712, 0.8345]"
    boxes, sureness = "[[412, 633, 598, 671], [1022, 590, 1190, 633]]", "[0.88, 0.79]"
    values = (plates, confidences, boxes, *TIMES, *PATHS, 1, sureness)
    return [(bare_sql.insert(database, ("2024-06-01T12:00:00.250000", 2, *values)),)]


CASES = (
    Case(
        name="add_detection",
        operation="add_detection",
        call=add,
        writes=True,
        answer=added,
        bare=bare_add,
    ),
)
