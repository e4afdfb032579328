"""Searches the detections by plate text, confidence and vehicle."""

from __future__ import annotations

import json
from collections.abc import Callable

from road.journey import Journey
from road.recognised import RecognisedImage
from road.screen import detections_table

SHOWN = 5


def run(journey: Journey) -> None:
    search = journey.store.search_plates
    show(
        journey,
        "Plates with RW, in images where one is sure to 0.8",
        [record["id"] for record in search("rw", min_confidence=0.8, limit=-1)],
        lambda image: holds(image.plates, "rw") and any(c >= 0.8 for c in image.confidences),
    )
    show(
        journey,
        "Red vehicles from behind",
        [record["id"] for record in search(mmc_color="red", mmc_side="rear", limit=-1)],
        lambda image: (
            image.mmc_data is not None
            and image.mmc_data.get("mmc_color") == "red"
            and image.mmc_data.get("mmc_vehicle_side") == "rear"
        ),
    )
    show(
        journey,
        "Plates of Guangdong (粤)",
        [record["id"] for record in search(as_stored("粤"), limit=-1)],
        lambda image: holds(image.plates, as_stored("粤")),
    )


def as_stored(text: str) -> str:
    """The text as it stands in the stored JSON, where letters beyond ASCII are escaped."""
    return json.dumps(text)[1:-1]


def holds(plates: list[str], stored_text: str) -> bool:
    """The rule of a search in plain Python: the stored text contains it, A-Z the same as a-z."""
    return stored_text.lower() in json.dumps(plates).lower()


def show(
    journey: Journey, title: str, found: list[int], wanted: Callable[[RecognisedImage], bool]
) -> None:
    expected = [each for each in journey.newest_first if wanted(journey.recorded[each])]
    journey.check(title, expected, found)
    journey.console.print(
        detections_table(
            title,
            [
                (each, journey.expected[each]["timestamp"], journey.recorded[each])
                for each in found[:SHOWN]
            ],
            caption=f"the {min(SHOWN, len(found))} newest of {len(found)}",
        )
    )
