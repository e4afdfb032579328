"""One table of all that the class defines: how each operation is called and what it does.

`OPERATIONS` has every method in the class's order. A `Call` is one way to call a method on a store
that holds the rows of `support.sample_file`, with the clock standing at `NOW`: its arguments, the
statements that it then runs with what is given to them, or the error that it ends with. The first
good call of an operation, its `sample`, gives every parameter by position.
"""

from __future__ import annotations

import sqlite3
from collections.abc import Callable
from dataclasses import dataclass, field
from datetime import datetime, timedelta
from typing import Any

from support.database import collapse
from support.fakes import Undecided
from support.twin_tables import CREATE_ALERTS, CREATE_DETECTIONS, CREATE_WATCHLIST

NOW = datetime(2024, 5, 1, 14, 3, 27, 512034)
REQUIRED = object()

# The statements, their white space collapsed.
INSERT_DETECTION = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)
SELECT_DETECTIONS = "SELECT * FROM detections"
PAGE = " ORDER BY timestamp DESC LIMIT ? OFFSET ?"
BETWEEN = " WHERE timestamp >= ? AND timestamp <= ?"
SELECT_DETECTION = "SELECT * FROM detections WHERE id = ?"
DELETE_DETECTION = "DELETE FROM detections WHERE id = ?"
STATISTICS = (
    "SELECT COUNT(*) as total,"
    " SUM(CASE WHEN success = 1 AND num_plates > 0 THEN 1 ELSE 0 END) as successful,"
    " SUM(CASE WHEN success = 0 OR num_plates = 0 THEN 1 ELSE 0 END) as failed,"
    " SUM(num_plates) as total_plates, AVG(processing_time) as avg_time FROM detections"
)
UPDATE_PATHS = "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?"
UPDATE_MMC = "UPDATE detections SET mmc_data = ? WHERE id = ?"
CLEAN_UP = (
    "DELETE FROM detections WHERE id NOT IN"
    " (SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)"
)
HOURLY = (
    "SELECT strftime('%Y-%m-%dT%H:00:00', timestamp) as hour, COUNT(*) as count,"
    " SUM(num_plates) as plates FROM detections WHERE timestamp >= ? GROUP BY hour ORDER BY hour"
)
LATEST_PLATES = (
    "SELECT plates FROM detections WHERE num_plates > 0 ORDER BY timestamp DESC LIMIT 500"
)
LIST_WATCHLIST = "SELECT * FROM watchlist ORDER BY created_at DESC"
INSERT_WATCHLIST = "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)"
DELETE_WATCHLIST = "DELETE FROM watchlist WHERE id = ?"
READ_WATCHLIST = "SELECT * FROM watchlist"
INSERT_ALERT = (
    "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence)"
    " VALUES (?, ?, ?, ?, ?)"
)
LIST_ALERTS = "SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?"
COUNT_UNREAD = "SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0"
COUNT_ALERTS = "SELECT COUNT(*) as cnt FROM alerts"
MARK_ALERTS = "UPDATE alerts SET is_read = 1 WHERE is_read = 0"
SCHEMA = (
    collapse(CREATE_DETECTIONS),
    "CREATE INDEX IF NOT EXISTS idx_timestamp ON detections(timestamp DESC)",
    "ALTER TABLE detections ADD COLUMN mmc_data TEXT",
    "ALTER TABLE detections ADD COLUMN detection_confidences TEXT",
    collapse(CREATE_WATCHLIST),
    "ALTER TABLE watchlist ADD COLUMN note TEXT DEFAULT ''",
    collapse(CREATE_ALERTS),
    "ALTER TABLE alerts ADD COLUMN note TEXT DEFAULT ''",
    "ALTER TABLE alerts ADD COLUMN is_read INTEGER DEFAULT 0",
    "CREATE INDEX IF NOT EXISTS idx_alerts_ts ON alerts(timestamp DESC)",
)


def delete_detections(number: int) -> str:
    return f"DELETE FROM detections WHERE id IN ({','.join('?' * number)})"


def alerts_of(number: int) -> str:
    return f"SELECT * FROM alerts WHERE detection_id IN ({','.join('?' * number)})"


@dataclass(frozen=True)
class Parameter:
    name: str
    annotation: str | None = None
    default: object = REQUIRED


