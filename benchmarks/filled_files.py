"""Database files to measure on, the same bytes of content on every run."""

from __future__ import annotations

import json
import shutil
import sqlite3
from collections.abc import Iterator
from contextlib import closing
from datetime import datetime, timedelta
from pathlib import Path
from random import Random

from peers import Peer

INSERT = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)
WATCHLIST_SEED = 2
LETTERS = "ABCDEFGHKLMNPRSTUVWXYZ"
FIRST = datetime(2024, 1, 1, 0, 0, 0, 250_000)
ATTRIBUTES = (
    ("Volkswagen", "Golf", "white", "sedan", "DE", "rear"),
    ("Škoda", "Octavia", "red", "sedan", "CZ", "front"),
    ("Toyota", "Hilux", "black", "pickup", "FR", "rear"),
)
KEYS = ("mmc_make", "mmc_model", "mmc_color", "mmc_type", "mmc_plate_nation", "mmc_vehicle_side")


def plate(rng: Random) -> str:
    region, pair = ("".join(rng.choices(LETTERS, k=2)) for _ in range(2))
    return f"{region}-{pair} {rng.randint(100, 9999)}"


def detection(rng: Random, timestamp: str) -> tuple[object, ...]:
    """One row of `detections`, in the order of the INSERT, with `mmc_data` after it."""
    count = rng.choices((0, 1, 2, 3), weights=(8, 75, 13, 4))[0]
    detector_time, ocr_time = rng.uniform(0.01, 0.06), rng.uniform(0.005, 0.02)
    boxes = [[rng.randint(0, 1900) for _ in range(4)] for _ in range(count)]
    attributes = dict(zip(KEYS, rng.choice(ATTRIBUTES), strict=True)) if count else None
    sureness = [rng.uniform(0.5, 1) for _ in range(count)]
    return (
        timestamp,
        count,
        json.dumps([plate(rng) for _ in range(count)]),
        json.dumps([rng.uniform(0.5, 1) for _ in range(count)]),
        json.dumps(boxes),
        detector_time + ocr_time,
        detector_time,
        ocr_time,
        f"images/gate/{timestamp}.jpg",
        f"thumbnails/gate/{timestamp}.jpg",
        1 if rng.random() < 0.97 else 0,
        json.dumps(sureness) if sureness else None,
        json.dumps(attributes) if attributes else None,
    )


def detections(count: int, rng: Random) -> Iterator[tuple[object, ...]]:
    for number in range(count):
        yield detection(rng, (FIRST + timedelta(minutes=5 * number)).isoformat())


def fill_detections(peer: Peer, database: Path, count: int) -> None:
    peer.open(database)
    statement = INSERT.replace("detection_confidences)", "detection_confidences, mmc_data)")
    statement = statement.replace("(?, ", "(?, ?, ")
    with closing(sqlite3.connect(database)) as connection, connection:
        connection.executemany(statement, detections(count, Random(1)))


def fill_by_repeating(source: Path, target: Path, times: int) -> None:
    """Makes a large file quickly: the detections of a small one again and again."""
    shutil.copy(source, target)
    with closing(sqlite3.connect(target)) as connection, connection:
        connection.execute("CREATE TEMP TABLE pattern AS SELECT * FROM detections")
        connection.execute("UPDATE pattern SET id = NULL")
        for _ in range(times - 1):
            connection.execute("INSERT INTO detections SELECT * FROM pattern")


def fill_watchlist(peer: Peer, database: Path, count: int) -> None:
    peer.open(database)
    rng = Random(WATCHLIST_SEED)
    rows = ((plate(rng), f"label {n % 7}", FIRST.isoformat()) for n in range(count))
    with closing(sqlite3.connect(database)) as connection, connection:
        connection.executemany(
            "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)", rows
        )
