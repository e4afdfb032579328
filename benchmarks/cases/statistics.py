"""Totals, hourly counts and the most frequent plates of 10,000 detections."""

from __future__ import annotations

from case import Case

# Reaches back before the oldest detection, so that the answer does not depend on today.
HOURS = 500_000

CASES = (
    Case("get_statistics", "get_statistics", lambda store, _: store.get_statistics()),
    Case(
        "get_hourly_stats, 834 hours",
        "get_hourly_stats",
        lambda store, _: store.get_hourly_stats(HOURS),
        beside=(1,),
    ),
    Case(
        "get_top_plates",
        "get_top_plates",
        lambda store, _: store.get_top_plates(10),
        beside=(1,),
    ),
)
