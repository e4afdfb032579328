"""The crowd as a picture: how evenly the threads of each scene are served, and how many calls."""

from __future__ import annotations

from pathlib import Path

import matplotlib
from matplotlib import pyplot
from matplotlib.axes import Axes

from crowd_scene import Outcome

COLOURS = {"store": "#1b6ca8", "twin": "#c9772b", "twin+lock": "#8a8a8a"}


def _bars(axes: Axes, groups: dict[str, dict[str, float]], title: str) -> None:
    peers = list(COLOURS)
    height = 0.8 / len(peers)
    for place, peer in enumerate(peers):
        at = [row + place * height for row in range(len(groups))]
        values = [group.get(peer, 0) for group in groups.values()]
        axes.barh(at, values, height, label=peer, color=COLOURS[peer])
    axes.set_yticks([row + height for row in range(len(groups))], list(groups))
    axes.margins(y=0.02)
    axes.invert_yaxis()
    axes.set_xscale("log")
    axes.set_title(title, loc="left", fontsize=10)
    axes.spines[["top", "right"]].set_visible(False)


def _figures(outcomes: list[Outcome], kind: str, figure: str) -> dict[str, dict[str, float]]:
    groups: dict[str, dict[str, float]] = {}
    for outcome in outcomes:
        calls = getattr(outcome, kind)
        if calls.per_second:
            groups.setdefault(outcome.scene, {})[outcome.peer] = getattr(calls, figure)
    return groups


def draw(outcomes: list[Outcome], file: Path) -> None:
    matplotlib.rcParams.update({"svg.hashsalt": "crowd", "svg.fonttype": "none"})
    writing = [outcome for outcome in outcomes if outcome.writes.per_second]
    reading = [outcome for outcome in outcomes if not outcome.writes.per_second]
    panels = (
        (_figures(writing, "writes", "per_second"), "writes a second"),
        (_figures(writing, "writes", "longest"), "longest write, ms"),
        (_figures(writing, "reads", "p99"), "99 of 100 reads beside writers are done in, ms"),
        (_figures(reading, "reads", "per_second"), "reads a second, nobody writes (in memory)"),
    )
    shown = [(groups, title) for groups, title in panels if groups]
    if not shown:
        return
    rows = [len(groups) for groups, _ in shown]
    figure, axes = pyplot.subplots(
        len(shown),
        1,
        figsize=(8, 0.45 * sum(rows) + len(rows)),
        height_ratios=rows,
        squeeze=False,
        layout="constrained",
    )
    for place, (groups, title) in zip(axes[:, 0], shown, strict=True):
        _bars(place, groups, title)
    axes[0, 0].legend(frameon=False, fontsize=8)
    figure.savefig(file, format="svg", metadata={"Date": None})
