"""Values that JSON or UTF-8 have no place for reach the client as an answer that it can read."""

from __future__ import annotations

import json

import pytest

from support.database import run_script
from support.recognition import recognition

NAN, INFINITY = float("nan"), float("inf")
HALF = "AB\ud800"  # a text that UTF-8 has no bytes for


def send(client, path, body):
    """The body as Python writes it: with NaN, and a lone surrogate as its escape."""
    headers = {"Content-Type": "application/json"}
    return client.post(path, content=json.dumps(body), headers=headers)


def strictly(answer):
    """What a browser reads: it takes no NaN, and the bytes have to be UTF-8."""

    def refuse(constant):
        raise AssertionError(f"no JSON: {constant}")

    return json.loads(answer.content.decode("utf-8"), parse_constant=refuse)


def test_not_a_number_is_recorded_and_read_as_null(client, its_store):
    body = recognition("AB 1", "CD 2", confidences=[NAN, INFINITY], processing_time=INFINITY)
    assert send(client, "/api/detections", body).status_code == 201
    assert its_store.get_detection(1)["confidences"][1] == INFINITY
    for path in ("/api/detections/1", "/api/detections", "/api/search"):
        answer = client.get(path)
        assert answer.status_code == 200
        read = strictly(answer)
        record = read[0] if isinstance(read, list) else read
        assert record["confidences"] == [None, None]
        assert record["processing_time"] is None


def test_half_a_surrogate_pair_is_recorded_and_read(client, its_store):
    assert send(client, "/api/detections", recognition(HALF)).status_code == 201
    assert its_store.get_detection(1)["plates"] == [HALF]
    assert strictly(client.get("/api/detections/1"))["plates"] == [HALF]
    assert strictly(client.get("/api/statistics/top-plates"))[0]["plate"] == HALF


def test_half_a_surrogate_pair_raises_an_alert(client):
    client.post("/api/watchlist", json={"plate": "AB"})
    answer = send(client, "/api/detections", recognition(HALF, confidences=[NAN]))
    assert strictly(answer)["matches"][0]["detected_plate"] == HALF
    alert = strictly(client.get("/api/alerts"))[0]
    assert (alert["plate"], alert["confidence"]) == ("AB?", None)


def test_attributes_hold_anything(client, its_store):
    client.post("/api/detections", json=recognition("AB 1"))
    attributes = {"mmc_make": HALF, "sure": [NAN, {"x": INFINITY}]}
    headers = {"Content-Type": "application/json"}
    answer = client.put(
        "/api/detections/1/attributes", content=json.dumps(attributes), headers=headers
    )
    assert answer.status_code == 204
    assert its_store.get_detection(1)["mmc_data"]["mmc_make"] == HALF
    read = strictly(client.get("/api/detections/1"))["mmc_data"]
    assert read == {"mmc_make": HALF, "sure": [None, {"x": None}]}


@pytest.mark.parametrize(
    ("path", "body"),
    [
        ("/api/watchlist", {"plate": HALF}),
        ("/api/watchlist", {"plate": "AB", "label": HALF}),
        ("/api/detections", recognition("AB", image_path=HALF)),
        ("/api/detections", recognition("AB", processing_time=HALF)),
        ("/api/detections", recognition("AB", success=NAN)),
        ("/api/detections/trim", {"keep": NAN}),
    ],
    ids=str,
)
def test_what_is_refused_is_said_in_an_answer_that_can_be_read(client, path, body):
    answer = send(client, path, body)
    assert answer.status_code == 422
    assert strictly(answer)["detail"]


def test_a_column_that_another_program_wrote_does_not_fail_the_page(client, record, db_path):
    record("AB 1")
    run_script(
        db_path, "UPDATE detections SET processing_time = x'0102', plates = 'no JSON', mmc_data = 7"
    )
    read = strictly(client.get("/api/detections"))[0]
    assert (read["processing_time"], read["plates"]) == ("b'\\x01\\x02'", "no JSON")
