"""Looks one detection up by its id and shows all that is kept of it."""

from __future__ import annotations

from rich import box
from rich.markup import escape
from rich.table import Table

from road.check import Mismatch
from road.journey import Journey


def run(journey: Journey) -> None:
    wanted = most_telling(journey)
    record = journey.store.get_detection(wanted)
    if record is None:
        raise Mismatch(f"detection {wanted} is not found")
    journey.check(f"detection {wanted}", journey.expected[wanted], dict(record))
    table = Table(
        title=f"Detection {wanted}", title_justify="left", show_header=False, box=box.SIMPLE_HEAD
    )
    table.add_column(style="cyan")
    table.add_column()
    for column, value in record.items():
        table.add_row(column, escape(shown(value)))
    journey.console.print(table)
    missing = max(journey.recorded) + 1
    journey.check(
        f"detection {missing}, never recorded", None, journey.store.get_detection(missing)
    )
    journey.say("It equals what was recorded, and an id never given is not found.")


def most_telling(journey: Journey) -> int:
    """The detection with a vehicle and detector confidences that has the most plates."""

    def richness(detection_id: int) -> tuple[bool, bool, int]:
        image = journey.recorded[detection_id]
        return image.mmc_data is not None, bool(image.detection_confidences), len(image.plates)

    return max(journey.recorded, key=richness)


def shown(value: object) -> str:
    if isinstance(value, list):
        return "\n".join(map(str, value))
    if isinstance(value, dict):
        return "\n".join(f"{key}: {each}" for key, each in value.items())
    return str(value)
