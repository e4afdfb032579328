"""Stands for the recogniser: hands over one of the prepared images at each call."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import asdict
from itertools import cycle

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.recognised import RecognisedImage
from server.models import Recognition
from server.recording import record


class Recogniser:
    """Goes through the images again and again. A real one runs in a process of its own."""

    def __init__(self, store: ANPRDatabase, images: Sequence[RecognisedImage]) -> None:
        self._store = store
        self._images = cycle(images)

    def recognise_one(self) -> None:
        hand_over(self._store, next(self._images))


def hand_over(store: ANPRDatabase, image: RecognisedImage) -> None:
    """Records one image in the steps of a real server, which learns the later ones afterwards."""
    detection_id = record(store, Recognition.model_validate(asdict(image)))["id"]
    if image.mmc_data:
        store.update_mmc_data(detection_id, image.mmc_data)
