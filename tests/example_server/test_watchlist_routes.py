"""Watched plates over HTTP, and the alerts that recording them raises."""

from __future__ import annotations

import pytest


def watch(client, plate, label=""):
    answer = client.post("/api/watchlist", json={"plate": plate, "label": label})
    assert answer.status_code == 201, answer.text
    return answer.json()["id"]


def test_a_watched_plate_is_listed_until_it_is_removed(client):
    assert watch(client, " ab-12 ", "stolen") == 1
    assert watch(client, "CD 34") == 2
    listed = client.get("/api/watchlist").json()
    assert [(each["id"], each["plate"], each["label"]) for each in listed] == [
        (2, "CD 34", ""),
        (1, "AB-12", "stolen"),
    ]
    assert client.delete("/api/watchlist/2").status_code == 204
    assert client.delete("/api/watchlist/2").status_code == 404
    assert [each["id"] for each in client.get("/api/watchlist").json()] == [1]


@pytest.mark.parametrize("plate", ["", "  ", "-", " - - ", "x" * 101, 7, None])
def test_a_plate_that_would_match_everything_is_refused(client, plate):
    answer = client.post("/api/watchlist", json={"plate": plate})
    assert answer.status_code == 422
    assert client.get("/api/watchlist").json() == []


def test_checking_raises_no_alert(client):
    watch(client, "AB 12", "stolen")
    answer = client.post("/api/watchlist/check", json={"plates": ["xab-12", "CD"]})
    assert answer.json() == [
        {
            "detected_plate": "xab-12",
            "watchlist_plate": "AB 12",
            "label": "stolen",
            "watchlist_id": 1,
        }
    ]
    assert client.get("/api/alerts/count").json() == {"count": 0}


def test_a_recorded_watched_plate_raises_an_alert(client, record):
    watch(client, "AB 12", "stolen")
    recorded = record("CD 1", "ab12", confidences=[0.5, 0.75])
    assert recorded["matches"] == [
        {
            "detected_plate": "ab12",
            "watchlist_plate": "AB 12",
            "label": "stolen",
            "watchlist_id": 1,
            "alert_id": 1,
        }
    ]
    (alert,) = client.get("/api/alerts").json()
    wanted = {
        "id": 1,
        "plate": "ab12",
        "watchlist_label": "stolen",
        "detection_id": recorded["id"],
        "confidence": 0.75,
        "is_read": 0,
    }
    assert {name: alert[name] for name in wanted} == wanted


def test_an_empty_plate_raises_no_alert(client, record):
    watch(client, "AB 12")
    assert record("", " - ")["matches"] == []
    assert client.get("/api/alerts").json() == []


def test_alerts_are_counted_listed_and_marked_read(client, record):
    watch(client, "AB 12")
    for _ in range(3):
        record("AB 12")
    assert client.get("/api/alerts/count").json() == {"count": 3}
    assert client.post("/api/alerts/read").json() == {"count": 3}
    assert client.post("/api/alerts/read").json() == {"count": 0}
    record("AB 12")
    assert client.get("/api/alerts/count").json() == {"count": 1}
    assert client.get("/api/alerts/count", params={"unread_only": False}).json() == {"count": 4}
    listed = client.get("/api/alerts", params={"limit": 2}).json()
    assert [(each["id"], each["is_read"]) for each in listed] == [(4, 0), (3, 1)]


def test_alerts_are_given_by_detection(client, record):
    watch(client, "AB 12")
    record("AB 12", "xAB 12")
    record("CD 34")
    answer = client.get("/api/alerts/for-detections", params={"detection_id": [1, 2]}).json()
    assert {key: [each["id"] for each in alerts] for key, alerts in answer.items()} == {"1": [1, 2]}
    assert client.get("/api/alerts/for-detections").status_code == 422
