"""Detections, watched plates and alerts of a plate recognition server, in one SQLite file."""

# The types and docstrings of the extension module beside this folder. The module's own docstrings
# are made from these when it is built.

import json as json
import os
import sqlite3 as sqlite3
from collections.abc import Iterable, Mapping, Sequence
from datetime import datetime as datetime
from datetime import timedelta as timedelta
from pathlib import Path as Path
from types import TracebackType
from typing import Any, Protocol, SupportsIndex, TypedDict, type_check_only
from typing import Dict as Dict
from typing import List as List
from typing import Optional as Optional

__test__: dict[str, Any]

# The records below are dicts; the classes exist for type checkers only:
#
#     from typing import TYPE_CHECKING
#     if TYPE_CHECKING:
#         from zentrope_anpr.zentrope_anpr_server_db import DetectionRecord

@type_check_only
class DetectionRecord(TypedDict):
    """One row of `detections`, in column order, the JSON columns decoded.

    The five JSON columns are typed as the store writes them. A row that another program wrote may
    hold None, an empty text, any other JSON value, or text that is no JSON, as it stands.
    """

    id: int
    timestamp: str  # local time, ISO 8601 without zone
    num_plates: int | None
    plates: list[str]
    confidences: list[float]  # one a plate, 0 to 1
    bboxes: list[list[float]]  # one a plate, in pixels
    processing_time: float | None  # seconds, as the two below
    detector_time: float | None
    ocr_time: float | None
    image_path: str | None
    thumbnail_path: str | None
    success: int | None  # 1 or 0
    mmc_data: dict[str, Any] | None  # vehicle attributes
    detection_confidences: list[float] | None

@type_check_only
class WatchlistEntry(TypedDict):
    """One row of `watchlist`; files of earlier layouts have the columns in another order."""

    id: int
    plate: str
    label: str | None
    note: str | None
    created_at: str  # local time, ISO 8601 without zone

@type_check_only
class WatchlistMatch(TypedDict):
    """A recognised plate and a watched one that holds it, or is held by it."""

    detected_plate: str  # as it was given
    watchlist_plate: str  # as it is stored
    label: str | None
    watchlist_id: int

@type_check_only
class AlertRecord(TypedDict):
    """One row of `alerts`; files of earlier layouts have the columns in another order."""

    id: int
    timestamp: str  # local time, ISO 8601 without zone
    plate: str
    watchlist_label: str | None
    note: str | None
    detection_id: int | None
    confidence: float | None
    is_read: int  # 1 or 0

@type_check_only
class Statistics(TypedDict):
    """Totals over all detections."""

    total_detections: int
    successful_detections: int
    failed_detections: int
    total_plates_found: int
    avg_processing_sec: float  # the integer 0 where there is nothing to average

@type_check_only
class HourlyStatistics(TypedDict):
    """The detections of one hour."""

    hour: str | None  # its start; None for timestamps that are no time
    count: int
    plates: int | None

@type_check_only
class PlateCount(TypedDict):
    """How often a plate was seen."""

    plate: Any  # the plate text, as decoded
    count: int

@type_check_only
class _Cursor(Protocol):
    """What a connection runs a statement with; of it the store uses what stands here."""

    @property
    def lastrowid(self) -> int | None: ...
    @property
    def rowcount(self) -> int: ...
    def fetchone(self) -> Any: ...
    def fetchmany(self, size: int | None = ...) -> list[Any]: ...
    def fetchall(self) -> list[Any]: ...
    def __iter__(self) -> Any: ...

