"""Every operation of the store: how it is called well, and badly, for the tests under faults.

An operation that the class does not have (yet) is left out; a new one joins by an entry here.
"""

from __future__ import annotations

import sqlite3
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

Run = Callable[[Any], Any]


@dataclass(frozen=True)
class Call:
    """One way to call an operation on a store that holds what `sample_file` puts into its file."""

    label: str
    run: Run
    error: type[BaseException] | None = None  # exactly this class, for a bad call

    def __str__(self) -> str:
        return self.label


@dataclass(frozen=True)
class Operation:
    method: str
    good: tuple[Call, ...]
    bad: tuple[Call, ...] = ()


class Refuses:
    """Cannot be written, bound, iterated, measured or tested."""

    def __bool__(self) -> bool:
        raise LookupError("truth asked")


def _circular() -> list:
    value: list = []
    value.append(value)
    return value


LISTS = (["AB123", "ŠK-456"], [0.98, 0.5], [[10, 20, 110, 60], [1, 2, 3, 4]])
TIMES = (0.25, 0.125, 0.0625)
TOO_LARGE = 2**70

OPERATIONS = (
    Operation(
        "__init__",
        (Call("open again", lambda store: type(store)(store.db_path)),),
        (
            Call("no path", lambda store: type(store)(), TypeError),
            Call("a number as path", lambda store: type(store)(5), TypeError),
            Call(
                "a file as folder",
                lambda store: type(store)(store.db_path / "x.db"),
                FileExistsError,
            ),
            Call(
                "a folder as file",
                lambda store: type(store)(store.db_path.parent),
                sqlite3.OperationalError,
            ),
            Call("a name with a NUL", lambda store: type(store)("x\0.db"), ValueError),
        ),
    ),
    Operation("_get_conn", (Call("a connection", lambda store: bool(store._get_conn())),)),
    Operation("_init_schema", (Call("again", lambda store: store._init_schema()),)),
    Operation(
        "add_detection",
        (
            Call("plain", lambda store: store.add_detection(*LISTS, *TIMES)),
            Call(
                "with everything",
                lambda store: store.add_detection(
                    *LISTS,
                    *TIMES,
                    image_path="a.jpg",
                    thumbnail_path="b.jpg",
                    success=False,
                    detection_confidences=[0.5],
                ),
            ),
            Call(
                "large",
                lambda store: store.add_detection(
                    ["x" * 3000] * 9, [0.1] * 900, [[1, 2]] * 900, *TIMES
                ),
            ),
        ),
        (
            Call(
                "plates without a length",
                lambda store: store.add_detection(None, [], [], *TIMES),
                TypeError,
            ),
            Call(
                "an unwritable plate",
                lambda store: store.add_detection([{1}], [], [], *TIMES),
                TypeError,
            ),
            Call(
                "an unwritable key",
                lambda store: store.add_detection([], [{(): 1}], [], *TIMES),
                TypeError,
            ),
            Call(
                "a circular box",
                lambda store: store.add_detection([], [], _circular(), *TIMES),
                ValueError,
            ),
            Call(
                "a list as time",
                lambda store: store.add_detection(*LISTS, [], 1, 1),
                sqlite3.ProgrammingError,
            ),
            Call(
                "a huge time",
                lambda store: store.add_detection(*LISTS, TOO_LARGE, 1, 1),
                OverflowError,
            ),
            Call(
                "a lone surrogate",
                lambda store: store.add_detection(*LISTS, *TIMES, "\ud800"),
                UnicodeEncodeError,
            ),
            Call(
                "no truth",
                lambda store: store.add_detection(*LISTS, *TIMES, success=Refuses()),
                LookupError,
            ),
            Call("too few arguments", lambda store: store.add_detection(*LISTS), TypeError),
            Call(
                "an unknown name",
                lambda store: store.add_detection(*LISTS, *TIMES, other=1),
                TypeError,
            ),
        ),
    ),
    Operation(
        "get_history",
        (
            Call("all", lambda store: store.get_history()),
            Call("between", lambda store: store.get_history(10, 1, "2001-01-01", "2001-12-31")),
        ),
        (
            Call("a word as limit", lambda store: store.get_history("x"), sqlite3.IntegrityError),
            Call(
                "a list as offset", lambda store: store.get_history(1, []), sqlite3.ProgrammingError
            ),
            Call("no truth", lambda store: store.get_history(date_from=Refuses()), LookupError),
            Call("limit twice", lambda store: store.get_history(1, limit=1), TypeError),
        ),
    ),
    Operation(
        "get_detection",
        (
            Call("one", lambda store: store.get_detection(1)),
            Call("none", lambda store: store.get_detection(77)),
        ),
        (
            Call("a list", lambda store: store.get_detection([]), sqlite3.ProgrammingError),
            Call("a huge number", lambda store: store.get_detection(TOO_LARGE), OverflowError),
            Call("nothing", lambda store: store.get_detection(), TypeError),
        ),
    ),
    Operation(
        "delete_detection",
        (
            Call("one", lambda store: store.delete_detection(1)),
            Call("none", lambda store: store.delete_detection(77)),
        ),
        (Call("a list", lambda store: store.delete_detection([]), sqlite3.ProgrammingError),),
    ),
    Operation(
        "delete_detections",
        (
            Call("some", lambda store: store.delete_detections([1, 2, 2, 77])),
            Call("an empty list", lambda store: store.delete_detections([])),
        ),
        (
            Call("a number", lambda store: store.delete_detections(5), TypeError),
            Call(
                "a list inside",
                lambda store: store.delete_detections([1, []]),
                sqlite3.ProgrammingError,
            ),
        ),
    ),
    Operation("get_statistics", (Call("all", lambda store: store.get_statistics()),)),
    Operation(
        "update_image_paths",
        (Call("both", lambda store: store.update_image_paths(1, "image.jpg", "thumbnail.jpg")),),
        (
            Call(
                "a list",
                lambda store: store.update_image_paths(1, [], None),
                sqlite3.ProgrammingError,
            ),
            Call("too few", lambda store: store.update_image_paths(1, None), TypeError),
        ),
    ),
    Operation(
        "update_mmc_data",
        (
            Call(
                "a mapping",
                lambda store: store.update_mmc_data(1, {"mmc_make": "Škoda", "mmc_color": "red"}),
            ),
            Call("nothing", lambda store: store.update_mmc_data(2, None)),
        ),
        (
            Call("a set", lambda store: store.update_mmc_data(1, {"a": {1}}), TypeError),
            Call("circular", lambda store: store.update_mmc_data(1, _circular()), ValueError),
            Call(
                "a list as id",
                lambda store: store.update_mmc_data([], {}),
                sqlite3.ProgrammingError,
            ),
        ),
    ),
    Operation(
        "cleanup_old",
        (
            Call("to two", lambda store: store.cleanup_old(2)),
            Call("nothing to do", lambda store: store.cleanup_old()),
        ),
        (
            Call("a word", lambda store: store.cleanup_old("x"), sqlite3.IntegrityError),
            Call("a list", lambda store: store.cleanup_old([]), sqlite3.ProgrammingError),
        ),
    ),
    Operation(
        "search_plates",
        (
            Call("everything", lambda store: store.search_plates()),
            Call(
                "filtered",
                lambda store: store.search_plates("AB", "2001", "2002", 0.5, mmc_color="red"),
            ),
        ),
        (
            Call(
                "a word as confidence",
                lambda store: store.search_plates(min_confidence="x"),
                TypeError,
            ),
            Call(
                "a word as limit",
                lambda store: store.search_plates(limit="x"),
                sqlite3.IntegrityError,
            ),
        ),
    ),
    Operation(
        "get_hourly_stats",
        (Call("a long span", lambda store: store.get_hourly_stats(24 * 365 * 50)),),
        (Call("a word", lambda store: store.get_hourly_stats("x"), TypeError),),
    ),
    Operation(
        "get_top_plates",
        (Call("five", lambda store: store.get_top_plates()),),
        (Call("a word", lambda store: store.get_top_plates("x"), TypeError),),
    ),
    Operation("get_watchlist", (Call("all", lambda store: store.get_watchlist()),)),
    Operation(
        "add_watchlist",
        (Call("one", lambda store: store.add_watchlist(" ab-123 ", "label")),),
        (
            Call("a number", lambda store: store.add_watchlist(5), AttributeError),
            Call("no label", lambda store: store.add_watchlist("AB", None), AttributeError),
        ),
    ),
    Operation(
        "remove_watchlist",
        (Call("one", lambda store: store.remove_watchlist(1)),),
        (Call("a list", lambda store: store.remove_watchlist([]), sqlite3.ProgrammingError),),
    ),
    Operation(
        "check_watchlist",
        (
            Call("some", lambda store: store.check_watchlist(["AB 123", "x", "ŠK456"])),
            Call("an empty list", lambda store: store.check_watchlist([])),
        ),
        (
            Call("numbers", lambda store: store.check_watchlist([5]), AttributeError),
            Call("a number", lambda store: store.check_watchlist(5), TypeError),
        ),
    ),
    Operation(
        "add_alert",
        (Call("one", lambda store: store.add_alert("AB123", "label", 1, 0.5)),),
        (
            Call(
                "no plate", lambda store: store.add_alert(None, "", 1, 0.5), sqlite3.IntegrityError
            ),
            Call("a list", lambda store: store.add_alert([], "", 1, 0.5), sqlite3.ProgrammingError),
        ),
    ),
    Operation(
        "get_alerts",
        (Call("all", lambda store: store.get_alerts()),),
        (Call("a word", lambda store: store.get_alerts("x"), sqlite3.IntegrityError),),
    ),
    Operation(
        "get_alert_count",
        (
            Call("unread", lambda store: store.get_alert_count()),
            Call("all", lambda store: store.get_alert_count(False)),
        ),
        (Call("no truth", lambda store: store.get_alert_count(Refuses()), LookupError),),
    ),
    Operation("mark_alerts_read", (Call("all", lambda store: store.mark_alerts_read()),)),
    Operation(
        "get_alerts_for_detections",
        (
            Call("some", lambda store: store.get_alerts_for_detections([1, 2, 77])),
            Call("an empty list", lambda store: store.get_alerts_for_detections([])),
        ),
        (
            Call("a number", lambda store: store.get_alerts_for_detections(5), TypeError),
            Call(
                "a list inside",
                lambda store: store.get_alerts_for_detections([[]]),
                sqlite3.ProgrammingError,
            ),
        ),
    ),
)


def present() -> list[Operation]:
    """The operations that the class has."""
    return [operation for operation in OPERATIONS if hasattr(ANPRDatabase, operation.method)]


def good_calls() -> dict[str, Call]:
    return {f"{each.method}: {call.label}": call for each in present() for call in each.good}


def bad_calls() -> dict[str, Call]:
    return {f"{each.method}: {call.label}": call for each in present() for call in each.bad}
