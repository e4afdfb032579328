"""The table of a run, within 80 columns."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from statistics import median

from rich.table import Table

from server_load.conditions import Condition
from server_load.load_round import Figures


def table(measured: Mapping[Condition, Sequence[Figures]], rounds: int, seconds: float) -> Table:
    caption = (
        f"median of {rounds} rounds of {seconds:g} s; conn: connections; busy: beside a thread that"
        " recognises without pause; CPU: the server's, for each request; errors: all rounds;"
        " files: descriptors at most"
    )
    result = Table(caption=caption, caption_justify="left", padding=(0, 1, 0, 0), box=None)
    for column in ("place", "conn", "", "peer"):
        result.add_column(column, no_wrap=True)
    for column in ("requests/s", "p50 ms", "p99 ms", "CPU ms", "errors", "MiB", "files"):
        result.add_column(column, justify="right", no_wrap=True)
    place = None
    for condition, figures in measured.items():
        if place not in (None, condition.place):
            result.add_row()
        place = condition.place
        result.add_row(
            condition.place,
            str(condition.connections),
            "busy" if condition.recognising else "",
            condition.peer,
            f"[bold]{median(each.requests_a_second for each in figures):.0f}[/]",
            f"{median(each.p50_ms for each in figures):.1f}",
            f"{median(each.p99_ms for each in figures):.0f}",
            "" if condition.recognising else f"{median(each.cpu_ms for each in figures):.2f}",
            str(sum(sum(each.failed.values()) for each in figures)),
            f"{median(each.peak_mib for each in figures):.0f}",
            str(max(each.descriptors for each in figures)),
        )
    return result
