"""Attaches the vehicle attributes, which the classifier finds out after the plates."""

from __future__ import annotations

from road.journey import Journey
from road.screen import progress


def run(journey: Journey) -> None:
    classified = {
        detection_id: image.mmc_data
        for detection_id, image in journey.recorded.items()
        if image.mmc_data is not None
    }
    with progress(journey.console) as bar:
        for detection_id, attributes in bar.track(classified.items(), description="vehicles"):
            journey.store.update_mmc_data(detection_id, attributes)
            journey.expected[detection_id]["mmc_data"] = attributes
    journey.say(f"Vehicle attributes attached to {len(classified)} detections.")
