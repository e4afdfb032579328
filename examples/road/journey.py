"""What the stages of the road share: the store, the images, and what has been recorded so far."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, field

from rich.console import Console
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.check import Mismatch, difference
from road.recognised import RecognisedImage


@dataclass
class Journey:
    """One run of the road, handed from stage to stage."""

    store: ANPRDatabase
    console: Console
    images: list[RecognisedImage]
    # The images by the id under which each was recorded.
    recorded: dict[int, RecognisedImage] = field(default_factory=dict)
    # Each detection as it must read now: its columns in order. The store stamps the time, so
    # `timestamp` is None until the history has been read.
    expected: dict[int, dict[str, object]] = field(default_factory=dict)
    # Called with the id and the image as soon as a detection is recorded.
    after_recording: list[Callable[[int, RecognisedImage], None]] = field(default_factory=list)
    # The ids that the history gave, newest first.
    newest_first: list[int] = field(default_factory=list)
    # Each alert recorded so far, by its id: the columns that the server gave.
    alerts: dict[int, dict[str, object]] = field(default_factory=dict)
    checks: int = 0

    def check(self, what: str, recorded: object, read: object) -> None:
        """Raises Mismatch, naming `what`, unless the two are the same."""
        self.checks += 1
        where = difference(recorded, read)
        if where is not None:
            raise Mismatch(what + where)

    def say(self, text: str) -> None:
        """Prints one line of what happened, in the colours of a remark."""
        self.console.print(text, highlight=False)
