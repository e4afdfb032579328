"""The routes' answers are what their description says, although it is not applied to them."""

from __future__ import annotations

import json

import pytest
from fastapi.routing import APIRoute
from pydantic import TypeAdapter

from server.answers import Answer
from server.routes import alerts, detections, search, statistics, watchlist

PATHS = {
    "/api/detections": {},
    "/api/detections/{detection_id}": {},
    "/api/search": {},
    "/api/statistics": {},
    "/api/statistics/hours": {},
    "/api/statistics/top-plates": {},
    "/api/watchlist": {},
    "/api/alerts": {},
    "/api/alerts/count": {},
    "/api/alerts/for-detections": {"detection_id": 1},
}


@pytest.fixture
def routes(application):
    subjects = (alerts, detections, search, statistics, watchlist)
    return [route for subject in subjects for route in subject.router.routes]


def test_each_reading_route_is_described_and_answers_so(client, record, routes):
    client.post("/api/watchlist", json={"plate": "AB", "label": "stolen"})
    record("AB 1", image_path="1.jpg", detection_confidences=[0.5])
    client.put("/api/detections/1/attributes", json={"mmc_make": "Lada"})
    record()
    seen = set()
    for route in routes:
        assert isinstance(route, APIRoute)
        if "GET" not in route.methods:
            continue
        path = "/api" + route.path
        seen.add(path)
        answer = client.get(path.format(detection_id=1), params=PATHS[path])
        described = TypeAdapter(route.response_model).validate_json(answer.content)
        # Nothing is added, and nothing that a description names is missing.
        assert json.loads(Answer(described).body) == answer.json()
    assert seen == set(PATHS)


def test_every_route_has_its_description(client):
    described = client.get("/openapi.json").json()["paths"]
    operations = [
        operation for path in described.values() for operation in path.values() if operation
    ]
    assert len(operations) == 20
    for operation in operations:
        answers = operation["responses"]
        assert "204" in answers or answers.get("200", answers.get("201"))["content"]
