"""The pictures of a run: times by page size, by number of busy threads, by size of the table."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from pathlib import Path

import matplotlib

matplotlib.use("svg")
# The same bytes for the same figures, and texts that stay texts.
matplotlib.rcParams["svg.hashsalt"] = "anpr"
matplotlib.rcParams["svg.fonttype"] = "none"

from matplotlib import pyplot  # noqa: E402
from matplotlib.axes import Axes  # noqa: E402
from matplotlib.figure import Figure  # noqa: E402

from timing import Spread  # noqa: E402

COLOURS = {
    "store": "#c0392b",
    "twin": "#2c6fbb",
    "apsw": "#7d8a2e",
    "sqlalchemy": "#8e5ea2",
    "bare": "#777777",
}
LABELS = {
    "store": "the store",
    "twin": "plain Python (sqlite3, json)",
    "apsw": "apsw + orjson",
    "sqlalchemy": "SQLAlchemy Core",
    "bare": "the engine alone, in C++",
}


def by_page_size(found: Mapping[int, Mapping[str, Spread]], file: Path) -> None:
    figure, axes = pyplot.subplots(figsize=(7, 4))
    sizes = sorted(found)
    for peer, colour in COLOURS.items():
        points = [found[size][peer].middle / size / 1e3 for size in sizes]
        style = "--" if peer == "bare" else "-"
        axes.plot(sizes, points, style, marker="o", color=colour, label=LABELS[peer])
    axes.set_ylabel("microseconds a record")
    axes.set_xlabel("records of the page")
    axes.set_title("get_history: time for each record, by size of the page", loc="left")
    _finish(figure, axes, file)


def by_busy_threads(
    found: Mapping[tuple[str, int], Mapping[str, Spread]], work: str, file: Path
) -> None:
    figure, axes = pyplot.subplots(figsize=(7, 4))
    threads = sorted(number for name, number in found if name == work)
    for peer in ("store", "twin"):
        points = [found[work, number][peer].middle / 1e6 for number in threads]
        axes.plot(threads, points, marker="o", color=COLOURS[peer], label=LABELS[peer])
    axes.set_ylabel("milliseconds a call")
    axes.set_xlabel("busy threads of the same process")
    axes.set_title(f"{work} beside threads that compute", loc="left")
    axes.set_xticks(threads)
    _finish(figure, axes, file, log_x=False)


def by_table_size(
    sizes: Sequence[int], found: Mapping[tuple[str, int], Mapping[str, Spread]], file: Path
) -> None:
    names = list(dict.fromkeys(name for name, _ in found))
    figure, places = pyplot.subplots(2, 3, figsize=(10, 6), sharex=True)
    for name, axes in zip(names, places.flat, strict=True):
        for peer in ("store", "twin", "bare"):
            if peer not in found[name, sizes[0]]:
                continue
            points = [found[name, size][peer].middle / 1e3 for size in sizes]
            style = "--" if peer == "bare" else "-"
            axes.plot(sizes, points, style, marker="o", color=COLOURS[peer], label=LABELS[peer])
        axes.set_title(name, loc="left", fontsize=10)
        axes.set_xscale("log")
        axes.set_yscale("log")
        axes.grid(True, alpha=0.3)
    for axes in places[1]:
        axes.set_xlabel("detections in the file")
    for axes in places[:, 0]:
        axes.set_ylabel("microseconds a call")
    places[0, 0].legend(fontsize=7)
    _save(figure, file)


def _finish(figure: Figure, axes: Axes, file: Path, log_x: bool = True) -> None:
    if log_x:
        axes.set_xscale("log")
    axes.set_yscale("log")
    axes.grid(True, which="both", alpha=0.25)
    axes.legend()
    _save(figure, file)


def _save(figure: Figure, file: Path) -> None:
    file.parent.mkdir(parents=True, exist_ok=True)
    figure.tight_layout()
    figure.savefig(file, metadata={"Date": None})
    pyplot.close(figure)
    lines = (line.rstrip() for line in file.read_text().splitlines())
    file.write_text("\n".join(lines) + "\n")
