"""The routes of totals, hours and top plates."""

from __future__ import annotations


def test_the_totals(client, record):
    assert client.get("/api/statistics").json()["total_detections"] == 0
    record("AB 1", "AB 2", processing_time=0.1)
    record(processing_time=0.2)
    record(success=False, processing_time=0.3)
    assert client.get("/api/statistics").json() == {
        "total_detections": 3,
        "successful_detections": 1,
        "failed_detections": 2,
        "total_plates_found": 2,
        "avg_processing_sec": 0.2,
    }


def test_the_hours_are_those_of_the_store(client, record, its_store):
    record("AB 1", "AB 2")
    hours = client.get("/api/statistics/hours", params={"hours": 2}).json()
    assert hours == its_store.get_hourly_stats(2)
    assert [(each["count"], each["plates"]) for each in hours] == [(1, 2)]
    assert client.get("/api/statistics/hours", params={"hours": 0}).status_code == 422


def test_the_top_plates(client, record):
    for plate in ("AB 1", "CD 2", "CD 2", "EF 3", "CD 2", "EF 3"):
        record(plate)
    top = client.get("/api/statistics/top-plates", params={"limit": 2}).json()
    assert top == [{"plate": "CD 2", "count": 3}, {"plate": "EF 3", "count": 2}]