@dataclass(frozen=True)
class Of:
    """An argument that depends on the store."""

    value: Callable[[Any], Any]


@dataclass(frozen=True)
class Call:
    """One way to call a method; `str` of it names method and call."""

    method: str
    label: str
    arguments: tuple[Any, ...] = ()
    named: dict[str, Any] = field(default_factory=dict)
    # (statement, *what is given with it) in order
    runs: tuple[tuple[Any, ...], ...] = ()
    error: type[BaseException] | None = None  # exactly this class

    def run(self, store: Any) -> Any:
        arguments = [a.value(store) if isinstance(a, Of) else a for a in self.arguments]
        function = type(store) if self.method == "__init__" else getattr(store, self.method)
        return function(*arguments, **self.named)

    def __str__(self) -> str:
        return f"{self.method}: {self.label}"


@dataclass(frozen=True)
class Operation:
    name: str
    parameters: tuple[Parameter, ...] = ()  # after `self`
    returns: str | None = None  # the annotation
    calls: tuple[Call, ...] = ()
    refused: tuple[Call, ...] = ()
    gives: tuple[type, ...] = (type(None),)  # what the good calls return is of one of these
    steps: tuple[str, ...] = ()  # between entering and leaving the connection
    static: bool = False
    # Parameter: where the sample's statement has it, the very object that was given.
    bound: dict[str, int] = field(default_factory=dict)
    written: tuple[str, ...] = ()  # parameters that are written as JSON, in order
    asks: dict[str, str] = field(default_factory=dict)  # parameter: the text's method asked first
    truths_before: tuple[str, ...] = ()  # parameters tested before a connection is opened, in order
    truths_inside: tuple[str, ...] = ()  # ... while it is open
    reads_clock: bool = False
    # What is returned, without a connection, when the one parameter is false.
    nothing: Any = None

    @property
    def all_parameters(self) -> tuple[Parameter, ...]:
        """The parameters with `self` among them, where the method takes the object."""
        return self.parameters if self.static else (Parameter("self"), *self.parameters)

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(p.name for p in self.parameters)

    @property
    def required(self) -> tuple[str, ...]:
        return tuple(p.name for p in self.parameters if p.default is REQUIRED)

    @property
    def defaults(self) -> tuple[object, ...] | None:
        given = tuple(p.default for p in self.parameters if p.default is not REQUIRED)
        return given or None

    @property
    def annotations(self) -> dict[str, str]:
        named = {p.name: p.annotation for p in self.parameters if p.annotation is not None}
        return named if self.returns is None else {**named, "return": self.returns}

    @property
    def connects(self) -> bool:
        return bool(self.steps)

    @property
    def writes(self) -> bool:
        return "commit" in self.steps

    @property
    def sample(self) -> Call:
        return self.calls[0]

    def named_sample(self, **changes: Any) -> dict[str, Any]:
        """The sample's arguments by name, changed as told."""
        return {**dict(zip(self.names, self.sample.arguments, strict=True)), **changes}

    def run(self, store: Any) -> Any:
        return self.sample.run(store)

    def __str__(self) -> str:
        return self.name


def _parameters(text: str, **defaults: object) -> tuple[Parameter, ...]:
    """From "name: annotation; name: annotation"."""
    found = []
    for part in text.split("; "):
        name, _, annotation = part.partition(": ")
        found.append(Parameter(name, annotation or None, defaults.get(name, REQUIRED)))
    return tuple(found)


class _Calls:
    """Makes the calls of one method."""

    def __init__(self, method: str) -> None:
        self.method = method

    def good(self, label: str, *arguments: Any, runs: Any = (), **named: Any) -> Call:
        return Call(self.method, label, arguments, named, runs=tuple(runs))

    def bad(self, label: str, error: type[BaseException], *arguments: Any, **named: Any) -> Call:
        return Call(self.method, label, arguments, named, error=error)


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
_ATTRIBUTES = ("", "", "red", "", "", "")
_LIKE_RED = '%"mmc_color"%red%'
_MANY_HOURS = 24 * 365 * 50


