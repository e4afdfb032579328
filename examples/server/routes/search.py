"""Searching detections by plate, time, confidence and attributes."""

from __future__ import annotations

import json
from typing import Annotated

from fastapi import APIRouter, Query

from server.answers import Answer
from server.bounds import From, To, lower, upper
from server.models import Detection, Offset, PageSize
from server.the_store import Store

router = APIRouter(tags=["search"])

Words = Annotated[str, Query(max_length=200)]


@router.get("/search", response_model=list[Detection])
def search(
    store: Store,
    query: Words = "",
    date_from: From = None,
    date_to: To = None,
    min_confidence: Annotated[float, Query(ge=0, le=1)] = 0,
    mmc_make: Words = "",
    mmc_model: Words = "",
    mmc_color: Words = "",
    mmc_type: Words = "",
    mmc_nation: Words = "",
    mmc_side: Words = "",
    limit: PageSize = 100,
    offset: Offset = 0,
) -> Answer:
    """What everything given holds for, newest first.

    `min_confidence` is applied to a page after it was read, so one may come back shorter than
    `limit` although there are more: go on with `offset` by `limit`.
    """
    return Answer(
        store.search_plates(
            query=as_stored(query),
            date_from=lower(date_from),
            date_to=upper(date_to),
            min_confidence=min_confidence,
            mmc_make=as_stored(mmc_make),
            mmc_model=as_stored(mmc_model),
            mmc_color=as_stored(mmc_color),
            mmc_type=as_stored(mmc_type),
            mmc_nation=as_stored(mmc_nation),
            mmc_side=as_stored(mmc_side),
            limit=limit,
            offset=offset,
        )
    )


def as_stored(text: str) -> str:
    """The text as it stands inside stored JSON, where letters beyond ASCII are escapes."""
    return json.dumps(text)[1:-1]
