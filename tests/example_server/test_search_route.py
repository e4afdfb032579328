"""The search route: each filter holds for what it names."""

from __future__ import annotations

import pytest


@pytest.fixture
def found(client):
    """The ids that a search finds."""

    def search(**parameters):
        answer = client.get("/api/search", params=parameters)
        assert answer.status_code == 200, answer.text
        return [record["id"] for record in answer.json()]

    return search


@pytest.fixture
def filled(client, record):
    """1: a red Škoda seen from behind; 2: two plates, one of them Chinese; 3: no plate."""
    record("AB 12", confidences=[0.5])
    attributes = {
        "mmc_make": "Škoda",
        "mmc_model": "Fabia",
        "mmc_color": "red",
        "mmc_type": "sedan",
        "mmc_plate_nation": "CZ",
        "mmc_vehicle_side": "rear",
    }
    client.put("/api/detections/1/attributes", json=attributes)
    record("粤B 99", "xab 1", confidences=[0.8, 0.95])
    record()


@pytest.mark.usefixtures("filled")
def test_without_filters_everything_is_found(found):
    assert found() == [3, 2, 1]


@pytest.mark.usefixtures("filled")
@pytest.mark.parametrize(
    ("parameters", "expected"),
    [
        ({"query": "ab"}, [2, 1]),
        ({"query": "AB 12"}, [1]),
        ({"query": "粤"}, [2]),
        ({"query": "沪"}, []),
        ({"min_confidence": 0.5}, [2, 1]),
        ({"min_confidence": 0.9}, [2]),
        ({"mmc_make": "Škoda"}, [1]),
        ({"mmc_make": "Lada"}, []),
        ({"mmc_model": "fab"}, [1]),
        ({"mmc_color": "red"}, [1]),
        ({"mmc_type": "sedan"}, [1]),
        ({"mmc_nation": "CZ"}, [1]),
        ({"mmc_side": "rear"}, [1]),
        ({"mmc_side": "front"}, []),
        ({"query": "ab", "mmc_color": "red"}, [1]),
        ({"date_from": "2999-01-01"}, []),
        ({"date_to": "1999-01-01"}, []),
        ({"limit": 1}, [3]),
        ({"limit": 1, "offset": 2}, [1]),
    ],
    ids=str,
)
def test_a_filter_filters(found, parameters, expected):
    assert found(**parameters) == expected


@pytest.mark.parametrize(
    "parameters",
    [
        {"min_confidence": 1.5},
        {"min_confidence": "nan"},
        {"date_from": "yesterday"},
        {"date_to": "2024-13-01"},
        {"limit": 0},
        {"limit": 10**6},
        {"offset": -1},
        {"query": "x" * 1000},
    ],
    ids=lambda parameters: next(iter(parameters)),
)
def test_a_filter_that_makes_no_sense_is_refused(client, parameters):
    assert client.get("/api/search", params=parameters).status_code == 422
