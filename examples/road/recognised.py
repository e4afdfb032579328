"""The results that a recogniser hands over, read from a file of JSON lines."""

from __future__ import annotations

import json
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class RecognisedImage:
    """One processed image. Times are in seconds, boxes in pixels (left, top, right, bottom)."""

    image: int
    camera: str
    image_path: str | None
    thumbnail_path: str | None
    success: bool
    plates: list[str]
    confidences: list[float]
    bboxes: list[list[int]]
    detection_confidences: list[float] | None
    processing_time: float
    detector_time: float
    ocr_time: float
    mmc_data: dict[str, str] | None

    @property
    def was_uploaded(self) -> bool:
        """An uploaded image lies on disk already when it is recognised; a camera's does not."""
        return self.camera == "upload"


def read_images(path: Path) -> list[RecognisedImage]:
    """Reads the images in the order of the file's lines."""
    with path.open(encoding="utf-8") as lines:
        return [RecognisedImage(**json.loads(line)) for line in lines]
