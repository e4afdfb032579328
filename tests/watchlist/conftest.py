"""Watchlists to match against: entries put into the file, or handed over by a connection."""

from __future__ import annotations

import sqlite3
from contextlib import closing
from types import SimpleNamespace

import pytest


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


class AnsweringConnection:
    """Answers every statement with the same rows, and keeps what it was asked in `asked`."""

    def __init__(self, rows, asked):
        self._rows = rows
        self._asked = asked

    def __enter__(self):
        self._asked.append("enter")
        return self

    def __exit__(self, error_type, error, traceback):
        self._asked.append("exit")

    def execute(self, statement, *parameters):
        self._asked.append((statement, *parameters))
        one = self._rows[0] if self._rows else None
        return SimpleNamespace(fetchall=lambda: self._rows, fetchone=lambda: one)


@pytest.fixture
def answering(store):
    """Makes the store's connections answer with these rows; what they will have been asked."""

    def answer(rows):
        asked = []
        store._get_conn = lambda: AnsweringConnection(rows, asked)
        return asked

    return answer


@pytest.fixture
def entries(answering):
    """Makes the store read these plates as its watchlist, the objects themselves: ids from 1 on."""

    def make(*plates):
        rows = [{"id": n, "plate": plate, "label": ""} for n, plate in enumerate(plates, 1)]
        return answering(rows)

    return make
