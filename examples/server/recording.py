"""What happens to each recognised image: it is recorded, and its plates are looked for."""

from __future__ import annotations

import logging
import sqlite3

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from server.errors import is_busy
from server.models import Match, Recognition, Recorded

ATTEMPTS = 3  # at an alert; each waits for a lock as long as the store does, 5 seconds

log = logging.getLogger(__name__)


def record(store: ANPRDatabase, image: Recognition) -> Recorded:
    """Records the image, and an alert for each watched plate in it.

    Raises only before anything is recorded, so whoever catches an error may try again without
    recording the image twice.
    """
    # A plate without a letter or digit would match every entry of the watchlist.
    legible = [plate for plate in image.plates if plate.strip(" -")]
    found = store.check_watchlist(legible)
    detection_id = store.add_detection(
        image.plates,
        image.confidences,
        image.bboxes,
        image.processing_time,
        image.detector_time,
        image.ocr_time,
        image_path=image.image_path,
        thumbnail_path=image.thumbnail_path,
        success=image.success,
        detection_confidences=image.detection_confidences,
    )
    confidence = dict(zip(image.plates, image.confidences, strict=True))
    matches: list[Match] = []
    for match in found:
        plate = match["detected_plate"]
        alert_id = _alert(store, plate, match["label"] or "", detection_id, confidence[plate])
        matches.append({**match, "alert_id": alert_id})
    return {"id": detection_id, "matches": matches}


def _alert(
    store: ANPRDatabase, plate: str, label: str, detection_id: int, confidence: float
) -> int | None:
    """The new alert's id; None, and an error in the log, if the file stayed locked or failed."""
    # A column of text holds no lone surrogate; in the detection's list it is kept.
    plate = plate.encode("utf-8", "replace").decode("utf-8")
    for attempt in range(1, ATTEMPTS + 1):
        try:
            return store.add_alert(plate, label, detection_id, confidence)
        except sqlite3.Error as error:
            if is_busy(error) and attempt < ATTEMPTS:
                continue
            log.error("No alert for %s (%s) in detection %d: %s", plate, label, detection_id, error)
            break
    return None
