"""Watchlists to match against: entries put into the file, or handed over by a connection."""

from __future__ import annotations

import sqlite3
from contextlib import closing

import pytest

from support.fakes import FakeConnection, give


@pytest.fixture
def watch(store, db_path):
    """Puts entries into the file beside the store, just as they are given; their ids."""

    def put(*plates, label="label"):
        with closing(sqlite3.connect(db_path)) as connection, connection:
            return [
                connection.execute(
                    "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, 'then')",
                    (plate, label),
                ).lastrowid
                for plate in plates
            ]

    return put


@pytest.fixture
def answering(store):
    """Makes the store's connections answer with these rows; what they will have been asked."""

    def answer(rows):
        log = []
        give(store, FakeConnection(rows, log=log))
        return log

    return answer


@pytest.fixture
def entries(answering):
    """Makes the store read these plates as its watchlist, the objects themselves: ids from 1 on."""

    def make(*plates):
        rows = [{"id": n, "plate": plate, "label": ""} for n, plate in enumerate(plates, 1)]
        return answering(rows)

    return make
