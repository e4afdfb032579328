"""Ordinary arguments, for tests that are about something else."""

from __future__ import annotations

from typing import Any

DETECTION: dict[str, Any] = {
    "plates": ["AB123", "XY-9"],
    "confidences": [0.93, 0.5],
    "bboxes": [[10, 20, 110, 60], [200, 20, 310, 60]],
    "processing_time": 0.25,
    "detector_time": 0.1,
    "ocr_time": 0.15,
}

DETECTION_COLUMNS = [
    "id",
    "timestamp",
    "num_plates",
    "plates",
    "confidences",
    "bboxes",
    "processing_time",
    "detector_time",
    "ocr_time",
    "image_path",
    "thumbnail_path",
    "success",
    "mmc_data",
    "detection_confidences",
]


def add(store: Any, **changes: Any) -> int:
    """Records an ordinary detection, changed as told."""
    detection_id: int = store.add_detection(**{**DETECTION, **changes})
    return detection_id
