"""Totals, the last hours and the plates seen most often."""

from __future__ import annotations

from typing import Annotated

from fastapi import APIRouter, Query

from server.answers import Answer
from server.models import Hour, PageSize, Statistics, TopPlate
from server.the_store import Store

router = APIRouter(prefix="/statistics", tags=["statistics"])


@router.get("", response_model=Statistics)
def totals(store: Store) -> Answer:
    return Answer(store.get_statistics())


@router.get("/hours", response_model=list[Hour])
def hours(store: Store, hours: Annotated[int, Query(ge=1, le=24 * 366)] = 24) -> Answer:
    """The hours that had detections, oldest first. The first may be a part of one."""
    return Answer(store.get_hourly_stats(hours))


@router.get("/top-plates", response_model=list[TopPlate])
def top_plates(store: Store, limit: PageSize = 5) -> Answer:
    """The plates seen most often in the newest 500 detections that have any."""
    return Answer(store.get_top_plates(limit))
