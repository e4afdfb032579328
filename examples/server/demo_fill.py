"""Fills an empty file with the prepared images, as if they had come in over the last day."""

from __future__ import annotations

import logging
from collections import Counter
from collections.abc import Sequence
from datetime import datetime, timedelta, tzinfo
from unittest import mock

from zentrope_anpr import zentrope_anpr_server_db
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.recognised import RecognisedImage
from server.recogniser import hand_over

LABELS = ("stolen", "unpaid parking", "staff")
UNREAD = 40  # the alerts of so many of the newest images stay unread
# How busy each hour of a day is, from midnight on.
TRAFFIC = (2, 1, 1, 1, 2, 5, 9, 14, 16, 12, 10, 10, 11, 11, 10, 12, 15, 18, 16, 12, 9, 7, 5, 3)

log = logging.getLogger(__name__)


def fill(store: ANPRDatabase, images: Sequence[RecognisedImage]) -> None:
    """Records the images and watches the plates seen most often, unless the file holds any."""
    if store.get_history(limit=1) or store.get_watchlist() or not images:
        return
    log.info("Filling %s with %d recognised images", store.db_path, len(images))
    moments = moments_of_a_day(datetime.now(), len(images))
    seen = Counter(plate for image in images for plate in image.plates)
    with clock_at(moments[0]):
        for (plate, _), label in zip(seen.most_common(len(LABELS)), LABELS, strict=False):
            store.add_watchlist(plate, label)
    for place, (moment, image) in enumerate(zip(moments, images, strict=True)):
        if place == len(images) - UNREAD:
            store.mark_alerts_read()
        with clock_at(moment):
            hand_over(store, image)


def moments_of_a_day(end: datetime, count: int) -> list[datetime]:
    """So many moments of the 24 hours before `end`, in order, closer together in busy hours."""
    minutes = [end - timedelta(minutes=minute) for minute in range(24 * 60, 0, -1)]
    total = sum(TRAFFIC[minute.hour] for minute in minutes)
    moments: list[datetime] = []
    passed = 0.0
    for minute in minutes:
        passed += TRAFFIC[minute.hour] * count / total
        while len(moments) < count and len(moments) + 0.5 < passed:
            moments.append(minute + timedelta(seconds=len(moments) * 7 % 60))
    return sorted(moments)


def clock_at(moment: datetime) -> mock._patch[type[datetime]]:
    """Sets the store's clock, which it looks up in its module's namespace at each use."""

    class StandingStill(datetime):
        @classmethod
        def now(cls, tz: tzinfo | None = None) -> StandingStill:
            return cls.fromisoformat(moment.isoformat())

    return mock.patch.object(zentrope_anpr_server_db, "datetime", StandingStill)
