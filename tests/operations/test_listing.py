"""Operations that list rows: which come first, that all come, as they are stored, and whose."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import pytest

from support import database
from support.operations import READING
from support.samples import DETECTION_COLUMNS, add
from support.values import exactly


@dataclass(frozen=True)
class Listing:
    table: str
    columns: list[str]
    call: Any
    add: Any
    time: str = "timestamp"

    def put(self, store: Any, *times: str) -> None:
        """Rows with these times, as another program may put them in; the ids count from 1."""
        more = "" if self.table == "detections" else ", plate"
        into = f"INSERT INTO {self.table} ({self.time}{more}) VALUES (?{more and ", 'P'"})"
        for time in times:
            database.query(store.db_path, into, (time,))


ENTRY_COLUMNS = ["id", "plate", "label", "note", "created_at"]
ALERT_COLUMNS = ["id", "timestamp", "plate", "watchlist_label", "note", "detection_id"]
ALERT_COLUMNS += ["confidence", "is_read"]
DETECTIONS = ("detections", DETECTION_COLUMNS)

LISTINGS = {
    "get_history": Listing(*DETECTIONS, lambda store: store.get_history(-1), add),
    "search_plates": Listing(*DETECTIONS, lambda store: store.search_plates(limit=-1), add),
    "get_watchlist": Listing(
        *("watchlist", ENTRY_COLUMNS, lambda store: store.get_watchlist()),
        *(lambda store: store.add_watchlist("AB"), "created_at"),
    ),
    "get_alerts": Listing(
        *("alerts", ALERT_COLUMNS, lambda store: store.get_alerts(-1)),
        lambda store: store.add_alert("AB", "l", 1, 0.5),
    ),
}


@pytest.fixture(params=LISTINGS)
def listing(request):
    return LISTINGS[request.param]


def ids(records):
    return [record["id"] for record in records]


def test_an_empty_table_is_an_empty_list(store, listing):
    assert exactly(listing.call(store)) == exactly([])


def test_newest_is_the_greatest_text_and_not_the_greatest_id(store, clock, listing):
    for moment in (
        "2024-05-01T08:00:00.000001",
        "2024-05-01T08:00:00",
        "2024-05-02T00:00:00",
        "2024-04-30T23:59:59.999999",
        "2024-05-01T10:00:00",
    ):
        clock.set(moment)
        listing.add(store)
    listed = listing.call(store)
    assert type(listed) is list
    assert ids(listed) == [3, 5, 1, 2, 4]
    assert all(list(record) == listing.columns for record in listed)


def test_times_of_other_programs_are_compared_byte_by_byte(store, listing):
    listing.put(store, "a", "B", "é", "10", "z", "9", "\U0001f697", "", "\uffee")
    listed = [record[listing.time] for record in listing.call(store)]
    assert listed == ["\U0001f697", "\uffee", "é", "z", "a", "B", "9", "10", ""]


def test_rows_of_one_time_all_come(store, listing):
    listing.put(store, *["2024"] * 4)
    assert sorted(ids(listing.call(store))) == [1, 2, 3, 4]


def test_thousands_come_whole_and_in_order(store, db_path, listing):
    listing.put(store, "t0")
    more = "" if listing.table == "detections" else "plate, "
    database.run_script(
        db_path,
        f"""
        WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO {listing.table} ({more}{listing.time})
            SELECT {more and "i, "}printf('t%05d', i) FROM n;
        ALTER TABLE {listing.table} ADD COLUMN text;
        UPDATE {listing.table} SET text = 'T' || id;
        """,
    )
    listed = listing.call(store)
    assert ids(listed) == list(range(5000, 0, -1))
    assert all(record["text"] == f"T{record['id']}" for record in listed)


def test_records_follow_the_files_own_columns(store, db_path, listing):
    database.run_script(
        db_path, f"ALTER TABLE {listing.table} ADD COLUMN camera TEXT DEFAULT 'north'"
    )
    listing.add(store)
    (record,) = listing.call(store)
    assert list(record) == [*listing.columns, "camera"]
    assert record["camera"] == "north"


# fmt: off
VALUES = {
    "watchlist": [
        ("label", None), ("note", None), ("label", '["not decoded"]'), ("note", "seen\0twice"),
        ("label", b"\xff\x00"), ("plate", b"[1]"), ("plate", ""), ("created_at", "never"),
    ],
    "alerts": [
        ("watchlist_label", None), ("note", None), ("note", '{"not": "decoded"}'),
        ("detection_id", None), ("detection_id", "x"), ("confidence", None),
        ("confidence", "high"), ("is_read", None), ("is_read", 2), ("plate", b"\xff"),
        ("timestamp", ""),
    ],
    "detections": [
        ("success", 7), ("num_plates", "many"), ("timestamp", "whenever"), ("image_path", b"\xff"),
        ("confidences", ""), ("bboxes", "broken"), ("processing_time", "soon"),
    ],
}
# fmt: on


def test_values_come_as_they_are_stored(store, db_path, listing):
    for column, value in VALUES[listing.table]:
        database.run_script(db_path, f"DELETE FROM {listing.table}")
        listing.add(store)
        database.query(db_path, f"UPDATE {listing.table} SET {column} = ?", (value,))
        (record,) = listing.call(store)
        assert list(record) == listing.columns
        assert exactly(record[column]) == exactly(value), column


@pytest.mark.parametrize("operation", READING, ids=str)
def test_reading_writes_nothing_and_makes_its_result_anew(sampled, clock, db_path, operation):
    before = db_path.read_bytes()
    first, second = operation.run(sampled), operation.run(sampled)
    assert second
    expected = exactly(second)
    assert exactly(first) == expected
    change(first)
    assert exactly(second) == exactly(operation.run(sampled)) == expected
    assert db_path.read_bytes() == before


@pytest.mark.parametrize("operation", READING, ids=str)
def test_every_call_reads_the_file_anew(sampled, clock, db_path, operation):
    before = exactly(operation.run(sampled))
    for table in ("detections", "watchlist", "alerts"):
        database.run_script(db_path, f"DELETE FROM {table}")
    after = exactly(operation.run(sampled))
    assert after != before
    assert after == exactly(operation.run(type(sampled)(db_path)))


def change(value):
    """Empties the list or mapping, and all that it holds."""
    if isinstance(value, (list, dict)):
        for item in value.values() if isinstance(value, dict) else value:
            change(item)
        value.clear()
