"""A small panel of statistics: totals, a bar for each hour, the plates seen most often."""

from __future__ import annotations

from collections import Counter

from rich.columns import Columns
from rich.panel import Panel
from rich.table import Table

from road.check import Mismatch
from road.journey import Journey
from road.screen import bars_table

TOP = 8


def run(journey: Journey) -> None:
    totals = dict(journey.store.get_statistics())
    check_totals(journey, totals)
    hours = [dict(hour) for hour in journey.store.get_hourly_stats()]
    check_hours(journey, hours)
    top = [(each["plate"], each["count"]) for each in journey.store.get_top_plates(TOP)]
    journey.check("the top plates", expected_top(journey), [list(each) for each in top])
    journey.console.print(
        Panel(
            Columns(
                [
                    totals_table(totals),
                    bars_table("Detections by hour", hour_bars(hours), "cyan"),
                    bars_table(f"The {TOP} plates seen most often", top, "green"),
                ],
                padding=(1, 3),
            ),
            title="Statistics",
            title_align="left",
        )
    )


def check_totals(journey: Journey, totals: dict[str, object]) -> None:
    images = list(journey.recorded.values())
    good = sum(image.success and bool(image.plates) for image in images)
    average = totals.pop("avg_processing_sec")
    expected = {
        "total_detections": len(images),
        "successful_detections": good,
        "failed_detections": len(images) - good,
        "total_plates_found": sum(len(image.plates) for image in images),
    }
    journey.check("the totals", expected, totals)
    mean = sum(image.processing_time for image in images) / len(images)
    if not isinstance(average, float) or abs(average - mean) > 0.0001:
        raise Mismatch(f"the average processing time: recorded {mean:.6f}, read {average!r}")
    totals["avg_processing_sec"] = average


def check_hours(journey: Journey, hours: list[dict[str, object]]) -> None:
    counted = Counter(
        str(record["timestamp"])[:13] + ":00:00" for record in journey.expected.values()
    )
    expected = [[hour, counted[hour]] for hour in sorted(counted)]
    journey.check("the hours", expected, [[hour["hour"], hour["count"]] for hour in hours])


def expected_top(journey: Journey) -> list[list[object]]:
    """Counted over the 500 newest detections with plates, the newest first among equals."""
    with_plates = [
        journey.recorded[each].plates
        for each in journey.newest_first
        if journey.recorded[each].plates
    ]
    counts = Counter(plate for plates in with_plates[:500] for plate in plates)
    return [[plate, count] for plate, count in counts.most_common(TOP)]


def totals_table(totals: dict[str, object]) -> Table:
    table = Table(title="Totals", title_justify="left", show_header=False)
    for name, value in totals.items():
        table.add_row(name.replace("_", " "), f"[bold]{value}[/]")
    return table


def hour_bars(hours: list[dict[str, object]]) -> list[tuple[str, int]]:
    """The hour as a person writes it, with its number of detections."""
    bars = []
    for hour in hours:
        count = hour["count"]
        assert isinstance(count, int)
        bars.append((str(hour["hour"])[:16].replace("T", " "), count))
    return bars