def _constructor() -> Operation:
    c = _Calls("__init__")
    return Operation(
        c.method,
        _parameters("db_path: str"),
        calls=(c.good("open again", Of(lambda store: store.db_path)),),
        refused=(
            c.bad("no path", TypeError),
            c.bad("a number as path", TypeError, 5),
            c.bad("a file as folder", FileExistsError, Of(lambda store: store.db_path / "x.db")),
            c.bad(
                "a folder as file",
                sqlite3.OperationalError,
                Of(lambda store: store.db_path.parent),
            ),
            c.bad("a name with a NUL", ValueError, "x\0.db"),
        ),
        gives=(),
    )


def _get_conn() -> Operation:
    c = _Calls("_get_conn")
    return Operation(c.method, calls=(c.good("a connection"),), gives=())


def _init_schema() -> Operation:
    c = _Calls("_init_schema")
    return Operation(
        c.method,
        calls=(c.good("again", runs=[(statement,) for statement in SCHEMA]),),
        steps=("execute",) * len(SCHEMA) + ("commit",),
    )


def _add_detection() -> Operation:
    c = _Calls("add_detection")
    plain = (_STAMP, 2, *_WRITTEN, *_TIMES)
    return Operation(
        c.method,
        _parameters(
            "plates: List[str]; confidences: List[float]; bboxes: List[list];"
            " processing_time: float; detector_time: float; ocr_time: float;"
            " image_path: Optional[str]; thumbnail_path: Optional[str]; success: bool;"
            " detection_confidences: Optional[List[float]]",
            image_path=None,
            thumbnail_path=None,
            success=True,
            detection_confidences=None,
        ),
        "int",
        calls=(
            c.good(
                "with everything",
                *(*_LISTS, *_TIMES, "a.jpg", "b.jpg", False, [0.5]),
                runs=[(INSERT_DETECTION, (*plain, "a.jpg", "b.jpg", 0, "[0.5]"))],
            ),
            c.good(
                "plain",
                *(*_LISTS, *_TIMES),
                runs=[(INSERT_DETECTION, (*plain, None, None, 1, None))],
            ),
            c.good("large", ["x" * 3000] * 9, [0.1] * 900, [[1, 2]] * 900, *_TIMES),
        ),
        refused=(
            c.bad("plates without a length", TypeError, None, [], [], *_TIMES),
            c.bad("an unwritable plate", TypeError, [{1}], [], [], *_TIMES),
            c.bad("an unwritable key", TypeError, [], [{(): 1}], [], *_TIMES),
            c.bad("a circular box", ValueError, [], [], _circular(), *_TIMES),
            c.bad("a list as time", sqlite3.ProgrammingError, *_LISTS, [], 1, 1),
            c.bad("a huge time", OverflowError, *_LISTS, _TOO_LARGE, 1, 1),
            c.bad("a lone surrogate", UnicodeEncodeError, *_LISTS, *_TIMES, "\ud800"),
            c.bad("no truth", LookupError, *_LISTS, *_TIMES, success=_NO_TRUTH),
            c.bad("too few arguments", TypeError, *_LISTS),
            c.bad("an unknown name", TypeError, *_LISTS, *_TIMES, other=1),
        ),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        bound={
            "processing_time": 5,
            "detector_time": 6,
            "ocr_time": 7,
            "image_path": 8,
            "thumbnail_path": 9,
        },
        written=("plates", "confidences", "bboxes", "detection_confidences"),
        truths_inside=("success", "detection_confidences"),
        reads_clock=True,
    )


def _get_history() -> Operation:
    c = _Calls("get_history")
    return Operation(
        c.method,
        _parameters(
            "limit: int; offset: int; date_from: str; date_to: str",
            **{"limit": 100, "offset": 0, "date_from": None, "date_to": None},
        ),
        "List[Dict]",
        calls=(
            c.good(
                "between",
                *(10, 1, "2001-01-01", "2001-12-31"),
                runs=[(SELECT_DETECTIONS + BETWEEN + PAGE, ["2001-01-01", "2001-12-31", 10, 1])],
            ),
            c.good("all", runs=[(SELECT_DETECTIONS + PAGE, [100, 0])]),
        ),
        refused=(
            c.bad("a word as limit", sqlite3.IntegrityError, "x"),
            c.bad("a list as offset", sqlite3.ProgrammingError, 1, []),
            c.bad("no truth", LookupError, date_from=_NO_TRUTH),
            c.bad("limit twice", TypeError, 1, limit=1),
        ),
        gives=(list,),
        steps=("execute", "fetchall"),
        bound={"date_from": 0, "date_to": 1, "limit": 2, "offset": 3},
        truths_before=("date_from", "date_to"),
    )