@type_check_only
class _Connection(Protocol):
    """A connection as `_get_conn` gives it: like Python's, for the thread that opened it.

    Of what an override returns, only `execute`, `commit` and the `with` statement are used.
    """

    row_factory: Any
    isolation_level: str | None
    @property
    def in_transaction(self) -> bool: ...
    @property
    def total_changes(self) -> int: ...
    def cursor(self, factory: Any = ...) -> Any: ...
    def execute(self, sql: str, parameters: Any = ..., /) -> _Cursor: ...
    def executemany(self, sql: str, parameters: Any, /) -> _Cursor: ...
    def executescript(self, sql_script: str, /) -> _Cursor: ...
    def commit(self) -> None: ...
    def rollback(self) -> None: ...
    def close(self) -> None: ...
    def __enter__(self) -> Any: ...
    def __exit__(
        self,
        type: type[BaseException] | None,
        value: BaseException | None,
        traceback: TracebackType | None,
        /,
    ) -> Any: ...

class ANPRDatabase:
    """A store of detections over one SQLite database file.

    The object holds nothing but the file's path: every call opens, uses and closes a connection of
    its own, in one transaction. Threads, objects and processes may share a file.

    Values are handed to SQLite as Python's `sqlite3` would: nothing is converted or checked on the
    way in. So a NumPy scalar is stored as a BLOB, and is found nowhere, unless an adapter is
    registered for its type (`sqlite3.register_adapter(numpy.int64, int)`); an integer of more than
    64 bits raises OverflowError.

    Attributes:
        db_path: The file's path, a `pathlib.Path`.

    Raises:
        sqlite3.OperationalError: From any method: another connection held its lock for over 5
            seconds ("database is locked"), or the file cannot be read or written. This and the
            other errors of the engine are the classes of Python's `sqlite3`; they roll the call's
            transaction back.
    """

    db_path: Path
    def __init__(self, db_path: str | os.PathLike[str]) -> None:
        """Open the store at `db_path`, making the file, its directory and its tables where missing.

        Files of earlier layouts gain the columns that they lack.

        Args:
            db_path: The file. ":memory:" gives each call an empty database of its own.

        Raises:
            TypeError: `db_path` is neither a text nor a path-like object.
            OSError: The directory cannot be made.
            sqlite3.OperationalError: The file cannot be opened, or stays locked.
            sqlite3.DatabaseError: The file is no database.
        """

    def _get_conn(self) -> _Connection:
        """Return a new, open connection to the file; rows are read by position and column name.

        Every operation calls this once. An override may return any object with `execute` and
        `commit` that works in a `with` statement, such as a `sqlite3.Connection`.

        Raises:
            sqlite3.OperationalError: The file cannot be opened.
        """

    def _init_schema(self) -> None:
        """Create the tables and indexes that are missing and add the columns of later layouts.

        Called by the constructor. Each step stands by itself; a failure leaves those before it.

        Raises:
            sqlite3.Error: The engine's error; OperationalError is passed over while a column is
                added.
        """

    def add_detection(
        self,
        plates: Sequence[str],
        confidences: Sequence[float],
        bboxes: Sequence[Sequence[float]],
        processing_time: float | None,
        detector_time: float | None,
        ocr_time: float | None,
        image_path: str | None = None,
        thumbnail_path: str | None = None,
        success: bool = True,
        detection_confidences: Sequence[float] | None = None,
    ) -> int:
        """Record what was recognised in one image, stamped with the local time.

        The lists are stored as JSON text and their lengths are not compared.

        Args:
            plates: The plate texts; their number is stored as `num_plates`.
            confidences: One number a plate, 0 to 1.
            bboxes: One box a plate, a list of numbers in pixels.
            processing_time: Seconds for the whole image. A NumPy scalar would be stored as a BLOB,
                as in all three times: pass a float.
            detector_time: Seconds, of them, for finding the plates.
            ocr_time: Seconds, of them, for reading the characters.
            image_path: Where the image is, or None.
            thumbnail_path: Where its thumbnail is, or None.
            success: Stored as 1 or 0, by its truth value.
            detection_confidences: The plate detector's confidences; an empty list is stored as
                None.

        Returns:
            The new row's id.

        Raises:
            TypeError: `plates` has no length, or a list holds what JSON has no form for.
            ValueError: A list contains itself, or an integer of too many digits.
            OverflowError: A time is an integer of more than 64 bits.
            sqlite3.ProgrammingError: A time or path is of a type that the engine does not store.
            sqlite3.OperationalError: The file stays locked.
        """

    def get_history(
        self,
        limit: int = 100,
        offset: int = 0,
        date_from: str | None = None,
        date_to: str | None = None,
    ) -> list[DetectionRecord]:
        """Return a page of detections, newest first.

        Args:
            limit: How many at most; negative for all.
            offset: How many to skip.
            date_from: Lower bound, inclusive, compared with the timestamps as text. None and ""
                set no bound. Of a `datetime` give `isoformat()`: as it is, it is written with a
                blank where the timestamps have a T.
            date_to: Upper bound, likewise: the date "2024-05-01" leaves that day out.

        Returns:
            A record for each: every column of `detections` in the file's order, the JSON columns
            decoded.

        Raises:
            OverflowError: `limit` or `offset` is an integer of more than 64 bits.
            sqlite3.IntegrityError: `limit` or `offset` is no integer.
            sqlite3.ProgrammingError: An argument is of a type that the engine does not take.
        """

    def get_detection(self, detection_id: int) -> DetectionRecord | None:
        """Return the record of one detection.

        Args:
            detection_id: Its id. A NumPy integer finds nothing: pass an int.

        Returns:
            Every column of `detections` in the file's order, the JSON columns decoded; None if
            there is no such row.

        Raises:
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: The id is of a type that the engine does not take.
        """

    def delete_detection(self, detection_id: int) -> bool:
        """Delete one detection. Its alerts and image files stay; its id is never used again.

        Args:
            detection_id: Its id.

        Returns:
            Whether there was one.

        Raises:
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: The id is of a type that the engine does not take.
            sqlite3.OperationalError: The file stays locked.
        """

    def delete_detections(self, ids: Sequence[int] | None) -> int:
        """Delete the detections with these ids in one statement.

        Args:
            ids: A list or tuple; None or an empty one deletes nothing.

        Returns:
            How many there were.

        Raises:
            TypeError: `ids` cannot be iterated.
            OverflowError: An id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: `ids` is no sequence, or an id is of a type that the engine
                does not take.
            sqlite3.OperationalError: There are more ids than the engine takes parameters (32,766
                unless built otherwise), or the file stays locked. Nothing is deleted then.
        """

    def get_statistics(self) -> Statistics:
        """Return totals over all detections; each is the integer 0 on an empty table.

        Returns:
            `total_detections`; `successful_detections`, where success is 1 and there are plates;
            `failed_detections`, where success is 0 or there are none; `total_plates_found`;
            `avg_processing_sec`, the average of `processing_time` in seconds, rounded to 4 digits.
        """

    def update_image_paths(
        self, detection_id: int, image_path: str | None, thumbnail_path: str | None
    ) -> None:
        """Set both image paths of a detection. An id that does not exist changes nothing.

        Args:
            detection_id: Its id.
            image_path: Where the image is; None clears the column.
            thumbnail_path: Where its thumbnail is; None clears the column.

        Raises:
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: An argument is of a type that the engine does not store.
            sqlite3.OperationalError: The file stays locked.
        """

    def update_mmc_data(self, detection_id: int, mmc_data: Mapping[str, Any] | None) -> None:
        """Set the vehicle attributes of a detection. An id that does not exist changes nothing.

        Args:
            detection_id: Its id.
            mmc_data: A mapping such as {"mmc_make": "Skoda", "mmc_color": "white"}, stored as JSON
                text in the place of what was there.

        Raises:
            TypeError: `mmc_data` holds what JSON has no form for.
            ValueError: It contains itself, or an integer of too many digits.
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: The id is of a type that the engine does not take.
            sqlite3.OperationalError: The file stays locked.
        """

    def cleanup_old(self, max_entries: int = 1000) -> None:
        """Keep the newest detections and delete the others, whose alerts and image files stay.

        Args:
            max_entries: How many to keep, those with the greatest timestamps; a negative number
                keeps all.

        Raises:
            OverflowError: `max_entries` is an integer of more than 64 bits.
            sqlite3.IntegrityError: It is None, or no integer.
            sqlite3.OperationalError: The file stays locked.
        """

    def search_plates(
        self,
        query: str | None = "",
        date_from: str | None = None,
        date_to: str | None = None,
        min_confidence: float = 0,
        mmc_make: str | None = "",
        mmc_model: str | None = "",
        mmc_color: str | None = "",
        mmc_type: str | None = "",
        mmc_nation: str | None = "",
        mmc_side: str | None = "",
        limit: int = 100,
        offset: int = 0,
    ) -> list[DetectionRecord]:
        """Return a page of the detections that meet all filters, newest first.

        None, "" and 0 set no filter. An attribute's filter asks that its key occurs in the JSON
        text of the vehicle attributes and that the value occurs anywhere behind it.

        Args:
            query: Text to find in the JSON list of plates; ASCII case is ignored, % and _ are
                wildcards.
            date_from: Lower bound of the timestamps, inclusive, compared as text (of a `datetime`
                give `isoformat()`).
            date_to: Upper bound, likewise.
            min_confidence: Keep records with a plate of at least this confidence. It is applied to
                the page after it was cut, which may hold fewer than `limit` records then.
            mmc_make: Text to find behind the key `mmc_make`.
            mmc_model: Text to find behind the key `mmc_model`.
            mmc_color: Text to find behind the key `mmc_color`.
            mmc_type: Text to find behind the key `mmc_type`.
            mmc_nation: Text to find behind the key `mmc_plate_nation`.
            mmc_side: Text to find behind the key `mmc_vehicle_side`.
            limit: How many at most; negative for all.
            offset: How many to skip.

        Returns:
            Records like those of `get_history`.

        Raises:
            TypeError: `min_confidence` cannot be compared with 0 or with a stored confidence.
            OverflowError: `limit` or `offset` is an integer of more than 64 bits.
            sqlite3.IntegrityError: `limit` or `offset` is no integer.
            sqlite3.ProgrammingError: An argument is of a type that the engine does not take.
        """

    def get_hourly_stats(self, hours: float = 24) -> list[HourlyStatistics]:
        """Return counts for each of the last hours that has detections, oldest first.

        Args:
            hours: How far back from now; fractions count. The first hour holds only detections from
                then on.

        Returns:
            A dict for each: `hour`, its start as text, such as "2024-05-01T14:00:00", None for
            timestamps that are no time; `count`, its detections; `plates`, its plates, None if no
            detection has a number of them.

        Raises:
            TypeError: `hours` is no number.
            OverflowError: It is too large for a date.
        """

    def get_top_plates(self, limit: SupportsIndex | None = 5) -> list[PlateCount]:
        """Return the plates seen most often among the 500 newest detections with plates.

        Args:
            limit: How many at most; negative leaves that many out at the end; None for all.

        Returns:
            A dict for each, most frequent first: `plate`, the text as stored, and `count`. Equal
            counts: the one in the newest detection first.

        Raises:
            TypeError: `limit` is neither an integer nor None.
            UnicodeDecodeError: The list of plates of one of these detections is a BLOB that is no
                text. (One that is no JSON is passed over.)
        """

    def get_watchlist(self) -> list[WatchlistEntry]:
        """Return the watched plates, newest first.

        Returns:
            A dict for each: every column of `watchlist` in the file's order.
        """

    def add_watchlist(self, plate: str, label: str = "") -> int:
        """Watch a plate from now on. The same plate may be added twice.

        Args:
            plate: Stored in upper case, without white space at its ends. An empty one matches every
                plate. Bytes have the methods of a text and are taken; every `check_watchlist`
                raises TypeError then, until the entry is removed.
            label: What alerts show; stripped as well.

        Returns:
            The new entry's id.

        Raises:
            AttributeError: `plate` or `label` is no text.
            sqlite3.OperationalError: The file stays locked.
        """

    def remove_watchlist(self, watchlist_id: int) -> bool:
        """Stop watching a plate. Its alerts stay.

        Args:
            watchlist_id: The entry's id.

        Returns:
            Whether there was one.

        Raises:
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: The id is of a type that the engine does not take.
            sqlite3.OperationalError: The file stays locked.
        """

    def check_watchlist(self, plates: Iterable[str] | None) -> list[WatchlistMatch]:
        """Compare recognised plates with every watched one. Nothing is written.

        Two plates match if they are equal or one holds the other, case, blanks and hyphens ignored.

        Args:
            plates: The recognised texts; None or an empty list matches nothing.

        Returns:
            A dict for each match: `detected_plate`, as given; `watchlist_plate`, `label` and
            `watchlist_id`, as stored. They come in the order of `plates`, then of the entries.

        Raises:
            AttributeError: A plate is no text.
            TypeError: `plates` cannot be iterated, or a plate or a stored one is bytes.
        """

    def add_alert(
        self, plate: str, label: str | None, detection_id: int | None, confidence: float | None
    ) -> int:
        """Record a hit, stamped with the local time and unread. Nothing is looked up.

        Args:
            plate: As it was detected.
            label: Of the watched plate.
            detection_id: Of the detection in which it was seen. A NumPy integer would be stored as
                a BLOB, and the alert found for no detection: pass an int.
            confidence: Of that plate, 0 to 1.

        Returns:
            The new alert's id.

        Raises:
            OverflowError: The id is an integer of more than 64 bits.
            sqlite3.IntegrityError: `plate` is None.
            sqlite3.ProgrammingError: An argument is of a type that the engine does not store.
            sqlite3.OperationalError: The file stays locked.
        """

    def get_alerts(self, limit: int = 50) -> list[AlertRecord]:
        """Return the newest alerts, read or not.

        Args:
            limit: How many at most; negative for all.

        Returns:
            A dict for each: every column of `alerts` in the file's order.

        Raises:
            OverflowError: `limit` is an integer of more than 64 bits.
            sqlite3.IntegrityError: It is None, or no integer.
            sqlite3.ProgrammingError: It is of a type that the engine does not take.
        """

    def get_alert_count(self, unread_only: bool = True) -> int:
        """Return how many alerts there are.

        Args:
            unread_only: Whether to leave those out that were marked as read.
        """

    def mark_alerts_read(self) -> int:
        """Mark all unread alerts as read.

        Returns:
            How many there were.

        Raises:
            sqlite3.OperationalError: The file stays locked.
        """

    def get_alerts_for_detections(
        self, detection_ids: Sequence[int] | None
    ) -> dict[int | None, list[AlertRecord]]:
        """Return the alerts of these detections.

        Args:
            detection_ids: A list or tuple; None or an empty one gives an empty dict.

        Returns:
            A dict from detection id to its alerts, oldest first, like those of `get_alerts`.
            Detections without alerts are left out.

        Raises:
            TypeError: `detection_ids` has no length.
            OverflowError: An id is an integer of more than 64 bits.
            sqlite3.ProgrammingError: `detection_ids` is no sequence, or an id is of a type that the
                engine does not take.
            sqlite3.OperationalError: There are more ids than the engine takes parameters.
        """

    @staticmethod
    def _row_to_dict(row: Any) -> dict[str, Any]:
        """Return the record of one row of `detections`: a new dict in column order.

        The columns `plates`, `confidences`, `bboxes`, `mmc_data` and `detection_confidences` are
        decoded from JSON where they hold any; text that is no JSON stays as it is.

        Args:
            row: A row as read through the store's connection, or anything that `dict` takes.

        Raises:
            TypeError: One of the five holds a number other than 0.
            UnicodeDecodeError: One of them holds bytes that are no text.
            ValueError: One holds an integer with too many digits.
            RecursionError: One holds JSON nested too deep.
        """
