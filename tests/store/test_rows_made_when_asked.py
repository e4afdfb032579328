"""Rows and records of a long result stand by themselves, however they are read and kept."""

from __future__ import annotations

import gc
import sqlite3
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

ROWS = 1_000


@pytest.fixture
def store(tmp_path: Path) -> ANPRDatabase:
    store = ANPRDatabase(str(tmp_path / "anpr.db"))
    with closing(sqlite3.connect(store.db_path)) as connection, connection:
        connection.executemany(
            "INSERT INTO detections (timestamp, plates, mmc_data, image_path) VALUES (?, ?, ?, ?)",
            (
                (
                    f"2024-01-01T{number:06}",
                    f'["P {number}"]',
                    '{"mmc_make": "Volkswagen", "mmc_model": "Golf"}',
                    "ümlaut.jpg" if number % 7 == 0 else "plain.jpg",
                )
                for number in range(ROWS)
            ),
        )
    return store


def fetched(store: ANPRDatabase) -> list[Any]:
    rows: list[Any] = store._get_conn().execute("SELECT * FROM detections").fetchall()
    return rows


def standard(store: ANPRDatabase) -> list[Any]:
    with closing(sqlite3.connect(store.db_path)) as connection:
        return connection.execute("SELECT * FROM detections").fetchall()


def test_rows_kept_out_of_a_long_result_hold_their_own_values(store):
    rows, expected = fetched(store), standard(store)
    kept = rows[3::97]
    del rows
    gc.collect()
    fetched(store)  # memory that was given back is used again
    assert [tuple(row) for row in kept] == expected[3::97]
    assert [row["plates"] for row in kept] == [row[3] for row in expected[3::97]]


@pytest.mark.parametrize(
    "read",
    [tuple, len, hash, lambda row: row[3], lambda row: row["PLATES"], lambda row: row[2:5], list],
    ids=["tuple", "len", "hash", "position", "name", "slice", "list"],
)
def test_whatever_is_read_first_the_rest_is_the_same(store, read):
    rows = fetched(store)
    for row in rows:
        read(row)
    assert [tuple(row) for row in rows] == standard(store)


def test_equal_rows_are_equal_whether_read_or_not(store):
    rows, others = fetched(store), fetched(store)
    for row in rows[::2]:
        tuple(row)
    assert rows == others
    assert [hash(row) for row in rows] == [hash(row) for row in others]
    assert rows[0] != others[1]


def test_a_text_that_is_not_utf8_fails_at_the_fetch(store):
    with closing(sqlite3.connect(store.db_path)) as connection, connection:
        connection.execute("UPDATE detections SET image_path = CAST(x'ff' AS TEXT) WHERE id = 500")
        with pytest.raises(sqlite3.OperationalError) as expected:
            connection.execute("SELECT * FROM detections").fetchall()
    cursor = store._get_conn().execute("SELECT * FROM detections")
    assert len(cursor.fetchmany(499)) == 499
    with pytest.raises(sqlite3.OperationalError) as caught:
        cursor.fetchone()
    assert str(caught.value) == str(expected.value)


def test_a_row_may_be_read_by_the_override_that_converts_it(store):
    class Reading(ANPRDatabase):
        def _row_to_dict(self, row):
            whole = tuple(row)
            record = ANPRDatabase._row_to_dict(row)
            assert tuple(record) == tuple(row.keys())
            assert (record["id"], record["image_path"]) == (whole[0], row["image_path"])
            return record

    assert Reading(str(store.db_path)).get_history(ROWS) == store.get_history(ROWS)


def test_records_of_a_page_change_by_themselves(store):
    first, second, *rest = store.get_history(5)
    untouched = dict(second)
    first["plates"] = first
    first["another"] = 1
    del first["id"]
    first["mmc_data"]["mmc_make"] = None
    assert second == untouched
    assert list(first)[-1] == "another"
    assert all(list(each) == list(second) for each in rest)
    assert store.get_history(2)[1] == untouched


def test_a_result_of_more_columns_than_share_a_table(store):
    with closing(sqlite3.connect(store.db_path)) as connection, connection:
        for number in range(40):
            connection.execute(f"ALTER TABLE detections ADD COLUMN extra{number} DEFAULT {number}")
    record = store.get_history(1)[0]
    assert [record[f"extra{number}"] for number in range(40)] == list(range(40))
    assert record["plates"] == [f"P {ROWS - 1}"]
