"""The store over another engine: the road of an image and random calls give what ours gives."""

from __future__ import annotations

import io
import sqlite3
import sys
from datetime import datetime, timedelta
from pathlib import Path
from unittest import mock

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from zentrope_anpr import zentrope_anpr_server_db as native

from support.clock import Clock
from support.random_calls import TRIED_WITH
from support.values import exactly

pytest.importorskip("libsql")
EXAMPLES = Path(__file__).parents[2] / "examples"


@pytest.fixture(scope="module")
def replicated():
    with mock.patch.object(sys, "path", [*sys.path, str(EXAMPLES)]):
        import replicated_store
        import road.journey
        import road.recognised
        import road.stages  # noqa: F401

        yield replicated_store


@pytest.fixture(autouse=True)
def _no_primary(monkeypatch):
    monkeypatch.delenv("LIBSQL_URL", raising=False)


def test_the_road_of_an_image(replicated, tmp_path):
    from rich.console import Console

    from road.journey import Journey
    from road.recognised import read_images
    from road.stages import STAGES

    images = read_images(EXAMPLES / "recognised_images.jsonl")
    store = replicated.ReplicatedStore(str(tmp_path / "a.db"))
    journey = Journey(store, Console(file=io.StringIO()), images)
    for stage in STAGES:
        stage.run(journey)  # raises Mismatch if what is read is not what was recorded
    assert journey.checks > 1000
    assert type(store._get_conn()) is replicated.Connection


def outcome(store, name, given):
    try:
        return "returned", exactly(getattr(store, name)(**given))
    except Exception:
        return ("raised",)


def is_ordinary(value):
    """A value of the kinds that a server passes; the other engine binds the rest its own way."""
    if isinstance(value, dict):
        return is_ordinary([*value, *value.values()])
    if isinstance(value, list | tuple):
        return all(map(is_ordinary, value))
    if type(value) is str:
        return value.isprintable()
    if type(value) is int:
        return abs(value) < 2**53
    return value is None or type(value) in (bool, float)


CALLS = st.one_of(
    [
        st.tuples(st.just(name), st.fixed_dictionaries(values).filter(is_ordinary))
        for name, values in TRIED_WITH.items()
        if name not in ("_init_schema", "_row_to_dict")
    ]
)


@settings(max_examples=15)
@given(calls=st.lists(CALLS, min_size=10, max_size=40))
def test_random_calls(replicated, tmp_path_factory, calls):
    folder = tmp_path_factory.mktemp("calls")
    sides = []
    for kind in (native.ANPRDatabase, replicated.ReplicatedStore):
        clock = Clock(datetime(2024, 5, 1, 14, 59, 59), timedelta(microseconds=1))
        sides.append((kind(str(folder / f"{kind.__name__}.db")), clock))
    for name, values in calls:
        seen = []
        for store, clock in sides:
            with mock.patch.object(native, "datetime", clock.type):
                seen.append(outcome(store, name, values))
        assert seen[0] == seen[1], (name, values)


@pytest.mark.parametrize(
    ("sql", "parameters", "error"),
    [
        ("SELECT * FROM nothing", (), sqlite3.OperationalError),
        ("INSERT INTO alerts (timestamp, plate) VALUES ('', NULL)", (), sqlite3.IntegrityError),
        ("SELECT * FROM alerts LIMIT ?", ("x",), sqlite3.IntegrityError),
        ("SELECT ?", ([1],), sqlite3.ProgrammingError),
    ],
)
def test_errors_are_those_of_the_standard_module(replicated, tmp_path, sql, parameters, error):
    connection = replicated.ReplicatedStore(str(tmp_path / "a.db"))._get_conn()
    with pytest.raises(error):
        connection.execute(sql, parameters).fetchall()
