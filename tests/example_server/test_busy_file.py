"""While another program holds the file, the answer is: try again."""

from __future__ import annotations

import logging
import sqlite3
from contextlib import closing, contextmanager

import pytest
from fastapi.testclient import TestClient
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from server.app import create_app
from support.database import run_script
from support.recognition import recognition


class Impatient(ANPRDatabase):
    """Does not wait for the lock, so that the test need not either."""

    def _get_conn(self):
        connection = super()._get_conn()
        connection.execute("PRAGMA busy_timeout = 0")
        return connection


@pytest.fixture
def application(settings):
    return create_app(settings, Impatient)


@contextmanager
def locked(path):
    with closing(sqlite3.connect(path, isolation_level=None)) as connection:
        connection.execute("BEGIN EXCLUSIVE")
        yield


@pytest.mark.parametrize(
    ("method", "path", "body"),
    [
        ("GET", "/api/detections", None),
        ("GET", "/api/statistics", None),
        ("POST", "/api/detections", recognition("AB 1")),
        ("POST", "/api/watchlist", {"plate": "AB"}),
        ("POST", "/api/alerts/read", None),
        ("DELETE", "/api/detections/1", None),
    ],
)
def test_a_locked_file_is_a_503_and_the_same_request_works_later(
    client, record, db_path, method, path, body
):
    record("AB 1")
    with locked(db_path):
        answer = client.request(method, path, json=body)
        assert answer.status_code == 503
        assert answer.headers["Retry-After"] == "1"
        assert answer.json() == {"detail": "the database is locked, try again"}
    assert client.request(method, path, json=body).is_success


def test_a_refused_recording_has_recorded_nothing(client, db_path, its_store):
    with locked(db_path):
        assert client.post("/api/detections", json=recognition("AB 1")).status_code == 503
    assert its_store.get_history() == []


def test_an_alert_that_cannot_be_kept_is_told_and_the_detection_stays(
    settings, caplog, monkeypatch
):
    class NoAlerts(ANPRDatabase):
        def add_alert(self, *arguments):
            with locked(self.db_path):
                return Impatient(self.db_path).add_alert(*arguments)

    monkeypatch.setattr(Impatient, "_init_schema", lambda self: None)
    with TestClient(create_app(settings, NoAlerts)) as client:
        client.post("/api/watchlist", json={"plate": "AB 1"})
        with caplog.at_level(logging.ERROR):
            answer = client.post("/api/detections", json=recognition("AB 1"))
        assert answer.status_code == 201
        assert [match["alert_id"] for match in answer.json()["matches"]] == [None]
        assert "No alert for AB 1 () in detection 1: database is locked" in caplog.text
        assert len(client.get("/api/detections").json()) == 1


def test_an_alert_that_fails_otherwise_is_told_at_once(settings, caplog):
    class NoAlerts(ANPRDatabase):
        tried = 0

        def add_alert(self, *arguments):
            NoAlerts.tried += 1
            raise sqlite3.OperationalError("database or disk is full")

    with TestClient(create_app(settings, NoAlerts)) as client:
        client.post("/api/watchlist", json={"plate": "AB 1"})
        answer = client.post("/api/detections", json=recognition("AB 1"))
        assert [match["alert_id"] for match in answer.json()["matches"]] == [None]
    assert NoAlerts.tried == 1
    assert "disk is full" in caplog.text


def test_any_other_failure_of_the_file_is_a_500(application, db_path):
    with TestClient(application, raise_server_exceptions=False) as client:
        run_script(db_path, "DROP TABLE watchlist")
        answer = client.get("/api/watchlist")
        assert answer.status_code == 500
        assert "Retry-After" not in answer.headers
