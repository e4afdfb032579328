"""The bounds of a time as the store compares them: texts of local time.

`date_from=2024-05-01` begins with that day and `date_to=2024-05-01` ends with it; a time is taken
to the microsecond, and one with a zone becomes local time.
"""

from __future__ import annotations

from contextlib import suppress
from datetime import date, datetime, time
from typing import Annotated

from fastapi import Query
from pydantic import BeforeValidator


def _day_or_time(text: object) -> object:
    # Left to itself the union takes a day for its midnight.
    return date.fromisoformat(text) if isinstance(text, str) and len(text) == 10 else text


type Bound = datetime | date | None
_Parameter = Annotated[Bound, BeforeValidator(_day_or_time)]

From = Annotated[_Parameter, Query(alias="date_from")]
To = Annotated[_Parameter, Query(alias="date_to")]


def lower(bound: Bound) -> str | None:
    return _local(bound, time.min)


def upper(bound: Bound) -> str | None:
    return _local(bound, time.max)


def _local(bound: Bound, of_a_day: time) -> str | None:
    if bound is None:
        return None
    if not isinstance(bound, datetime):
        bound = datetime.combine(bound, of_a_day)
    elif bound.tzinfo is not None:
        # At the calendar's edges there may be no such local time, and no detection either.
        with suppress(OverflowError):
            bound = bound.astimezone()
        bound = bound.replace(tzinfo=None)
    return bound.isoformat()
