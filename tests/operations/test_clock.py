"""The operations that stamp a row: the local time, read once, before the statement runs."""

from __future__ import annotations

from datetime import datetime
from types import SimpleNamespace

import pytest

from support import database
from support.fakes import steps
from support.samples import add
from support.values import error_of

# The call, its table, the column of the time.
STAMPED = {
    "add_detection": (add, "detections", "timestamp"),
    "add_watchlist": (lambda store: store.add_watchlist("AB"), "watchlist", "created_at"),
    "add_alert": (lambda store: store.add_alert("AB", "l", 1, 0.5), "alerts", "timestamp"),
}


@pytest.fixture(params=STAMPED)
def stamped(request):
    return STAMPED[request.param]


def times(store, table, column):
    rows = database.query(store.db_path, f"SELECT id, {column} FROM {table} ORDER BY id")
    assert [row[0] for row in rows] == list(range(1, len(rows) + 1))
    return [row[1] for row in rows]


@pytest.mark.parametrize(
    "text",
    [
        "2024-05-01T14:03:27.512034",
        "2024-05-01T14:03:27.000001",
        "2024-05-01T14:03:27",  # no empty fraction
        "2024-01-02T00:00:00",
        "2024-12-31T23:59:59.990000",
        "0999-12-31T23:59:59.999999",
    ],
)
def test_the_time_is_local_iso_text_without_a_zone(store, clock, stamped, text):
    call, *where = stamped
    clock.set(text)
    call(store)
    assert times(store, *where) == [text]
    assert clock.readings == 1


def test_the_time_is_the_local_now(store, stamped):
    call, *where = stamped
    before = datetime.now().isoformat(timespec="microseconds")
    call(store)
    after = datetime.now().isoformat(timespec="microseconds")
    assert before <= times(store, *where)[0] <= after


def test_two_rows_of_one_moment_differ_in_their_id(store, clock, stamped):
    call, *where = stamped
    assert (call(store), call(store)) == (1, 2)
    assert times(store, *where) == ["2024-05-01T14:03:27.512034"] * 2


def test_the_clock_is_asked_inside_the_scope_and_before_the_statement(
    recorded, store_module, monkeypatch, stamped
):
    store, log = recorded
    call, *where = stamped

    def now():
        log.append(("now",))
        return SimpleNamespace(isoformat=lambda: log.append(("isoformat",)) or "then")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    call(store)
    assert steps(log)[:5] == ["_get_conn", "enter", "now", "isoformat", "execute"]
    assert times(store, *where) == ["then"]


def test_a_failing_clock_writes_nothing(recorded, store_module, monkeypatch, stamped):
    store, log = recorded
    call, *where = stamped

    def now():
        raise OSError("no clock")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    assert str(error_of(call, store)) == "no clock"
    assert steps(log) == ["_get_conn", "enter", "exit"]
    assert log[-1] == ("exit", OSError)
    assert times(store, *where) == []


def test_a_detection_is_stamped_before_its_values_are_looked_at(
    store, store_module, monkeypatch, clock
):
    error_of(add, store, plates=None)
    assert clock.readings == 1

    def now():
        raise OSError("no clock")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    assert str(error_of(add, store, plates=None)) == "no clock"


def test_an_entry_is_stamped_after_its_texts_were_stripped(store, clock):
    for arguments in ((None,), ("AB", None)):
        error_of(store.add_watchlist, *arguments)
    assert clock.readings == 0
