"""The pieces of work that are timed: a call each, written once for all peers."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from functools import partial
from random import Random
from typing import Any

from filled_files import ATTRIBUTES, KEYS, WATCHLIST_SEED, plate

ALL = ("store", "twin", "apsw", "sqlalchemy", "bare")
OURS = ("store", "twin", "bare")

# Reaches back before the oldest detection, so that the answer does not depend on today.
HOURS = 500_000
MMC = dict(zip(KEYS, ATTRIBUTES[0], strict=True))
PLATES = ["B-AB 1234", "TÜ-XY 77"]
CONFIDENCES = [0.9712, 0.8345]
BOXES = [[412, 633, 598, 671], [1022, 590, 1190, 633]]
TIMES = (0.0431, 0.0287, 0.0121)
PATHS = ("images/gate/000001.jpg", "thumbnails/gate/000001.jpg")
SURENESS = [0.88, 0.79]

# Two watched plates as a reader may give them, one part of a watched plate, one unlike them all.
_rng = Random(WATCHLIST_SEED)
WATCHED = [plate(_rng).lower(), plate(_rng).replace("-", ""), plate(_rng)[1:], "粤B·12345"]


@dataclass(frozen=True)
class Work:
    """`call(store, number)`, where `number` counts the calls; `rows` is what the answer holds."""

    name: str
    call: Callable[[Any, int], Any]
    file: str = "detections"
    rows: int = 1
    writes: bool = False
    peers: tuple[str, ...] = OURS


def add(store: Any, number: int) -> Any:
    return store.add_detection(
        PLATES, CONFIDENCES, BOXES, *TIMES, *PATHS, True, detection_confidences=SURENESS
    )


def check(store: Any, number: int) -> Any:
    return store.check_watchlist(WATCHED)


def one(store: Any, number: int) -> Any:
    return store.get_detection(1 + number * 7919 % 1_000)


def page(store: Any, number: int, limit: int) -> Any:
    return store.get_history(limit)


def by_confidence(store: Any, number: int) -> Any:
    return store.search_plates(min_confidence=0.95, limit=100)


def by_text(store: Any, number: int) -> Any:
    return store.search_plates("AB", limit=50)


def none_by_text(store: Any, number: int) -> Any:
    return store.search_plates("no such plate")


def update(store: Any, number: int) -> Any:
    # Few rows, so that all but the first rounds write what is there already: the first time a row
    # grows, and its page with it.
    return store.update_mmc_data(1 + number % 20, MMC)


def construct(store: Any, number: int) -> Any:
    # Of the twin or the store: the peer's class on the file that it has open.
    type(store)(str(store.db_path))


def statistics(store: Any, number: int) -> Any:
    return store.get_statistics()


def hourly(store: Any, number: int) -> Any:
    return store.get_hourly_stats(HOURS)


def top_plates(store: Any, number: int) -> Any:
    return store.get_top_plates(10)


def retention(store: Any, number: int) -> Any:
    """One detection more than is kept: the newest is added, the oldest goes."""
    add(store, number)
    kept = store.get_statistics()["total_detections"] - 1
    return store.cleanup_old(kept)


PAGE_SIZES = (1, 10, 100, 1_000, 10_000)
TABLE_SIZES = (1_000, 10_000, 100_000, 1_000_000)

WORKS = (
    Work("get_detection", one, peers=ALL),
    *(
        Work(f"get_history({size:,})", partial(page, limit=size), rows=size, peers=ALL)
        for size in PAGE_SIZES
    ),
    Work("search_plates, confidence", by_confidence, rows=100),
    Work("search_plates, text", by_text, rows=50),
    Work("get_statistics", statistics),
    Work("get_hourly_stats", hourly, rows=834),
    Work("get_top_plates", top_plates, rows=10),
    Work("check_watchlist, 1,000", check, "watchlist 1,000", 4),
    Work("check_watchlist, 100,000", check, "watchlist 100,000", 4),
    Work("add_detection", add, writes=True, peers=ALL),
    Work("update_mmc_data", update, writes=True, peers=ALL),
    Work("construct, file is there", construct, rows=0, peers=("store", "twin")),
)

# The same at several sizes of the table, by the words of the picture.
GROWTH = (
    Work("get_detection", one),
    Work("get_history(100)", partial(page, limit=100), rows=100),
    Work("search_plates, none found", none_by_text, rows=0),
    Work("get_statistics", statistics),
    Work("add_detection", add, writes=True),
    Work("cleanup_old, one too many", retention, writes=True, peers=("store", "twin")),
)

BY_NAME = {f"growth {work.name}": work for work in GROWTH} | {work.name: work for work in WORKS}
