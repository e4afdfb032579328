"""Recording detections over HTTP, completing them, reading them back and removing them."""

from __future__ import annotations

from datetime import datetime

import pytest

from support.database import run_script
from support.recognition import recognition


def test_a_recorded_detection_reads_back_as_it_was_sent(client, record, its_store):
    sent = {
        "plates": ["B-AB 1234", "粤B12345"],
        "confidences": [0.97, 0.5],
        "bboxes": [[1, 2, 3, 4], [5, 6, 7.5, 8]],
        "processing_time": 0.043,
        "detector_time": 0.028,
        "ocr_time": 0.012,
        "image_path": "images/1.jpg",
        "thumbnail_path": None,
        "detection_confidences": [0.8, 0.7],
    }
    answer = record(**sent)
    assert answer == {"id": 1, "matches": []}
    read = client.get("/api/detections/1").json()
    assert {name: read[name] for name in sent} == sent
    assert (read["num_plates"], read["success"], read["mmc_data"]) == (2, 1, None)
    assert [type(edge) for edge in read["bboxes"][0]] == [int] * 4
    assert read == its_store.get_detection(1)


def test_a_failed_run_is_recorded(client, record):
    record(success=False)
    assert client.get("/api/detections/1").json()["success"] == 0


def test_the_history_comes_by_pages_newest_first(client, record):
    for number in range(5):
        record(f"AB {number}")
    pages = [
        client.get("/api/detections", params={"limit": 2, "offset": offset}).json()
        for offset in (0, 2, 4, 6)
    ]
    assert [[each["id"] for each in page] for page in pages] == [[5, 4], [3, 2], [1], []]


@pytest.mark.parametrize(
    ("bounds", "found"),
    [
        ({"date_from": "2024-05-02"}, ["2024-05-03T00:00:00", "2024-05-02T10:00:00"]),
        ({"date_to": "2024-05-02"}, ["2024-05-02T10:00:00", "2024-05-01T23:59:59.5"]),
        ({"date_to": "2024-05-02T09:59:59"}, ["2024-05-01T23:59:59.5"]),
        ({"date_from": "2024-05-02", "date_to": "2024-05-02"}, ["2024-05-02T10:00:00"]),
        ({"date_from": "2024-05-03T00:00:00"}, ["2024-05-03T00:00:00"]),
    ],
    ids=str,
)
def test_a_day_as_a_bound_is_the_whole_day(client, record, db_path, bounds, found):
    for timestamp in ("2024-05-01T23:59:59.5", "2024-05-02T10:00:00", "2024-05-03T00:00:00"):
        new = record("AB 1")["id"]
        run_script(db_path, f"UPDATE detections SET timestamp = '{timestamp}' WHERE id = {new}")
    for route in ("/api/detections", "/api/search"):
        answer = client.get(route, params=bounds)
        assert [each["timestamp"] for each in answer.json()] == found


def test_a_bound_with_a_zone_becomes_local_time(client, record):
    record("AB 1")
    timestamp = client.get("/api/detections/1").json()["timestamp"]
    with_zone = datetime.fromisoformat(timestamp).astimezone().isoformat()
    params = {"date_from": with_zone, "date_to": with_zone}
    assert len(client.get("/api/detections", params=params).json()) == 1


@pytest.mark.parametrize("bound", ["0001-01-01T00:00:00+14:00", "9999-12-31T23:59:59-14:00"])
def test_a_bound_at_the_calendars_edge_is_taken(client, record, bound):
    record("AB 1")
    found = client.get("/api/detections", params={"date_from": bound})
    assert (found.status_code, len(found.json())) == (200, bound.startswith("0"))


def test_image_paths_are_both_written(client, record):
    record("AB 1", image_path="before.jpg", thumbnail_path="small.jpg")
    answer = client.put("/api/detections/1/image-paths", json={"image_path": "after.jpg"})
    assert (answer.status_code, answer.content) == (204, b"")
    read = client.get("/api/detections/1").json()
    assert (read["image_path"], read["thumbnail_path"]) == ("after.jpg", None)


def test_attributes_are_replaced(client, record):
    record("AB 1")
    for attributes in ({"mmc_make": "Škoda", "mmc_color": "red"}, {"mmc_type": "van", "n": [1]}):
        answer = client.put("/api/detections/1/attributes", json=attributes)
        assert answer.status_code == 204
        assert client.get("/api/detections/1").json()["mmc_data"] == attributes


def test_a_deleted_detection_is_gone(client, record):
    record("AB 1")
    assert client.delete("/api/detections/1").status_code == 204
    assert client.get("/api/detections/1").status_code == 404


def test_several_are_deleted_at_once(client, record):
    for number in range(4):
        record(f"AB {number}")
    answer = client.post("/api/detections/delete", json={"ids": [1, 3, 77]})
    assert answer.json() == {"count": 2}
    assert [each["id"] for each in client.get("/api/detections").json()] == [4, 2]
    assert client.post("/api/detections/delete", json={"ids": []}).json() == {"count": 0}


def test_trimming_keeps_the_newest(client, record):
    for number in range(4):
        record(f"AB {number}")
    assert client.post("/api/detections/trim", json={"keep": 2}).status_code == 204
    assert [each["id"] for each in client.get("/api/detections").json()] == [4, 3]


@pytest.mark.parametrize(
    ("method", "path", "body"),
    [
        ("GET", "", None),
        ("DELETE", "", None),
        ("PUT", "/image-paths", {}),
        ("PUT", "/attributes", {"mmc_make": "Lada"}),
    ],
)
def test_a_detection_that_is_not_there_is_a_404(client, method, path, body):
    answer = client.request(method, f"/api/detections/12{path}", json=body)
    assert answer.status_code == 404
    assert answer.json() == {"detail": "there is no detection 12"}


@pytest.mark.parametrize("detection_id", ["0", "-1", str(2**63), "x"])
def test_what_can_be_no_id_is_refused(client, detection_id):
    assert client.get(f"/api/detections/{detection_id}").status_code == 422


@pytest.mark.parametrize(
    "changed",
    [
        {"confidences": []},
        {"bboxes": []},
        {"plates": "AB 1"},
        {"plates": [7]},
        {"processing_time": None},
        {"image_path": 7},
    ],
    ids=str,
)
def test_what_does_not_fit_together_is_not_recorded(client, changed):
    answer = client.post("/api/detections", json=recognition("AB 1", **changed))
    assert answer.status_code == 422
    assert client.get("/api/detections").json() == []
