"""What requests hold, checked as they come in, and what answers hold, for their description.

The store checks nothing on the way in: a list that is too short, or a watched plate that matches
everything, would be kept. So the requests are models with rules. The answers are typed records
of what the store gives; see answers.py for why they are not applied.
"""

from __future__ import annotations

from typing import Annotated, Any, Self, TypedDict

from pydantic import BaseModel, Field, PlainValidator, WithJsonSchema, model_validator

# Beyond 64 bits SQLite takes no integer.
GREATEST = 2**63 - 1
Id = Annotated[int, Field(ge=1, le=GREATEST)]
PageSize = Annotated[int, Field(ge=1, le=1000)]
Offset = Annotated[int, Field(ge=0, le=GREATEST)]


def _text(value: object) -> str:
    if not isinstance(value, str):
        raise ValueError("is no text")
    return value


# A `str` field refuses lone surrogates. A plate is kept as it was recognised, in a list as JSON.
AnyText = Annotated[str, PlainValidator(_text), WithJsonSchema({"type": "string"})]


class Recognition(BaseModel):
    """One processed image. Times are in seconds, boxes in pixels (left, top, right, bottom)."""

    plates: list[AnyText] = Field(max_length=1000)
    confidences: list[float]
    bboxes: list[list[int | float]]
    processing_time: float
    detector_time: float
    ocr_time: float
    image_path: str | None = None
    thumbnail_path: str | None = None
    success: bool = True
    detection_confidences: list[float] | None = None

    @model_validator(mode="after")
    def one_of_each_for_a_plate(self) -> Self:
        if not len(self.plates) == len(self.confidences) == len(self.bboxes):
            raise ValueError("plates, confidences and bboxes are not of the same length")
        return self


class ImagePaths(BaseModel):
    """Both are written; one that is left out, or null, is cleared."""

    image_path: str | None = None
    thumbnail_path: str | None = None


class Ids(BaseModel):
    ids: list[Id] = Field(max_length=1000)


class Trim(BaseModel):
    keep: int = Field(ge=0, le=GREATEST)


class Watch(BaseModel):
    plate: str = Field(max_length=100)
    label: str = Field(default="", max_length=200)

    @model_validator(mode="after")
    def matches_not_everything(self) -> Self:
        if not self.plate.strip().replace(" ", "").replace("-", ""):
            raise ValueError("the plate has no letter or digit: it would match every plate")
        return self


class Plates(BaseModel):
    plates: list[AnyText] = Field(max_length=1000)


class Detection(TypedDict):
    id: int
    timestamp: str
    num_plates: int
    plates: list[str]
    confidences: list[float | None]
    bboxes: list[list[float]]
    processing_time: float | None
    detector_time: float | None
    ocr_time: float | None
    image_path: str | None
    thumbnail_path: str | None
    success: int
    mmc_data: dict[str, Any] | None
    detection_confidences: list[float | None] | None


class PlateMatch(TypedDict):
    detected_plate: str
    watchlist_plate: str
    label: str | None
    watchlist_id: int


class Match(PlateMatch):
    """A match of a new detection; no alert's id if it could not be kept."""

    alert_id: int | None


class Recorded(TypedDict):
    id: int
    matches: list[Match]


class Statistics(TypedDict):
    total_detections: int
    successful_detections: int
    failed_detections: int
    total_plates_found: int
    avg_processing_sec: float | None


class Hour(TypedDict):
    hour: str | None
    count: int
    plates: int | None


class TopPlate(TypedDict):
    plate: str
    count: int


class WatchlistEntry(TypedDict):
    id: int
    plate: str
    label: str | None
    note: str | None
    created_at: str


class Alert(TypedDict):
    id: int
    timestamp: str
    plate: str
    watchlist_label: str | None
    note: str | None
    detection_id: int | None
    confidence: float | None
    is_read: int


class NewId(TypedDict):
    id: int


class Count(TypedDict):
    count: int
