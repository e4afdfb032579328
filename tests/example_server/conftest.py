"""The application with FastAPI's test client, over an empty file; nothing runs beside it."""

from __future__ import annotations

import sys
from pathlib import Path

import pytest

EXAMPLES = str(Path(__file__).resolve().parents[2] / "examples")
if EXAMPLES not in sys.path:
    sys.path.append(EXAMPLES)

from fastapi.testclient import TestClient  # noqa: E402

from server.app import create_app  # noqa: E402
from server.settings import Settings  # noqa: E402
from support.recognition import recognition  # noqa: E402


@pytest.fixture
def settings(db_path):
    return Settings(database=db_path, images=None, trim_every=0)


@pytest.fixture
def application(settings):
    return create_app(settings)


@pytest.fixture
def client(application):
    with TestClient(application) as client:
        yield client


@pytest.fixture
def its_store(client):
    """The store that the application uses."""
    return client.app.state.store


@pytest.fixture
def record(client):
    """Records plates over HTTP and gives the answer's JSON."""

    def post(*plates, **changed):
        answer = client.post("/api/detections", json=recognition(*plates, **changed))
        assert answer.status_code == 201, answer.text
        return answer.json()

    return post
