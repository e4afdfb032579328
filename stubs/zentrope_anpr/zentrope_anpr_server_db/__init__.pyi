# Types of the extension module beside this folder.

import json as json
import os
import sqlite3 as sqlite3
from collections.abc import Mapping, Sequence
from datetime import datetime as datetime
from datetime import timedelta as timedelta
from pathlib import Path as Path
from types import TracebackType
from typing import Any, Protocol, TypedDict, type_check_only
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
    def update_image_paths(
        self, detection_id: int, image_path: str | None, thumbnail_path: str | None
    ) -> None: ...
    def update_mmc_data(self, detection_id: int, mmc_data: Mapping[str, Any] | None) -> None: ...
    @staticmethod
    def _row_to_dict(row: Any) -> dict[str, Any]: ...
