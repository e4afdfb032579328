"""Pages through the history, newest first, and compares every record with what was recorded."""

from __future__ import annotations

from datetime import datetime

from road.check import Mismatch
from road.journey import Journey
from road.screen import detections_table

PAGE = 75
SHOWN = 14


def run(journey: Journey) -> None:
    pages = 0
    while page := journey.store.get_history(PAGE, offset=pages * PAGE):
        pages += 1
        for record in page:
            check_record(journey, dict(record))
    journey.check("the ids in the history", sorted(journey.expected), sorted(journey.newest_first))
    times = [str(journey.expected[each]["timestamp"]) for each in journey.newest_first]
    journey.check("the order of the history", sorted(times, reverse=True), times)
    journey.console.print(
        detections_table(
            "The newest in the history",
            [
                (each, journey.expected[each]["timestamp"], journey.recorded[each])
                for each in journey.newest_first[:SHOWN]
            ],
        )
    )
    journey.say(f"{len(times)} records read in {pages} pages: each equals what was recorded.")
    check_window(journey, times[len(times) * 2 // 3], times[len(times) // 3])


def check_record(journey: Journey, record: dict[str, object]) -> None:
    detection_id = record.get("id")
    if not isinstance(detection_id, int) or detection_id not in journey.expected:
        raise Mismatch(f"the history has a detection {detection_id!r} that nobody recorded")
    timestamp = str(record["timestamp"])
    journey.check("a timestamp's form", datetime.fromisoformat(timestamp).isoformat(), timestamp)
    journey.expected[detection_id]["timestamp"] = timestamp
    journey.check(f"detection {detection_id}", journey.expected[detection_id], record)
    journey.newest_first.append(detection_id)


def check_window(journey: Journey, date_from: str, date_to: str) -> None:
    """Reads the detections between two stored times, both bounds included."""
    window = journey.store.get_history(-1, date_from=date_from, date_to=date_to)
    inside = [
        each
        for each in journey.newest_first
        if date_from <= str(journey.expected[each]["timestamp"]) <= date_to
    ]
    journey.check("the ids in a window of time", inside, [record["id"] for record in window])
    journey.say(f"{len(window)} of them lie between {date_from} and {date_to}.")
