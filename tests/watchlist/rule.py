"""The rule of matching, written down once more: three lines of Python."""

from __future__ import annotations

from collections.abc import Iterable
from typing import Any


def normal(text: Any) -> Any:
    return text.upper().replace(" ", "").replace("-", "")


def rule(plates: Iterable[Any], entries: Iterable[tuple[Any, Any, Any]]) -> list[dict[str, Any]]:
    """The matches of the plates with the entries, which are (id, plate, label)."""
    found = []
    for detected in plates:
        one = normal(detected)
        for entry_id, watched, label in entries:
            other = normal(watched)
            if one == other or other in one or one in other:
                found.append(
                    {
                        "detected_plate": detected,
                        "watchlist_plate": watched,
                        "label": label,
                        "watchlist_id": entry_id,
                    }
                )
    return found
