"""Calls that last, on which the longest stop of another thread is measured."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from works import HOURS, check


@dataclass(frozen=True)
class LongCall:
    name: str
    operation: str
    file: str
    call: Callable[[Any], object]
    # The twin gives each row that comes back away to the other thread: 5 ms a row.
    twin_too: bool = False


LONG_CALLS = (
    LongCall("get_history, 10,000 rows", "get_history", "detections", lambda s: s.get_history(-1)),
    LongCall("get_history, 100 rows", "get_history", "detections", lambda s: s.get_history(), True),
    LongCall(
        "check_watchlist, 100,000 entries",
        "check_watchlist",
        "watchlist 100,000",
        lambda s: check(s, 0),
    ),
    LongCall(
        "search_plates, none in 1,000,000",
        "search_plates",
        "1,000,000 detections",
        lambda s: s.search_plates("no such plate"),
        True,
    ),
    LongCall(
        "get_statistics of 1,000,000",
        "get_statistics",
        "1,000,000 detections",
        lambda s: s.get_statistics(),
        True,
    ),
    LongCall(
        "get_hourly_stats of 1,000,000",
        "get_hourly_stats",
        "1,000,000 detections",
        lambda s: s.get_hourly_stats(HOURS),
    ),
)
