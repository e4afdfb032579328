"""One table of all that the class defines: how each operation is called and what it does.

`OPERATIONS` has every method in the class's order. A `Call` is one way to call a method on a store
that holds the rows of `support.sample_file`, with the clock standing at `NOW`: its arguments, the
statements that it then runs with what is given to them, or the error that it ends with. The first
good call of an operation, its `sample`, gives every parameter by position.
"""

from __future__ import annotations

import sqlite3
from datetime import datetime, timedelta
from typing import Any

from support.fakes import Undecided
from support.operation import REQUIRED as REQUIRED
from support.operation import Call as Call
from support.operation import Of, bad, good, operation
from support.operation import Operation as Operation
from support.statements import BETWEEN as BETWEEN
from support.statements import CLEAN_UP as CLEAN_UP
from support.statements import COUNT_ALERTS as COUNT_ALERTS
from support.statements import COUNT_UNREAD as COUNT_UNREAD
from support.statements import DELETE_DETECTION as DELETE_DETECTION
from support.statements import DELETE_WATCHLIST as DELETE_WATCHLIST
from support.statements import HOURLY as HOURLY
from support.statements import INSERT_ALERT as INSERT_ALERT
from support.statements import INSERT_DETECTION as INSERT_DETECTION
from support.statements import INSERT_WATCHLIST as INSERT_WATCHLIST
from support.statements import LATEST_PLATES as LATEST_PLATES
from support.statements import LIST_ALERTS as LIST_ALERTS
from support.statements import LIST_WATCHLIST as LIST_WATCHLIST
from support.statements import MARK_ALERTS as MARK_ALERTS
from support.statements import PAGE as PAGE
from support.statements import READ_WATCHLIST as READ_WATCHLIST
from support.statements import SCHEMA as SCHEMA
from support.statements import SELECT_DETECTION as SELECT_DETECTION
from support.statements import SELECT_DETECTIONS as SELECT_DETECTIONS
from support.statements import STATISTICS as STATISTICS
from support.statements import UPDATE_MMC as UPDATE_MMC
from support.statements import UPDATE_PATHS as UPDATE_PATHS
from support.statements import alerts_of as alerts_of
from support.statements import delete_detections as delete_detections

NOW = datetime(2024, 5, 1, 14, 3, 27, 512034)


def _circular() -> list[Any]:
    value: list[Any] = []
    value.append(value)
    return value


_LISTS = (["AB123", "ŠK-456"], [0.98, 0.5], [[10, 20, 110, 60], [1, 2, 3, 4]])
_WRITTEN = ('["AB123", "\\u0160K-456"]', "[0.98, 0.5]", "[[10, 20, 110, 60], [1, 2, 3, 4]]")
_TIMES = (0.25, 0.125, 0.0625)
_TOO_LARGE = 2**70
_NO_TRUTH = Undecided(LookupError("truth asked"))
_STAMP = NOW.isoformat()
_PLAIN = (_STAMP, 2, *_WRITTEN, *_TIMES)
_ATTRIBUTES = ("", "", "red", "", "", "")
_LIKE_RED = '%"mmc_color"%red%'
_MANY_HOURS = 24 * 365 * 50
_FILTERED = (
    SELECT_DETECTIONS
    + " WHERE plates LIKE ? AND timestamp >= ? AND timestamp <= ? AND num_plates > 0"
    + " AND mmc_data LIKE ?"
    + PAGE
)


def _cut_off(hours: float) -> list[Any]:
    return [(HOURLY, ((NOW - timedelta(hours=hours)).isoformat(),))]


