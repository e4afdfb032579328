"""Recording detections, completing them, reading them back and removing them."""

from __future__ import annotations

from typing import Annotated, Any

from fastapi import APIRouter, Body, HTTPException, Response

from server.answers import Answer
from server.bounds import From, To, lower, upper
from server.models import (
    Count,
    Detection,
    Id,
    Ids,
    ImagePaths,
    Offset,
    PageSize,
    Recognition,
    Recorded,
    Trim,
)
from server.recording import record
from server.retention import trim
from server.the_store import Store

router = APIRouter(prefix="/detections", tags=["detections"])


@router.post("", status_code=201, response_model=Recorded)
def record_detection(store: Store, image: Recognition) -> Answer:
    """Records what was recognised, and alerts for the watched plates in it."""
    return Answer(record(store, image), status_code=201)


@router.get("", response_model=list[Detection])
def history(
    store: Store,
    limit: PageSize = 100,
    offset: Offset = 0,
    date_from: From = None,
    date_to: To = None,
) -> Answer:
    """A page of the history, newest first."""
    return Answer(store.get_history(limit, offset, lower(date_from), upper(date_to)))


@router.get("/{detection_id}", response_model=Detection)
def detection(store: Store, detection_id: Id) -> Answer:
    record = store.get_detection(detection_id)
    if record is None:
        raise not_there(detection_id)
    return Answer(record)


@router.put("/{detection_id}/image-paths", status_code=204)
def write_image_paths(store: Store, detection_id: Id, paths: ImagePaths) -> Response:
    """Writes both paths, once the image files are there."""
    if store.get_detection(detection_id) is None:
        raise not_there(detection_id)
    # The detection may be removed in between: then nothing changes, which is no error.
    store.update_image_paths(detection_id, paths.image_path, paths.thumbnail_path)
    return Response(status_code=204)


@router.put("/{detection_id}/attributes", status_code=204)
def write_attributes(
    store: Store, detection_id: Id, attributes: Annotated[dict[str, Any], Body()]
) -> Response:
    """Replaces all attributes of the vehicle, such as `{"mmc_make": "Škoda"}`."""
    if store.get_detection(detection_id) is None:
        raise not_there(detection_id)
    store.update_mmc_data(detection_id, attributes)
    return Response(status_code=204)


@router.delete("/{detection_id}", status_code=204)
def delete_detection(store: Store, detection_id: Id) -> Response:
    if not store.delete_detection(detection_id):
        raise not_there(detection_id)
    return Response(status_code=204)


@router.post("/delete", response_model=Count)
def delete_detections(store: Store, which: Ids) -> Answer:
    """Removes those that are there, and says how many they were."""
    return Answer({"count": store.delete_detections(which.ids)})


@router.post("/trim", status_code=204)
def trim_detections(store: Store, to: Trim) -> Response:
    """Removes all but the newest, as the timer does with the number set for it."""
    trim(store, to.keep)
    return Response(status_code=204)


def not_there(detection_id: int) -> HTTPException:
    return HTTPException(404, f"there is no detection {detection_id}")
