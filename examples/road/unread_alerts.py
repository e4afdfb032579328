"""Shows the unread alerts, each beside the detection that it was raised for."""

from __future__ import annotations

from collections.abc import Mapping, Sequence

from rich.markup import escape
from rich.table import Table

from road.journey import Journey
from road.screen import clock, confidence, plates, vehicle

SHOWN = 12


def run(journey: Journey) -> None:
    journey.check("the unread alerts", len(journey.alerts), journey.store.get_alert_count())
    alerts = [dict(alert) for alert in journey.store.get_alerts(-1)]
    for alert in alerts:
        check_alert(journey, alert)
    journey.check("the ids of the alerts", sorted(journey.alerts), sorted(map(alert_id, alerts)))
    check_groups(journey, alerts)
    newest = alerts[:SHOWN]
    table = Table(title=f"The {len(newest)} newest unread alerts", title_justify="left")
    # Long plates and vehicles go over several lines; a time is never cut.
    for column in ("alert", "time", "label", "id", "plates in the image", "vehicle"):
        table.add_column(column, no_wrap=column in ("time", "id"), overflow="fold")
    for alert in newest:
        detection = journey.recorded[detection_of(alert)]
        table.add_row(
            f"{escape(str(alert['plate']))} {confidence(sureness(alert))}",
            clock(alert["timestamp"])[:8],
            f"[bold]{escape(str(alert['watchlist_label']))}[/]",
            f"[cyan]{alert['detection_id']}[/]",
            plates(detection),
            vehicle(detection.mmc_data),
        )
    journey.console.print(table)
    journey.say(f"{len(alerts)} alerts are unread: each equals what was recorded.")


def check_alert(journey: Journey, alert: Mapping[str, object]) -> None:
    given = journey.alerts.get(alert_id(alert), {})
    journey.check(f"alert {alert['id']}", given, {column: alert[column] for column in given})
    journey.check(f"the read mark of alert {alert['id']}", 0, alert["is_read"])


def check_groups(journey: Journey, alerts: Sequence[dict[str, object]]) -> None:
    """The alerts asked for by detection: the same ones, the oldest of a detection first."""
    expected: dict[int, list[dict[str, object]]] = {}
    for alert in sorted(alerts, key=alert_id):
        expected.setdefault(detection_of(alert), []).append(alert)
    found = journey.store.get_alerts_for_detections(list(expected)) if expected else {}
    grouped = {each: [dict(alert) for alert in group] for each, group in found.items()}
    journey.check("the alerts by detection", expected, grouped)


def alert_id(alert: Mapping[str, object]) -> int:
    value = alert["id"]
    assert isinstance(value, int)
    return value


def detection_of(alert: Mapping[str, object]) -> int:
    value = alert["detection_id"]
    assert isinstance(value, int)
    return value


def sureness(alert: Mapping[str, object]) -> float | None:
    value = alert["confidence"]
    assert value is None or isinstance(value, float)
    return value
