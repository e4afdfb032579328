"""Counts per hour: the statement, the buckets, what the engine makes of odd times."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import RecordingConnection, RecordingCursor, executed, steps
from support.samples import add
from support.stored_rows import plan, put
from support.values import error_of, exactly, type_and_text

STATEMENT = (
    "SELECT strftime('%Y-%m-%dT%H:00:00', timestamp) as hour, COUNT(*) as count,"
    " SUM(num_plates) as plates FROM detections WHERE timestamp >= ? GROUP BY hour ORDER BY hour"
)


@pytest.fixture
def bucketed(store, db_path, clock):
    """The counts of detections stamped so, all of them after the cut-off."""
    clock.set("2024-05-01T00:00:00")

    def count(*stamped):
        for timestamp, num_plates in stamped:
            put(db_path, timestamp, num_plates=num_plates)
        return store.get_hourly_stats(0)

    return count


def hours(records):
    return [record["hour"] for record in records]


def test_the_statement_its_one_parameter_and_its_steps(recorded, clock):
    store, log = recorded
    clock.set("2024-05-02T12:00:00.5")
    store.get_hourly_stats(24)
    statement, parameters = executed(log)
    assert statement == STATEMENT
    assert exactly(list(parameters)) == exactly(["2024-05-01T12:00:00.500000"])
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]


def test_only_rows_from_the_cut_off_on_are_read(store, db_path):
    told = plan(db_path, STATEMENT, ["2024"])
    assert told[0] == "SEARCH detections USING INDEX idx_timestamp (timestamp>?)"


def test_an_empty_table_is_an_empty_list(store):
    assert exactly(store.get_hourly_stats()) == exactly([])


def test_one_entry_an_hour_ascending_none_for_an_hour_without(bucketed):
    counted = bucketed(
        ("2024-05-02T01:30:00", 1),
        ("2024-05-01T14:05:00", 2),
        ("2024-05-01T14:59:59.999999", 3),
        ("2024-05-01T15:00:00", 0),
        ("2024-05-01T18:00:00.000001", 5),
    )
    assert exactly(counted) == exactly(
        [
            {"hour": "2024-05-01T14:00:00", "count": 2, "plates": 5},
            {"hour": "2024-05-01T15:00:00", "count": 1, "plates": 0},
            {"hour": "2024-05-01T18:00:00", "count": 1, "plates": 5},
            {"hour": "2024-05-02T01:00:00", "count": 1, "plates": 1},
        ]
    )
    assert type(counted) is list


@pytest.mark.parametrize(
    ("numbers", "plates"),
    [
        ([1, 2], 3),
        ([None, 2], 2),
        ([None, None], None),
        ([0], 0),
        ([0.5, 1], 1.5),
        (["many"], 0.0),
        ([-1], -1),
    ],
    ids=repr,
)
def test_the_sum_of_plates_is_as_the_engine_sums(bucketed, numbers, plates):
    (counted,) = bucketed(*(("2024-05-01T14:00:00", number) for number in numbers))
    assert exactly(counted["plates"]) == exactly(plates)
    assert exactly(counted["count"]) == exactly(len(numbers))


@pytest.mark.parametrize(
    ("stamp", "hour"),
    [
        ("2024-05-01T14:03:27.512034", "2024-05-01T14:00:00"),
        ("2024-05-02 14:03:27", "2024-05-02T14:00:00"),
        ("2024-05-01T14:03", "2024-05-01T14:00:00"),
        ("2024-05-02", "2024-05-02T00:00:00"),
        ("2024-05-01T14:03:27Z", "2024-05-01T14:00:00"),
        ("2024-05-01T14:03:27+02:00", "2024-05-01T12:00:00"),
        ("9999-12-31T23:59:59", "9999-12-31T23:00:00"),
        ("whenever", None),
        ("2024-13-01T00:00:00", None),
        ("2024-05-01T25:00:00", None),
        ("é", None),
    ],
)
def test_the_hour_of_a_time(bucketed, stamp, hour):
    assert bucketed((stamp, 1)) == [{"hour": hour, "count": 1, "plates": 1}]


def test_times_that_cannot_be_read_are_one_group_and_come_first(bucketed):
    counted = bucketed(
        ("2024-05-01T14:00:00", 1), ("tomorrow", 2), ("whenever", 3), ("2024-05-01T13:00:00", 1)
    )
    assert counted == [
        {"hour": None, "count": 2, "plates": 5},
        {"hour": "2024-05-01T13:00:00", "count": 1, "plates": 1},
        {"hour": "2024-05-01T14:00:00", "count": 1, "plates": 1},
    ]


def test_an_unreadable_time_below_the_cut_off_does_not_count(bucketed):
    assert bucketed(("", 1), ("1.5", 1), (" 2024-05-01T14:00:00", 1)) == []


def test_rows_become_mappings_in_the_order_fetched_inside_the_scope(store):
    log = []
    opened = store._get_conn

    class Row:
        def __init__(self, number):
            self.number = number

        def keys(self):
            log.append(("keys", self.number))
            return ["b", "a"]

        def __getitem__(self, name):
            return name, self.number

    class Cursor(RecordingCursor):
        def fetchall(self):
            return [Row(2), Row(1)]

    class Connection(RecordingConnection):
        def execute(self, statement, parameters):
            return Cursor(super().execute(statement, parameters), log)

    store._get_conn = lambda: Connection(opened(), log)
    counted = store.get_hourly_stats()
    assert exactly(counted) == exactly([{"b": ("b", n), "a": ("a", n)} for n in (2, 1)])
    assert steps(log) == ["enter", "execute", "keys", "keys", "exit"]
    assert [entry[1] for entry in log if entry[0] == "keys"] == [2, 1]


def test_a_sum_that_overflows_fails_it_whole(recorded, db_path):
    store, log = recorded
    put(db_path, "9999-01-01T00:00:00", num_plates=1)
    put(db_path, "9999-01-01T01:00:00", num_plates=2**63 - 1)
    put(db_path, "9999-01-01T01:00:00", num_plates=1)
    error = error_of(store.get_hourly_stats)
    assert type_and_text(error) == (sqlite3.OperationalError, "integer overflow")
    assert log[-1] == ("exit", sqlite3.OperationalError)


def test_a_missing_table_or_column(store, db_path):
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN num_plates")
    assert type_and_text(error_of(store.get_hourly_stats)) == (
        sqlite3.OperationalError,
        "no such column: num_plates",
    )
    database.run_script(db_path, "DROP TABLE detections")
    assert type_and_text(error_of(store.get_hourly_stats)) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )


def test_counting_writes_nothing_and_keeps_nothing(store, db_path, clock):
    add(store)
    before = db_path.read_bytes()
    first = store.get_hourly_stats()
    assert hours(first) == ["2024-05-01T14:00:00"]
    first[0]["hour"] = "changed"
    assert hours(store.get_hourly_stats()) == ["2024-05-01T14:00:00"]
    assert db_path.read_bytes() == before
    database.run_script(db_path, "DELETE FROM detections")
    assert store.get_hourly_stats() == []
