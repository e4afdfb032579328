"""The stages of the road, in their order."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass

from road import (
    history,
    image_paths,
    look_up,
    record,
    search,
    statistics_panel,
    trim,
    unread_alerts,
    vehicles,
    watch,
)
from road.journey import Journey


@dataclass(frozen=True)
class Stage:
    title: str
    run: Callable[[Journey], None]


STAGES = (
    Stage("Watch some plates", watch.run),
    Stage("Record what was recognised", record.run),
    Stage("Attach the image files", image_paths.run),
    Stage("Attach the vehicle attributes", vehicles.run),
    Stage("Page through the history", history.run),
    Stage("Look one up", look_up.run),
    Stage("Search", search.run),
    Stage("Statistics", statistics_panel.run),
    Stage("Unread alerts", unread_alerts.run),
    Stage("Trim", trim.run),
)
