# Types of the extension module beside this folder.

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

# What a column of JSON text holds when it was decoded, or as it is stored.
type _Json = Any

# What the engine takes as a parameter; what is annotated narrower is what it is meant for.
type _Number = float | None

@type_check_only
class DetectionRecord(TypedDict):
    """One row of `detections`, in column order, the JSON columns decoded."""

    id: int
    timestamp: str  # local time, ISO 8601 without zone
    num_plates: int | None
    plates: _Json  # list of plate texts
    confidences: _Json  # list of numbers, one a plate
    bboxes: _Json  # list of boxes in pixels, one a plate
    processing_time: _Number  # seconds, as the two below
    detector_time: _Number
    ocr_time: _Number
    image_path: str | None
    thumbnail_path: str | None
    success: int | None  # 1 or 0
    mmc_data: _Json  # mapping of vehicle attributes, or None
    detection_confidences: _Json  # list of numbers, or None

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
    @property
    def lastrowid(self) -> Any: ...
    @property
    def rowcount(self) -> Any: ...
    def fetchone(self) -> Any: ...
    def fetchall(self) -> Any: ...

@type_check_only
class _Connection(Protocol):
    """What the store uses of a connection; its own one has most of sqlite3.Connection besides."""

    row_factory: Any
    def execute(self, sql: str, parameters: Any = ..., /) -> _Cursor: ...
    def commit(self) -> None: ...
    def __enter__(self) -> Any: ...
    def __exit__(
        self,
        type: type[BaseException] | None,
        value: BaseException | None,
        traceback: TracebackType | None,
        /,
    ) -> Any: ...

class ANPRDatabase:
    db_path: Path
    def __init__(self, db_path: str | os.PathLike[str]) -> None: ...
    def _get_conn(self) -> _Connection: ...
    def _init_schema(self) -> None: ...
    def add_detection(
        self,
        plates: Sequence[str],
        confidences: Sequence[float],
        bboxes: Sequence[Sequence[float]],
        processing_time: _Number,
        detector_time: _Number,
        ocr_time: _Number,
        image_path: str | None = None,
        thumbnail_path: str | None = None,
        success: bool = True,
        detection_confidences: Sequence[float] | None = None,
    ) -> int: ...
    def get_history(
        self,
        limit: int = 100,
        offset: int = 0,
        date_from: str | None = None,
        date_to: str | None = None,
    ) -> list[DetectionRecord]: ...
    def get_detection(self, detection_id: int) -> DetectionRecord | None: ...
    def delete_detection(self, detection_id: int) -> bool: ...
    def delete_detections(self, ids: Sequence[int] | None) -> int: ...
    def get_statistics(self) -> Statistics: ...
    def update_image_paths(
        self, detection_id: int, image_path: str | None, thumbnail_path: str | None
    ) -> None: ...
    def update_mmc_data(self, detection_id: int, mmc_data: Mapping[str, Any] | None) -> None: ...
    def cleanup_old(self, max_entries: int = 1000) -> None: ...
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
    ) -> list[DetectionRecord]: ...
    def get_hourly_stats(self, hours: float = 24) -> list[HourlyStatistics]: ...
    def get_top_plates(self, limit: SupportsIndex | None = 5) -> list[PlateCount]: ...
    def get_watchlist(self) -> list[WatchlistEntry]: ...
    def add_watchlist(self, plate: str, label: str = "") -> int: ...
    def remove_watchlist(self, watchlist_id: int) -> bool: ...
    def check_watchlist(self, plates: Iterable[str] | None) -> list[WatchlistMatch]: ...
    def add_alert(
        self, plate: str, label: str | None, detection_id: int | None, confidence: _Number
    ) -> int: ...
    def get_alerts(self, limit: int = 50) -> list[AlertRecord]: ...
    def get_alert_count(self, unread_only: bool = True) -> int: ...
    def mark_alerts_read(self) -> int: ...
    def get_alerts_for_detections(
        self, detection_ids: Sequence[int] | None
    ) -> dict[int | None, list[AlertRecord]]: ...
    @staticmethod
    def _row_to_dict(row: Any) -> dict[str, Any]: ...