def _get_detection() -> Operation:
    c = _Calls("get_detection")
    return Operation(
        c.method,
        _parameters("detection_id: int"),
        "Optional[Dict]",
        calls=(
            c.good("one", 1, runs=[(SELECT_DETECTION, (1,))]),
            c.good("none", 77, runs=[(SELECT_DETECTION, (77,))]),
        ),
        refused=(
            c.bad("a list", sqlite3.ProgrammingError, []),
            c.bad("a huge number", OverflowError, _TOO_LARGE),
            c.bad("nothing", TypeError),
        ),
        gives=(dict, type(None)),
        steps=("execute", "fetchone"),
        bound={"detection_id": 0},
    )


def _delete_detection() -> Operation:
    c = _Calls("delete_detection")
    return Operation(
        c.method,
        _parameters("detection_id: int"),
        "bool",
        calls=(
            c.good("one", 1, runs=[(DELETE_DETECTION, (1,))]),
            c.good("none", 77, runs=[(DELETE_DETECTION, (77,))]),
        ),
        refused=(c.bad("a list", sqlite3.ProgrammingError, []),),
        gives=(bool,),
        steps=("execute", "commit", "rowcount"),
        bound={"detection_id": 0},
    )


def _delete_detections() -> Operation:
    c = _Calls("delete_detections")
    return Operation(
        c.method,
        _parameters("ids: list"),
        "int",
        calls=(
            c.good("some", [1, 2, 2, 77], runs=[(delete_detections(4), [1, 2, 2, 77])]),
            c.good("an empty list", []),
        ),
        refused=(
            c.bad("a number", TypeError, 5),
            c.bad("a list inside", sqlite3.ProgrammingError, [1, []]),
        ),
        gives=(int,),
        steps=("execute", "commit", "rowcount"),
        truths_before=("ids",),
        nothing=0,
    )


def _get_statistics() -> Operation:
    c = _Calls("get_statistics")
    return Operation(
        c.method,
        returns="Dict",
        calls=(c.good("all", runs=[(STATISTICS,)]),),
        gives=(dict,),
        steps=("execute", "fetchone"),
    )


def _update_image_paths() -> Operation:
    c = _Calls("update_image_paths")
    return Operation(
        c.method,
        _parameters("detection_id: int; image_path: str; thumbnail_path: str"),
        calls=(
            c.good(
                "both", 1, "image.jpg", "t.jpg", runs=[(UPDATE_PATHS, ("image.jpg", "t.jpg", 1))]
            ),
        ),
        refused=(
            c.bad("a list", sqlite3.ProgrammingError, 1, [], None),
            c.bad("too few", TypeError, 1, None),
        ),
        steps=("execute", "commit"),
        bound={"image_path": 0, "thumbnail_path": 1, "detection_id": 2},
    )


def _update_mmc_data() -> Operation:
    c = _Calls("update_mmc_data")
    return Operation(
        c.method,
        _parameters("detection_id: int; mmc_data: dict"),
        calls=(
            c.good(
                "a mapping",
                *(1, {"mmc_make": "Škoda", "mmc_color": "red"}),
                runs=[(UPDATE_MMC, ('{"mmc_make": "\\u0160koda", "mmc_color": "red"}', 1))],
            ),
            c.good("nothing", 2, None, runs=[(UPDATE_MMC, ("null", 2))]),
        ),
        refused=(
            c.bad("a set", TypeError, 1, {"a": {1}}),
            c.bad("circular", ValueError, 1, _circular()),
            c.bad("a list as id", sqlite3.ProgrammingError, [], {}),
        ),
        steps=("execute", "commit"),
        bound={"detection_id": 1},
        written=("mmc_data",),
    )


def _cleanup_old() -> Operation:
    c = _Calls("cleanup_old")
    return Operation(
        c.method,
        _parameters("max_entries: int", max_entries=1000),
        calls=(
            c.good("to two", 2, runs=[(CLEAN_UP, (2,))]),
            c.good("nothing to do", runs=[(CLEAN_UP, (1000,))]),
        ),
        refused=(
            c.bad("a word", sqlite3.IntegrityError, "x"),
            c.bad("a list", sqlite3.ProgrammingError, []),
        ),
        steps=("execute", "commit"),
        bound={"max_entries": 0},
    )


