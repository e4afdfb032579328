"""The cases, a file for each kind of work."""

from __future__ import annotations

from cases import history, recording, search, statistics, watchlist

CASES = (
    *history.CASES,
    *recording.CASES,
    *watchlist.CASES,
    *search.CASES,
    *statistics.CASES,
)
