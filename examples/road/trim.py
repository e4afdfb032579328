"""Trims the detections to the newest ones, which leaves the alerts alone."""

from __future__ import annotations

from road.journey import Journey

KEPT = 250


def run(journey: Journey) -> None:
    before = len(journey.newest_first)
    journey.store.cleanup_old(KEPT)
    left = [record["id"] for record in journey.store.get_history(-1)]
    journey.check("the ids left after the trim", journey.newest_first[:KEPT], left)
    oldest = journey.newest_first[-1]
    journey.check(f"detection {oldest} after the trim", None, journey.store.get_detection(oldest))
    journey.say(f"Of {before} detections the newest {len(left)} are kept, the rest is gone.")
    unread = journey.store.get_alert_count()
    journey.check("the unread alerts after the trim", len(journey.alerts), unread)
    orphans = sum(alert["detection_id"] not in left for alert in journey.alerts.values())
    journey.say(f"All {unread} alerts are still there, {orphans} of them of detections now gone.")
