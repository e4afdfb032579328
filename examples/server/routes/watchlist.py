"""The watched plates."""

from __future__ import annotations

from fastapi import APIRouter, HTTPException, Response

from server.answers import Answer
from server.models import Id, NewId, PlateMatch, Plates, Watch, WatchlistEntry
from server.the_store import Store

router = APIRouter(prefix="/watchlist", tags=["watchlist"])


@router.get("", response_model=list[WatchlistEntry])
def watchlist(store: Store) -> Answer:
    """Newest first."""
    return Answer(store.get_watchlist())


@router.post("", status_code=201, response_model=NewId)
def watch(store: Store, entry: Watch) -> Answer:
    """Watches for a plate. It matches whatever holds it, or is held by it."""
    return Answer({"id": store.add_watchlist(entry.plate, entry.label)}, status_code=201)


@router.delete("/{watchlist_id}", status_code=204)
def stop_watching(store: Store, watchlist_id: Id) -> Response:
    if not store.remove_watchlist(watchlist_id):
        raise HTTPException(404, f"there is no entry {watchlist_id}")
    return Response(status_code=204)


@router.post("/check", response_model=list[PlateMatch])
def check(store: Store, which: Plates) -> Answer:
    """What recording these plates would raise alerts for; nothing is recorded."""
    return Answer(store.check_watchlist(which.plates))