def _search_plates() -> Operation:
    c = _Calls("search_plates")
    empty = dict.fromkeys(
        ("query", "mmc_make", "mmc_model", "mmc_color", "mmc_type", "mmc_nation", "mmc_side"), ""
    )
    filtered = (
        SELECT_DETECTIONS
        + " WHERE plates LIKE ? AND timestamp >= ? AND timestamp <= ? AND num_plates > 0"
        + " AND mmc_data LIKE ?"
        + PAGE
    )
    return Operation(
        c.method,
        _parameters(
            "query: str; date_from: str; date_to: str; min_confidence: float; mmc_make: str;"
            " mmc_model: str; mmc_color: str; mmc_type: str; mmc_nation: str; mmc_side: str;"
            " limit: int; offset: int",
            **{**empty, "date_from": None, "date_to": None, "min_confidence": 0},
            limit=100,
            offset=0,
        ),
        "List[Dict]",
        calls=(
            c.good(
                "filtered",
                *("AB", "2001", "2002", 0.5, *_ATTRIBUTES, 100, 0),
                runs=[(filtered, ["%AB%", "2001", "2002", _LIKE_RED, 100, 0])],
            ),
            c.good("everything", runs=[(SELECT_DETECTIONS + PAGE, [100, 0])]),
        ),
        refused=(
            c.bad("a word as confidence", TypeError, min_confidence="x"),
            c.bad("a word as limit", sqlite3.IntegrityError, limit="x"),
        ),
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
    )


def _get_hourly_stats() -> Operation:
    c = _Calls("get_hourly_stats")

    def cut_off(hours: float) -> list[Any]:
        return [(HOURLY, ((NOW - timedelta(hours=hours)).isoformat(),))]

    return Operation(
        c.method,
        _parameters("hours: int", hours=24),
        "List[Dict]",
        calls=(
            c.good("a long span", _MANY_HOURS, runs=cut_off(_MANY_HOURS)),
            c.good("a day", runs=cut_off(24)),
        ),
        refused=(c.bad("a word", TypeError, "x"),),
        gives=(list,),
        steps=("execute", "fetchall"),
        reads_clock=True,
    )


def _get_top_plates() -> Operation:
    c = _Calls("get_top_plates")
    return Operation(
        c.method,
        _parameters("limit: int", limit=5),
        "List[Dict]",
        calls=(c.good("five", 5, runs=[(LATEST_PLATES,)]),),
        refused=(c.bad("a word", TypeError, "x"),),
        gives=(list,),
        steps=("execute", "fetchall"),
    )


def _get_watchlist() -> Operation:
    c = _Calls("get_watchlist")
    return Operation(
        c.method,
        returns="List[Dict]",
        calls=(c.good("all", runs=[(LIST_WATCHLIST,)]),),
        gives=(list,),
        steps=("execute", "fetchall"),
    )


def _add_watchlist() -> Operation:
    c = _Calls("add_watchlist")
    return Operation(
        c.method,
        _parameters("plate: str; label: str", label=""),
        "int",
        calls=(
            c.good(
                "one",
                *(" ab-123 ", " label "),
                runs=[(INSERT_WATCHLIST, ("AB-123", "label", _STAMP))],
            ),
        ),
        refused=(
            c.bad("a number", AttributeError, 5),
            c.bad("no label", AttributeError, "AB", None),
        ),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        asks={"plate": "upper", "label": "strip"},
        reads_clock=True,
    )


def _remove_watchlist() -> Operation:
    c = _Calls("remove_watchlist")
    return Operation(
        c.method,
        _parameters("watchlist_id: int"),
        "bool",
        calls=(c.good("one", 1, runs=[(DELETE_WATCHLIST, (1,))]),),
        refused=(c.bad("a list", sqlite3.ProgrammingError, []),),
        gives=(bool,),
        steps=("execute", "commit", "rowcount"),
        bound={"watchlist_id": 0},
    )


