"""Records each image's result, as the server does the moment the recogniser is done."""

from __future__ import annotations

import time

from road.check import Mismatch
from road.journey import Journey
from road.recognised import RecognisedImage
from road.screen import progress


def run(journey: Journey) -> None:
    started = time.perf_counter()
    with progress(journey.console) as bar:
        task = bar.add_task("recording", total=len(journey.images))
        for image in journey.images:
            detection_id = record(journey, image)
            for follow_up in journey.after_recording:
                follow_up(detection_id, image)
            bar.advance(task)
    seconds = time.perf_counter() - started
    ids = list(journey.recorded)
    journey.say(f"{len(ids)} detections recorded in {seconds:.2f} s, ids {ids[0]} to {ids[-1]}.")


def record(journey: Journey, image: RecognisedImage) -> int:
    # A camera's files are written later, see image_paths.py.
    image_path = image.image_path if image.was_uploaded else None
    thumbnail_path = image.thumbnail_path if image.was_uploaded else None
    detection_id = journey.store.add_detection(
        image.plates,
        image.confidences,
        image.bboxes,
        image.processing_time,
        image.detector_time,
        image.ocr_time,
        image_path=image_path,
        thumbnail_path=thumbnail_path,
        success=image.success,
        detection_confidences=image.detection_confidences,
    )
    if detection_id in journey.recorded:
        raise Mismatch(f"the id {detection_id} was given to two detections")
    journey.recorded[detection_id] = image
    journey.expected[detection_id] = {
        "id": detection_id,
        "timestamp": None,
        "num_plates": len(image.plates),
        "plates": image.plates,
        "confidences": image.confidences,
        "bboxes": image.bboxes,
        "processing_time": image.processing_time,
        "detector_time": image.detector_time,
        "ocr_time": image.ocr_time,
        "image_path": image_path,
        "thumbnail_path": thumbnail_path,
        "success": 1 if image.success else 0,
        "mmc_data": None,
        # No list is kept for an image in which the detector found nothing.
        "detection_confidences": image.detection_confidences or None,
    }
    return detection_id
