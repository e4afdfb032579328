"""Watches some plates: each detection is matched as soon as it is recorded, each hit kept."""

from __future__ import annotations

import math
from collections import Counter
from collections.abc import Mapping

from rich.markup import escape
from rich.table import Table

from road.journey import Journey
from road.recognised import RecognisedImage
from road.screen import confidence

LABELS = ("stolen", "unpaid parking", "staff")


def run(journey: Journey) -> None:
    """Stands before the recording: it fills the watchlist and waits for detections."""
    watchlist = []
    for plate, label in typed_by_an_operator(journey.images):
        watchlist_id = journey.store.add_watchlist(plate, label)
        watchlist.append({"id": watchlist_id, "plate": plate.upper().strip(), "label": label})
    show_watchlist(journey, watchlist)

    def match(detection_id: int, image: RecognisedImage) -> None:
        matches = [dict(each) for each in journey.store.check_watchlist(image.plates)]
        expected = expected_matches(image.plates, watchlist)
        journey.check(f"the matches of detection {detection_id}", expected, matches)
        for each in matches:
            record_alert(journey, each, detection_id, image)

    journey.after_recording.append(match)


def show_watchlist(journey: Journey, watchlist: list[dict[str, object]]) -> None:
    table = Table(title="Watched plates", title_justify="left")
    for column in ("id", "plate", "label", "since"):
        table.add_column(column)
    read = [dict(entry) for entry in journey.store.get_watchlist()]
    for entry in read:
        table.add_row(*(escape(str(entry[key])) for key in ("id", "plate", "label", "created_at")))
    given = [{key: entry[key] for key in ("id", "plate", "label")} for entry in read]
    journey.check("the watchlist", watchlist[::-1], given)
    journey.console.print(table)
    journey.say("Each detection will be matched against them, and each match kept as an alert.")


def typed_by_an_operator(images: list[RecognisedImage]) -> list[tuple[str, str]]:
    """The plates seen most often, as a person types them: small letters, no separators."""
    seen = Counter(plate for image in images for plate in image.plates)
    often = [plate for plate, _ in seen.most_common(len(LABELS))]
    return [
        (f"  {plate.replace('-', '').replace(' ', '').lower()} ", label)
        for plate, label in zip(often, LABELS, strict=True)
    ]


def normalised(plate: object) -> str:
    return str(plate).upper().replace(" ", "").replace("-", "")


def expected_matches(
    plates: list[str], watchlist: list[dict[str, object]]
) -> list[dict[str, object]]:
    """The rule of matching in plain Python: equal, or one contains the other."""
    return [
        {
            "detected_plate": plate,
            "watchlist_plate": entry["plate"],
            "label": entry["label"],
            "watchlist_id": entry["id"],
        }
        for plate in plates
        for entry in watchlist
        if normalised(entry["plate"]) in normalised(plate)
        or normalised(plate) in normalised(entry["plate"])
    ]


def record_alert(
    journey: Journey, match: Mapping[str, object], detection_id: int, image: RecognisedImage
) -> None:
    plate, label = str(match["detected_plate"]), str(match["label"])
    how_sure = image.confidences[image.plates.index(plate)]
    journey.say(
        f"  [bold red]match[/] {escape(plate)} in detection [cyan]{detection_id}[/] "
        f"({confidence(how_sure)}): [bold]{escape(label)}[/]"
    )
    alert_id = journey.store.add_alert(plate, label, detection_id, how_sure)
    journey.alerts[alert_id] = {
        "plate": plate,
        "watchlist_label": label,
        "detection_id": detection_id,
        # SQLite has no not-a-number: it keeps NULL in its place.
        "confidence": None if math.isnan(how_sure) else how_sure,
    }
