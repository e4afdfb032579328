"""What runs beside the requests: filling, recognising, trimming, and the end of it all."""

from __future__ import annotations

import logging
import threading
from dataclasses import replace
from datetime import datetime, timedelta

from fastapi.testclient import TestClient
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.recognised import read_images
from server.app import create_app
from server.demo_fill import fill, moments_of_a_day
from server.periodic import Periodic
from server.settings import Settings
from support.database import count

PATIENCE = 60  # seconds; only ends what hangs
IMAGES = Settings().images


def test_work_is_repeated_until_the_block_ends():
    three = threading.Semaphore(0)
    with Periodic(0.001, three.release):
        for _ in range(3):
            assert three.acquire(timeout=PATIENCE)
    ended = three._value
    assert not any(thread.name == "release" for thread in threading.enumerate())
    assert three._value == ended


def test_work_that_fails_is_logged_and_repeated(caplog):
    again = threading.Semaphore(0)

    def fails():
        again.release()
        raise OSError("the disk is full")

    with caplog.at_level(logging.ERROR), Periodic(0.001, fails):
        for _ in range(3):
            assert again.acquire(timeout=PATIENCE)
    assert caplog.text.count("the disk is full") >= 2


def test_an_empty_file_is_filled_once_as_if_over_a_day(tmp_path):
    images = read_images(IMAGES)[:60]
    store = ANPRDatabase(tmp_path / "x.db")
    before = datetime.now()
    fill(store, images)
    fill(store, images)
    history = store.get_history(limit=1000)
    assert [record["plates"] for record in history] == [image.plates for image in images[::-1]]
    assert [record["mmc_data"] for record in history] == [image.mmc_data for image in images[::-1]]
    times = [datetime.fromisoformat(record["timestamp"]) for record in history]
    assert times == sorted(times, reverse=True)
    assert before - timedelta(hours=24) <= times[-1] <= times[0] <= datetime.now()
    assert len(store.get_hourly_stats(25)) > 12
    assert len(store.get_watchlist()) == 3
    assert store.get_alert_count(False) > 0


def test_the_moments_of_a_day_are_as_many_as_asked_for():
    end = datetime(2024, 5, 1, 14, 3, 27, 5)
    for many in (1, 2, 60, 400, 5000):
        moments = moments_of_a_day(end, many)
        assert len(moments) == many
        assert end - timedelta(hours=24) <= moments[0]
        assert moments[-1] <= end


def test_a_file_that_holds_something_is_left_as_it_is(tmp_path):
    store = ANPRDatabase(tmp_path / "x.db")
    store.add_watchlist("AB 1")
    fill(store, read_images(IMAGES))
    assert store.get_history() == []


def test_the_recogniser_goes_on_while_requests_are_answered(settings, tmp_path):
    images = tmp_path / "images.jsonl"
    images.write_bytes(b"".join(IMAGES.read_bytes().splitlines(keepends=True)[:5]))
    running = replace(settings, images=images, recognise_every=0.01)
    with TestClient(create_app(running)) as client:
        deadline = datetime.now() + timedelta(seconds=PATIENCE)
        while client.get("/api/statistics").json()["total_detections"] < 12:
            assert datetime.now() < deadline
    held = count(settings.database)
    plates = [record["plates"] for record in ANPRDatabase(settings.database).get_history(-1)][::-1]
    recorded = [image.plates for image in read_images(images)]
    assert plates == [recorded[place % 5] for place in range(held)]


def test_the_timer_keeps_the_newest(settings):
    store = ANPRDatabase(settings.database)
    for number in range(5):
        store.add_detection([str(number)], [0.9], [[0, 0, 1, 1]], 0.1, 0.1, 0.1)
    with TestClient(create_app(replace(settings, keep=2, trim_every=0.01))) as client:
        deadline = datetime.now() + timedelta(seconds=PATIENCE)
        while len(kept := client.get("/api/detections").json()) > 2:
            assert datetime.now() < deadline
    assert [record["id"] for record in kept] == [5, 4]


def test_the_store_is_called_from_the_thread_pool(client, its_store, monkeypatch):
    threads = []
    original = ANPRDatabase.get_statistics

    def noted(self):
        threads.append(threading.current_thread().name)
        return original(self)

    monkeypatch.setattr(ANPRDatabase, "get_statistics", noted)
    client.get("/api/statistics")
    assert [name.startswith("AnyIO worker thread") for name in threads] == [True]