OPERATIONS = (
    operation(
        "__init__(self, db_path: str)",
        good("open again", Of(lambda store: store.db_path)),
        bad("no path", TypeError),
        bad("a number as path", TypeError, 5),
        bad("a file as folder", FileExistsError, Of(lambda store: store.db_path / "x.db")),
        bad(
            "a folder as file",
            sqlite3.OperationalError,
            Of(lambda store: store.db_path.parent),
        ),
        bad("a name with a NUL", ValueError, "x\0.db"),
        gives=(),
    ),
    operation("_get_conn(self)", good("a connection"), gives=()),
    operation(
        "_init_schema(self)",
        good("again", runs=[(statement,) for statement in SCHEMA]),
        steps=("execute",) * len(SCHEMA) + ("commit",),
    ),
    operation(
        "add_detection(self, plates: List[str], confidences: List[float], bboxes: List[list], "
        "processing_time: float, detector_time: float, ocr_time: float, image_path: "
        "Optional[str] = None, thumbnail_path: Optional[str] = None, success: bool = True, "
        "detection_confidences: Optional[List[float]] = None) -> int",
        good(
            "with everything",
            *(*_LISTS, *_TIMES, "a.jpg", "b.jpg", False, [0.5]),
            runs=[(INSERT_DETECTION, (*_PLAIN, "a.jpg", "b.jpg", 0, "[0.5]"))],
        ),
        good(
            "plain",
            *(*_LISTS, *_TIMES),
            runs=[(INSERT_DETECTION, (*_PLAIN, None, None, 1, None))],
        ),
        good("large", ["x" * 3000] * 9, [0.1] * 900, [[1, 2]] * 900, *_TIMES),
        bad("plates without a length", TypeError, None, [], [], *_TIMES),
        bad("an unwritable plate", TypeError, [{1}], [], [], *_TIMES),
        bad("an unwritable key", TypeError, [], [{(): 1}], [], *_TIMES),
        bad("a circular box", ValueError, [], [], _circular(), *_TIMES),
        bad("a list as time", sqlite3.ProgrammingError, *_LISTS, [], 1, 1),
        bad("a huge time", OverflowError, *_LISTS, _TOO_LARGE, 1, 1),
        bad("a lone surrogate", UnicodeEncodeError, *_LISTS, *_TIMES, "\ud800"),
        bad("no truth", LookupError, *_LISTS, *_TIMES, success=_NO_TRUTH),
        bad("too few arguments", TypeError, *_LISTS),
        bad("an unknown name", TypeError, *_LISTS, *_TIMES, other=1),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        bound={
            "processing_time": 5,
            "detector_time": 6,
            "ocr_time": 7,
            "image_path": 8,
            "thumbnail_path": 9,
        },
        truths_inside=("success", "detection_confidences"),
        reads_clock=True,
    ),
    operation(
        "get_history(self, limit: int = 100, offset: int = 0, date_from: str = None, date_to: "
        "str = None) -> List[Dict]",
        good(
            "between",
            *(10, 1, "2001-01-01", "2001-12-31"),
            runs=[(SELECT_DETECTIONS + BETWEEN + PAGE, ["2001-01-01", "2001-12-31", 10, 1])],
        ),
        good("all", runs=[(SELECT_DETECTIONS + PAGE, [100, 0])]),
        bad("a word as limit", sqlite3.IntegrityError, "x"),
        bad("a list as offset", sqlite3.ProgrammingError, 1, []),
        bad("no truth", LookupError, date_from=_NO_TRUTH),
        bad("limit twice", TypeError, 1, limit=1),
        gives=(list,),
        steps=("execute", "fetchall"),
        bound={"date_from": 0, "date_to": 1, "limit": 2, "offset": 3},
        truths_before=("date_from", "date_to"),
    ),
    operation(
        "get_detection(self, detection_id: int) -> Optional[Dict]",
        good("one", 1, runs=[(SELECT_DETECTION, (1,))]),
        good("none", 77, runs=[(SELECT_DETECTION, (77,))]),
        bad("a list", sqlite3.ProgrammingError, []),
        bad("a huge number", OverflowError, _TOO_LARGE),
        bad("nothing", TypeError),
        gives=(dict, type(None)),
        steps=("execute", "fetchone"),
        bound={"detection_id": 0},
    ),
    operation(
        "delete_detection(self, detection_id: int) -> bool",
        good("one", 1, runs=[(DELETE_DETECTION, (1,))]),
        good("none", 77, runs=[(DELETE_DETECTION, (77,))]),
        bad("a list", sqlite3.ProgrammingError, []),
        gives=(bool,),
        steps=("execute", "commit", "rowcount"),
        bound={"detection_id": 0},
    ),
    operation(
        "delete_detections(self, ids: list) -> int",
        good("some", [1, 2, 2, 77], runs=[(delete_detections(4), [1, 2, 2, 77])]),
        good("an empty list", []),
        bad("a number", TypeError, 5),
        bad("a list inside", sqlite3.ProgrammingError, [1, []]),
        gives=(int,),
        steps=("execute", "commit", "rowcount"),
        truths_before=("ids",),
        nothing=0,
    ),
    operation(
        "get_statistics(self) -> Dict",
        good("all", runs=[(STATISTICS,)]),
        gives=(dict,),
        steps=("execute", "fetchone"),
    ),
    operation(
        "update_image_paths(self, detection_id: int, image_path: str, thumbnail_path: str)",
        good("both", 1, "image.jpg", "t.jpg", runs=[(UPDATE_PATHS, ("image.jpg", "t.jpg", 1))]),
        bad("a list", sqlite3.ProgrammingError, 1, [], None),
        bad("too few", TypeError, 1, None),
        steps=("execute", "commit"),
        bound={"image_path": 0, "thumbnail_path": 1, "detection_id": 2},
    ),
    operation(
        "update_mmc_data(self, detection_id: int, mmc_data: dict)",
        good(
            "a mapping",
            *(1, {"mmc_make": "Škoda", "mmc_color": "red"}),
            runs=[(UPDATE_MMC, ('{"mmc_make": "\\u0160koda", "mmc_color": "red"}', 1))],
        ),
        good("nothing", 2, None, runs=[(UPDATE_MMC, ("null", 2))]),
        bad("a set", TypeError, 1, {"a": {1}}),
        bad("circular", ValueError, 1, _circular()),
        bad("a list as id", sqlite3.ProgrammingError, [], {}),
        steps=("execute", "commit"),
        bound={"detection_id": 1},
    ),
    operation(
        "cleanup_old(self, max_entries: int = 1000)",
        good("to two", 2, runs=[(CLEAN_UP, (2,))]),
        good("nothing to do", runs=[(CLEAN_UP, (1000,))]),
        bad("a word", sqlite3.IntegrityError, "x"),
        bad("a list", sqlite3.ProgrammingError, []),
        steps=("execute", "commit"),
        bound={"max_entries": 0},
    ),
    operation(
        "search_plates(self, query: str = '', date_from: str = None, date_to: str = None, "
        "min_confidence: float = 0, mmc_make: str = '', mmc_model: str = '', mmc_color: str = "
        "'', mmc_type: str = '', mmc_nation: str = '', mmc_side: str = '', limit: int = 100, "
        "offset: int = 0) -> List[Dict]",
        good(
            "filtered",
            *("AB", "2001", "2002", 0.5, *_ATTRIBUTES, 100, 0),
            runs=[(_FILTERED, ["%AB%", "2001", "2002", _LIKE_RED, 100, 0])],
        ),
        good("everything", runs=[(SELECT_DETECTIONS + PAGE, [100, 0])]),
        bad("a word as confidence", TypeError, min_confidence="x"),
        bad("a word as limit", sqlite3.IntegrityError, limit="x"),
        gives=(list,),
        steps=("execute", "fetchall"),
        bound={"date_from": 1, "date_to": 2, "limit": 4, "offset": 5},
        truths_before=(
            "query",
            "date_from",
            "date_to",
            "mmc_make",
            "mmc_model",
            "mmc_color",
            "mmc_type",
            "mmc_nation",
            "mmc_side",
        ),
    ),
    operation(
        "get_hourly_stats(self, hours: int = 24) -> List[Dict]",
        good("a long span", _MANY_HOURS, runs=_cut_off(_MANY_HOURS)),
        good("a day", runs=_cut_off(24)),
        bad("a word", TypeError, "x"),
        gives=(list,),
        steps=("execute", "fetchall"),
        reads_clock=True,
    ),
    operation(
        "get_top_plates(self, limit: int = 5) -> List[Dict]",
        good("five", 5, runs=[(LATEST_PLATES,)]),
        bad("a word", TypeError, "x"),
        gives=(list,),
        steps=("execute", "fetchall"),
    ),
    operation(
        "get_watchlist(self) -> List[Dict]",
        good("all", runs=[(LIST_WATCHLIST,)]),
        gives=(list,),
        steps=("execute", "fetchall"),
    ),
    operation(
        "add_watchlist(self, plate: str, label: str = '') -> int",
        good(
            "one",
            *(" ab-123 ", " label "),
            runs=[(INSERT_WATCHLIST, ("AB-123", "label", _STAMP))],
        ),
        bad("a number", AttributeError, 5),
        bad("no label", AttributeError, "AB", None),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        reads_clock=True,
    ),
    operation(
        "remove_watchlist(self, watchlist_id: int) -> bool",
        good("one", 1, runs=[(DELETE_WATCHLIST, (1,))]),
        bad("a list", sqlite3.ProgrammingError, []),
        gives=(bool,),
        steps=("execute", "commit", "rowcount"),
        bound={"watchlist_id": 0},
    ),
    operation(
        "check_watchlist(self, plates: List[str]) -> List[Dict]",
        good("some", ["AB 123", "x", "ŠK456"], runs=[(READ_WATCHLIST,)]),
        good("an empty list", []),
        bad("numbers", AttributeError, [5]),
        bad("a number", TypeError, 5),
        gives=(list,),
        steps=("execute", "fetchall"),
        truths_before=("plates",),
        nothing=[],
    ),
    operation(
        "add_alert(self, plate: str, label: str, detection_id: int, confidence: float) -> int",
        good(
            "one",
            *("AB123", "label", 1, 0.5),
            runs=[(INSERT_ALERT, (_STAMP, "AB123", "label", 1, 0.5))],
        ),
        bad("no plate", sqlite3.IntegrityError, None, "", 1, 0.5),
        bad("a list", sqlite3.ProgrammingError, [], "", 1, 0.5),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        bound={"plate": 1, "label": 2, "detection_id": 3, "confidence": 4},
        reads_clock=True,
    ),
    operation(
        "get_alerts(self, limit: int = 50) -> List[Dict]",
        good("two", 2, runs=[(LIST_ALERTS, (2,))]),
        good("all", runs=[(LIST_ALERTS, (50,))]),
        bad("a word", sqlite3.IntegrityError, "x"),
        gives=(list,),
        steps=("execute", "fetchall"),
        bound={"limit": 0},
    ),
    operation(
        "get_alert_count(self, unread_only: bool = True) -> int",
        good("all", False, runs=[(COUNT_ALERTS,)]),
        good("unread", runs=[(COUNT_UNREAD,)]),
        bad("no truth", LookupError, _NO_TRUTH),
        gives=(int,),
        steps=("execute", "fetchone"),
        truths_inside=("unread_only",),
    ),
    operation(
        "mark_alerts_read(self) -> int",
        good("all", runs=[(MARK_ALERTS,)]),
        gives=(int,),
        steps=("execute", "commit", "rowcount"),
    ),
    operation(
        "get_alerts_for_detections(self, detection_ids: List[int]) -> Dict[int, List[Dict]]",
        good("some", [1, 2, 77], runs=[(alerts_of(3), [1, 2, 77])]),
        good("an empty list", []),
        bad("a number", TypeError, 5),
        bad("a list inside", sqlite3.ProgrammingError, [[]]),
        gives=(dict,),
        steps=("execute", "fetchall"),
        truths_before=("detection_ids",),
        nothing={},
    ),
    operation(
        "_row_to_dict(row) -> Dict",
        good("a mapping", {"id": 1, "plates": '["AB"]'}),
        bad("a number", TypeError, 5),
        gives=(dict,),
    ),
)

BY_NAME = {operation.name: operation for operation in OPERATIONS}
# Those that run in the scope of one connection.
CONNECTED = tuple(operation for operation in OPERATIONS if operation.connects)
WRITING = tuple(operation for operation in CONNECTED if operation.writes)
READING = tuple(operation for operation in CONNECTED if not operation.writes)

GOOD_CALLS = {str(call): call for operation in OPERATIONS for call in operation.calls}
# Those that need the engine: for an empty list an operation returns at once.
WORKING = [
    name
    for name, call in GOOD_CALLS.items()
    if call.method != "_row_to_dict" and call.label != "an empty list"
]
BAD_CALLS = {str(call): call for operation in OPERATIONS for call in operation.refused}
