"""From when on hours are counted: the local clock, less the hours asked for."""

from __future__ import annotations

from datetime import datetime, timedelta
from decimal import Decimal
from fractions import Fraction
from types import SimpleNamespace
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.clock import Clock
from support.fakes import executed
from support.json_cases import outcome
from support.samples import add
from support.values import error_of, type_and_text

NOW = datetime(2024, 5, 1, 14, 3, 27, 512034)


class Whole(int):
    pass


# fmt: off
HOURS: list[Any] = [
    24, 1, 0, -1, 0.5, 1.5, -0.25, 1e-9, 1e-12, 512034 / 3.6e9, True, False, Whole(2), 24 * 366,
    10**7, -(6.9e7),
    # No span of time, or no time.
    None, "1", "", b"1", [], {}, 1j, Decimal(1), Fraction(1), timedelta(hours=1), float("nan"),
    float("inf"), 1e30, 10**12, 24 * 10**9, 10**8, -(10**8),
]
# fmt: on
numbers = st.integers(-(10**8), 10**8) | st.floats(-1e8, 1e8) | st.floats(-1, 1)


def assert_cut_off(recorded, clock, hours):
    store, log = recorded
    log.clear()
    clock.moment, clock.readings = NOW, 0

    def bound(hours):
        store.get_hourly_stats(hours)
        return executed(log)[1][0]

    seen = outcome(bound, hours)
    assert seen == outcome(lambda hours: (NOW - timedelta(hours=hours)).isoformat(), hours)
    assert bool(log) == (seen[0] == "value")  # what makes no time fails before a connection
    assert clock.readings == 1
    return seen[1:]


@pytest.mark.parametrize("hours", HOURS, ids=repr)
def test_the_cut_off_is_the_clock_less_the_hours_in_iso_form(recorded, clock, hours):
    assert_cut_off(recorded, clock, hours)


@given(hours=numbers | st.floats() | st.integers())
def test_any_number_of_hours_is_as_python_counts_time(recorded, clock, hours):
    assert_cut_off(recorded, clock, hours)


def test_some_cut_offs_and_errors_in_full(recorded, clock):
    for hours, text in (
        (24, "2024-04-30T14:03:27.512034"),
        (-0.25, "2024-05-01T14:18:27.512034"),
        (1e-9, "2024-05-01T14:03:27.512030"),
        (512034 / 3.6e9, "2024-05-01T14:03:27"),
        (10**7, "0883-07-15T22:03:27.512034"),
    ):
        assert assert_cut_off(recorded, clock, hours) == ((str, repr(text)),)
    for hours, text in (
        (None, "unsupported type for timedelta hours component: NoneType"),
        (timedelta(hours=1), "unsupported type for timedelta hours component: datetime.timedelta"),
        (float("nan"), "cannot convert float NaN to integer"),
        (float("inf"), "cannot convert float infinity to integer"),
        (10**12, "Python int too large to convert to C int"),
        (24 * 10**9, "days=1000000000; must have magnitude <= 999999999"),
        (10**8, "date value out of range"),
    ):
        assert assert_cut_off(recorded, clock, hours)[-1] == text


def test_the_clock_is_the_local_one(recorded):
    store, log = recorded
    before = datetime.now()
    store.get_hourly_stats(2)
    after = datetime.now()
    (bound,) = executed(log)[1]
    span = timedelta(hours=2)
    assert before <= datetime.fromisoformat(bound) + span <= after
    assert bound == datetime.fromisoformat(bound).isoformat()


def test_detections_at_and_after_the_cut_off_count(store, clock):
    for moment in ("13:29:59.999999", "13:30:00", "13:59:59", "14:30:00"):
        clock.set("2024-05-01T" + moment)
        add(store, plates=["A"])
    assert store.get_hourly_stats(1) == [
        # The first hour in part.
        {"hour": "2024-05-01T13:00:00", "count": 2, "plates": 2},
        {"hour": "2024-05-01T14:00:00", "count": 1, "plates": 1},
    ]
    assert store.get_hourly_stats(0) == [{"hour": "2024-05-01T14:00:00", "count": 1, "plates": 1}]
    assert store.get_hourly_stats(-1) == []
    assert sum(hour["count"] for hour in store.get_hourly_stats(2)) == 4


def test_the_cut_off_is_compared_as_text(store, clock):
    # A whole second has no fraction, and so comes before any text that goes on.
    clock.set("2024-05-01T14:00:00.500000")
    add(store)
    clock.set("2024-05-01T15:00:00")
    assert len(store.get_hourly_stats(1)) == 1
    clock.set("2024-05-01T15:00:00.500001")
    assert store.get_hourly_stats(1) == []


class Traced:
    """Takes the places of `datetime` and `timedelta`, and writes down how they are used."""

    def __init__(self, fails=None):
        self.log = []
        self.fails = fails

    def step(self, name, *more):
        self.log.append((name, *more))
        if name == self.fails:
            raise LookupError("out of " + name)

    def now(self, *arguments, **named):
        self.step("now", arguments, named)
        return self

    def timedelta(self, *arguments, **named):
        self.step("timedelta", arguments, named)
        return "span"

    def __sub__(self, span):
        self.step("less", span)
        return SimpleNamespace(isoformat=self.isoformat)

    def isoformat(self, *arguments):
        self.step("isoformat", arguments)
        return "2024"


@pytest.mark.parametrize("fails", [None, "now", "timedelta", "less", "isoformat"])
def test_replaced_names_make_the_cut_off_before_a_connection_is_opened(
    recorded, store_module, monkeypatch, fails
):
    store, log = recorded
    traced, hours = Traced(fails), object()
    monkeypatch.setattr(store_module, "datetime", traced)
    monkeypatch.setattr(store_module, "timedelta", traced.timedelta)
    used = [
        ("now", (), {}),
        ("timedelta", (), {"hours": hours}),
        ("less", "span"),
        ("isoformat", ()),
    ]
    if fails is None:
        store.get_hourly_stats(hours)
        assert traced.log == used
        assert list(executed(log)[1]) == ["2024"]
    else:
        error = error_of(store.get_hourly_stats, hours)
        assert type_and_text(error) == (LookupError, "out of " + fails)
        assert traced.log == used[: len(traced.log)]
        assert log == []


@pytest.mark.parametrize("name", ["datetime", "timedelta"])
def test_a_name_that_is_gone(recorded, store_module, monkeypatch, name):
    store, log = recorded
    monkeypatch.delattr(store_module, name)
    error = error_of(store.get_hourly_stats)
    assert type_and_text(error) == (NameError, f"name '{name}' is not defined")
    assert log == []


def test_a_subclass_of_the_clock_makes_the_text_itself(recorded, store_module, monkeypatch):
    class Shouting(datetime):
        def isoformat(self, *arguments):
            return super().isoformat(*arguments).replace("T", " AT ")

    store, log = recorded
    replaced = Clock(Shouting(2024, 5, 1, 14))
    monkeypatch.setattr(store_module, "datetime", replaced.type)
    store.get_hourly_stats(1)
    assert list(executed(log)[1]) == ["2024-05-01 AT 13:00:00"]
