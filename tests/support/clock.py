"""A clock that stands still, or steps by itself, in place of the local one."""

from __future__ import annotations

from datetime import datetime, timedelta, tzinfo


class Clock:
    """`clock.type` takes the place of the name `datetime` in a store module's namespace."""

    def __init__(self, moment: datetime, step: timedelta = timedelta(0)):
        self.moment = moment
        self.step = step
        self.readings = 0
        clock = self

        class ReplacedDatetime(datetime):
            @classmethod
            def now(cls, tz: tzinfo | None = None) -> datetime:  # type: ignore[override]
                assert tz is None, "the store asks for local time"
                return clock.read()

        self.type = ReplacedDatetime

    def read(self) -> datetime:
        now = self.moment
        self.moment += self.step
        self.readings += 1
        return now

    def set(self, text: str) -> None:
        self.moment = datetime.fromisoformat(text)
