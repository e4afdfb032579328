"""The alerts that recording raised."""

from __future__ import annotations

from typing import Annotated

from fastapi import APIRouter, Query

from server.answers import Answer
from server.models import Alert, Count, Id, PageSize
from server.the_store import Store

router = APIRouter(prefix="/alerts", tags=["alerts"])


@router.get("", response_model=list[Alert])
def alerts(store: Store, limit: PageSize = 50) -> Answer:
    """Newest first, read ones too."""
    return Answer(store.get_alerts(limit))


@router.get("/count", response_model=Count)
def count(store: Store, unread_only: bool = True) -> Answer:
    return Answer({"count": store.get_alert_count(unread_only)})


@router.post("/read", response_model=Count)
def mark_read(store: Store) -> Answer:
    """Marks all as read, and says how many were unread."""
    return Answer({"count": store.mark_alerts_read()})


@router.get("/for-detections", response_model=dict[int, list[Alert]])
def for_detections(
    store: Store, detection_id: Annotated[list[Id], Query(min_length=1, max_length=1000)]
) -> Answer:
    """The alerts of these detections, by detection; those without any are left out."""
    return Answer(store.get_alerts_for_detections(detection_id))
