"""Attaches the paths of the image files, once a camera's images have been written to disk."""

from __future__ import annotations

from road.journey import Journey
from road.screen import progress


def run(journey: Journey) -> None:
    written_late = {
        detection_id: image
        for detection_id, image in journey.recorded.items()
        if not image.was_uploaded
    }
    with progress(journey.console) as bar:
        for detection_id, image in bar.track(written_late.items(), description="image paths"):
            # Both paths are always written together, so a missing one is given as None.
            journey.store.update_image_paths(detection_id, image.image_path, image.thumbnail_path)
            journey.expected[detection_id]["image_path"] = image.image_path
            journey.expected[detection_id]["thumbnail_path"] = image.thumbnail_path
    uploads = len(journey.recorded) - len(written_late)
    journey.say(
        f"Paths attached to {len(written_late)} detections; "
        f"{uploads} uploads had theirs from the start."
    )
