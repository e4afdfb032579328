"""Matching plates against the watchlist, a usual one and a large one."""

from __future__ import annotations

from random import Random
from typing import Any

from case import Case
from filled_files import WATCHLIST_SEED, plate

# Two watched plates as a reader may give them, one part of a watched plate, one unlike them all.
_rng = Random(WATCHLIST_SEED)
PLATES = [
    plate(_rng).lower(),
    plate(_rng).replace("-", ""),
    plate(_rng)[1:],
    "粤B·12345",
]


def check(store: Any, number: int) -> Any:
    return store.check_watchlist(PLATES)


CASES = (
    Case("check_watchlist, 100 entries", "check_watchlist", check, file="watchlist 100"),
    Case(
        "check_watchlist, 100,000 entries",
        "check_watchlist",
        check,
        file="watchlist 100,000",
        # The twin gives each of the 100,000 rows away: beside one thread that is eight minutes.
        beside=(),
    ),
)
