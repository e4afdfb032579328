"""The requests of the load: 30 of 100 record, 70 read."""

from __future__ import annotations

import json
from random import Random

READS = {
    "/api/detections?limit=20": 25,
    "/api/detections/{id}": 15,
    "/api/alerts/count": 10,
    "/api/alerts?limit=20": 5,
    "/api/search?query=AB&limit=20": 5,
    "/api/statistics": 5,
    "/api/statistics/hours": 3,
    "/api/statistics/top-plates": 2,
}
RECORDINGS = 30
LETTERS = "ABCDEFGHKLMNPRSTUVWXYZ"


def reads(rng: Random, detections: int) -> list[str]:
    """One path for each kind of read."""
    return [path.format(id=rng.randint(1, detections)) for path in READS]


def recording(rng: Random) -> str:
    """A detection with one plate mostly, as the body of a request."""
    count = rng.choices((0, 1, 2), weights=(10, 75, 15))[0]
    return json.dumps(
        {
            "plates": [f"{''.join(rng.choices(LETTERS, k=3))} {rng.randint(1, 999)}"] * count,
            "confidences": [rng.random() for _ in range(count)],
            "bboxes": [[rng.randint(0, 1900) for _ in range(4)] for _ in range(count)],
            "processing_time": 0.05,
            "detector_time": 0.03,
            "ocr_time": 0.02,
        }
    )


def request(rng: Random, detections: int) -> bytes:
    """The next request, as the bytes that are sent."""
    kind = rng.choices([None, *READS], weights=(RECORDINGS, *READS.values()))[0]
    if kind is None:
        return as_bytes("POST", "/api/detections", recording(rng))
    return as_bytes("GET", kind.format(id=rng.randint(1, detections)))


def as_bytes(method: str, path: str, body: str = "") -> bytes:
    head = f"{method} {path} HTTP/1.1\r\nHost: 127.0.0.1\r\n"
    if body:
        head += f"Content-Type: application/json\r\nContent-Length: {len(body)}\r\n"
    return (head + "\r\n" + body).encode("ascii")