def _check_watchlist() -> Operation:
    c = _Calls("check_watchlist")
    return Operation(
        c.method,
        _parameters("plates: List[str]"),
        "List[Dict]",
        calls=(
            c.good("some", ["AB 123", "x", "ŠK456"], runs=[(READ_WATCHLIST,)]),
            c.good("an empty list", []),
        ),
        refused=(
            c.bad("numbers", AttributeError, [5]),
            c.bad("a number", TypeError, 5),
        ),
        gives=(list,),
        steps=("execute", "fetchall"),
        truths_before=("plates",),
        nothing=[],
    )


def _add_alert() -> Operation:
    c = _Calls("add_alert")
    return Operation(
        c.method,
        _parameters("plate: str; label: str; detection_id: int; confidence: float"),
        "int",
        calls=(
            c.good(
                "one",
                *("AB123", "label", 1, 0.5),
                runs=[(INSERT_ALERT, (_STAMP, "AB123", "label", 1, 0.5))],
            ),
        ),
        refused=(
            c.bad("no plate", sqlite3.IntegrityError, None, "", 1, 0.5),
            c.bad("a list", sqlite3.ProgrammingError, [], "", 1, 0.5),
        ),
        gives=(int,),
        steps=("execute", "commit", "lastrowid"),
        bound={"plate": 1, "label": 2, "detection_id": 3, "confidence": 4},
        reads_clock=True,
    )


def _get_alerts() -> Operation:
    c = _Calls("get_alerts")
    return Operation(
        c.method,
        _parameters("limit: int", limit=50),
        "List[Dict]",
        calls=(
            c.good("two", 2, runs=[(LIST_ALERTS, (2,))]),
            c.good("all", runs=[(LIST_ALERTS, (50,))]),
        ),
        refused=(c.bad("a word", sqlite3.IntegrityError, "x"),),
        gives=(list,),
        steps=("execute", "fetchall"),
        bound={"limit": 0},
    )


def _get_alert_count() -> Operation:
    c = _Calls("get_alert_count")
    return Operation(
        c.method,
        _parameters("unread_only: bool", unread_only=True),
        "int",
        calls=(
            c.good("all", False, runs=[(COUNT_ALERTS,)]),
            c.good("unread", runs=[(COUNT_UNREAD,)]),
        ),
        refused=(c.bad("no truth", LookupError, _NO_TRUTH),),
        gives=(int,),
        steps=("execute", "fetchone"),
        truths_inside=("unread_only",),
    )


def _mark_alerts_read() -> Operation:
    c = _Calls("mark_alerts_read")
    return Operation(
        c.method,
        returns="int",
        calls=(c.good("all", runs=[(MARK_ALERTS,)]),),
        gives=(int,),
        steps=("execute", "commit", "rowcount"),
    )


def _get_alerts_for_detections() -> Operation:
    c = _Calls("get_alerts_for_detections")
    return Operation(
        c.method,
        _parameters("detection_ids: List[int]"),
        "Dict[int, List[Dict]]",
        calls=(
            c.good("some", [1, 2, 77], runs=[(alerts_of(3), [1, 2, 77])]),
            c.good("an empty list", []),
        ),
        refused=(
            c.bad("a number", TypeError, 5),
            c.bad("a list inside", sqlite3.ProgrammingError, [[]]),
        ),
        gives=(dict,),
        steps=("execute", "fetchall"),
        truths_before=("detection_ids",),
        nothing={},
    )


def _row_to_dict() -> Operation:
    c = _Calls("_row_to_dict")
    return Operation(
        c.method,
        (Parameter("row"),),
        "Dict",
        calls=(c.good("a mapping", {"id": 1, "plates": '["AB"]'}),),
        refused=(c.bad("a number", TypeError, 5),),
        gives=(dict,),
        static=True,
    )


OPERATIONS = (
    _constructor(),
    _get_conn(),
    _init_schema(),
    _add_detection(),
    _get_history(),
    _get_detection(),
    _delete_detection(),
    _delete_detections(),
    _get_statistics(),
    _update_image_paths(),
    _update_mmc_data(),
    _cleanup_old(),
    _search_plates(),
    _get_hourly_stats(),
    _get_top_plates(),
    _get_watchlist(),
    _add_watchlist(),
    _remove_watchlist(),
    _check_watchlist(),
    _add_alert(),
    _get_alerts(),
    _get_alert_count(),
    _mark_alerts_read(),
    _get_alerts_for_detections(),
    _row_to_dict(),
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
