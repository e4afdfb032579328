"""Counts per hour: the buckets, what the engine makes of odd times."""

from __future__ import annotations

import sqlite3

import pytest

from support.stored_rows import put
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def bucketed(store, db_path, clock):
    """The counts of detections stamped so, all of them after the cut-off."""
    clock.set("2024-05-01T00:00:00")

    def count(*stamped):
        for timestamp, num_plates in stamped:
            put(db_path, timestamp, num_plates=num_plates)
        return store.get_hourly_stats(0)

    return count


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


@pytest.mark.parametrize(("numbers", "plates"), [
    ([1, 2], 3), ([None, 2], 2), ([None, None], None), ([0], 0), ([0.5, 1], 1.5), (["many"], 0.0),
    ([-1], -1),
], ids=repr)  # fmt: skip
def test_the_sum_of_plates_is_as_the_engine_sums(bucketed, numbers, plates):
    (counted,) = bucketed(*(("2024-05-01T14:00:00", number) for number in numbers))
    assert exactly(counted["plates"]) == exactly(plates)
    assert exactly(counted["count"]) == exactly(len(numbers))


@pytest.mark.parametrize(("stamp", "hour"), [
    ("2024-05-01T14:03:27.512034", "2024-05-01T14:00:00"),
    ("2024-05-02 14:03:27", "2024-05-02T14:00:00"), ("2024-05-01T14:03", "2024-05-01T14:00:00"),
    ("2024-05-02", "2024-05-02T00:00:00"), ("2024-05-01T14:03:27Z", "2024-05-01T14:00:00"),
    ("2024-05-01T14:03:27+02:00", "2024-05-01T12:00:00"),
    ("9999-12-31T23:59:59", "9999-12-31T23:00:00"), ("whenever", None),
    ("2024-13-01T00:00:00", None), ("2024-05-01T25:00:00", None), ("é", None),
])  # fmt: skip
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


def test_a_sum_that_overflows_fails_it_whole(recorded, db_path):
    store, log = recorded
    put(db_path, "9999-01-01T00:00:00", num_plates=1)
    put(db_path, "9999-01-01T01:00:00", num_plates=2**63 - 1)
    put(db_path, "9999-01-01T01:00:00", num_plates=1)
    error = error_of(store.get_hourly_stats)
    assert type_and_text(error) == (sqlite3.OperationalError, "integer overflow")
    assert log[-1] == ("exit", sqlite3.OperationalError)
