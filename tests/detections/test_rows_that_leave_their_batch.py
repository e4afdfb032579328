"""Rows whose values move while an operation reads them: Python code amid it reads the same row.

Rows that were fetched together share their texts until one of them is read from Python. What an
operation has of a row must hold after that, whatever then takes the room.
"""

from __future__ import annotations

import json
import types

import pytest

from support.fakes import FakeConnection, give

LONG = "A" * 400


def room_taken():
    """Objects of many sizes, where memory that has been given back would be used again."""
    return [bytearray(b"\xff" * size) for size in range(16, 4000, 4)] + [
        bytearray(b"Z" * 70_000) for _ in range(20)
    ]


@pytest.fixture
def connection(store):
    opened = store._get_conn()
    yield opened
    opened.close()


@pytest.mark.parametrize("column", ["plates", "confidences", "bboxes", "mmc_data"])
def test_a_lookup_of_json_that_reads_the_row(store_module, connection, monkeypatch, column):
    text = json.dumps([LONG])
    row = connection.execute(f"SELECT ? AS {column}, ? AS note", (text, LONG)).fetchone()
    kept = []

    def looked_up(name):
        if name != "loads":
            raise AttributeError(name)
        kept.append((tuple(row), room_taken()))
        return json.loads

    replacement = types.ModuleType("json")
    replacement.JSONDecodeError = json.JSONDecodeError
    replacement.__getattr__ = looked_up
    monkeypatch.setattr(store_module, "json", replacement)
    assert store_module.ANPRDatabase._row_to_dict(row) == {column: [LONG], "note": LONG}
    assert [seen for seen, _ in kept] == [(text, LONG)]


def test_a_plate_whose_end_reads_the_next_row(store, connection):
    row = connection.execute("SELECT ? AS plate, 'L' AS label, 7 AS id", (LONG,)).fetchone()
    kept = []

    class Normal(str):
        __slots__ = ()

        def replace(self, *given):
            return self

        def __del__(self):
            kept.append((tuple(row), room_taken()))

    class Plate:
        def upper(self):
            return Normal("zz")

    give(store, FakeConnection([{"plate": Plate(), "label": "p", "id": 1}, row], log=[]))
    found = store.check_watchlist([LONG])
    assert [dict(each) for each in found] == store.check_watchlist([LONG]) != []
    assert {seen for seen, _ in kept} == {(LONG, "L", 7)}
