"""How plates, confidences and detections look in the terminal."""

from __future__ import annotations

import math
from collections.abc import Sequence

from rich.bar import Bar
from rich.console import Console
from rich.markup import escape
from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn, TimeElapsedColumn
from rich.table import Table

from road.recognised import RecognisedImage


def progress(console: Console) -> Progress:
    return Progress(
        TextColumn("{task.description}"),
        BarColumn(),
        MofNCompleteColumn(),
        TimeElapsedColumn(),
        console=console,
    )


def confidence(value: float | None) -> str:
    if value is None:
        return "[dim]none[/]"
    if math.isnan(value):
        return "[magenta]NaN[/]"
    colour = "green" if value >= 0.9 else "yellow" if value >= 0.7 else "red"
    return f"[{colour}]{value:.2f}[/]"


def plates(image: RecognisedImage) -> str:
    if not image.success:
        return "[red]failed[/]"
    return "\n".join(f"[bold]{escape(plate)}[/]" for plate in image.plates) or "[dim]no plate[/]"


def vehicle(attributes: dict[str, str] | None) -> str:
    """The vehicle in the order in which people say it: white Škoda Fabia, from behind."""
    if not attributes:
        return ""
    keys = ("mmc_color", "mmc_make", "mmc_model")
    return escape(" ".join(attributes[key] for key in keys if key in attributes))


def clock(timestamp: object) -> str:
    """The time of day of a stored timestamp, to the millisecond."""
    return str(timestamp)[11:23]


def detections_table(
    title: str, rows: Sequence[tuple[int, object, RecognisedImage]], caption: str | None = None
) -> Table:
    """One row for each (id, timestamp, image)."""
    table = Table(title=title, caption=caption, title_justify="left", caption_justify="left")
    table.add_column("id", justify="right", style="cyan")
    table.add_column("time")
    table.add_column("plates")
    table.add_column("conf.", justify="right")
    table.add_column("nation")
    table.add_column("vehicle")
    for detection_id, timestamp, image in rows:
        table.add_row(
            str(detection_id),
            clock(timestamp),
            plates(image),
            "\n".join(map(confidence, image.confidences)),
            (image.mmc_data or {}).get("mmc_plate_nation", ""),
            vehicle(image.mmc_data),
        )
    return table


def bars_table(title: str, rows: Sequence[tuple[str, int]], colour: str) -> Table:
    """A bar for each (name, count), the longest as wide as the column."""
    table = Table(title=title, title_justify="left", show_header=False)
    table.add_column("name")
    table.add_column("count", justify="right")
    table.add_column("bar", width=32)
    most = max((count for _, count in rows), default=0)
    for name, count in rows:
        table.add_row(escape(name), str(count), Bar(most, 0, count, color=colour))
    return table
