"""A call that has returned, or failed, has closed its connection: no collector is needed."""

from __future__ import annotations

import gc

import pytest

from support import database
from support.values import error_of


@pytest.fixture
def store(native, db_path):
    """Python's own connections wait for the collector, so this is about the native ones."""
    gc.collect()
    gc.disable()
    made = native.ANPRDatabase(db_path)
    made.add_watchlist("AB", "l")
    made.add_alert("AB", "l", 1, 0.5)
    yield made
    gc.enable()


CALLS = {
    "listing": lambda store: store.get_watchlist(),
    "adding": lambda store: store.add_watchlist("CD"),
    "removing": lambda store: store.remove_watchlist(1),
    "removing none": lambda store: store.remove_watchlist(99),
    "matching": lambda store: store.check_watchlist(["AB", "XY"]),
    "matching nothing": lambda store: store.check_watchlist([]),
    "recording": lambda store: store.add_alert("AB", "l", 1, 0.5),
    "alerts": lambda store: store.get_alerts(),
    "no alerts": lambda store: store.get_alerts(0),
    "counting": lambda store: store.get_alert_count(),
    "counting all": lambda store: store.get_alert_count(False),
    "marking": lambda store: store.mark_alerts_read(),
    "grouping": lambda store: store.get_alerts_for_detections([1, 2]),
    "grouping none": lambda store: store.get_alerts_for_detections([99]),
}


class Undecided:
    def __bool__(self):
        raise ArithmeticError("undecided")


FAILURES = {
    "adding: no text": lambda store: store.add_watchlist(5),
    "adding: no label": lambda store: store.add_watchlist("AB", None),
    "adding: no encoding": lambda store: store.add_watchlist("\ud800"),
    "removing: no parameter": lambda store: store.remove_watchlist([]),
    "matching: no text": lambda store: store.check_watchlist(["AB", None]),
    "matching: no plates": lambda store: store.check_watchlist(5),
    "matching: undecided": lambda store: store.check_watchlist(Undecided()),
    "recording: no plate": lambda store: store.add_alert(None, "l", 1, 0.5),
    "recording: no parameter": lambda store: store.add_alert("AB", "l", 1, []),
    "recording: too large": lambda store: store.add_alert("AB", "l", 2**63, 0.5),
    "alerts: no number": lambda store: store.get_alerts("many"),
    "counting: undecided": lambda store: store.get_alert_count(Undecided()),
    "grouping: no length": lambda store: store.get_alerts_for_detections(5),
    "grouping: no sequence": lambda store: store.get_alerts_for_detections({5}),
    "grouping: no parameter": lambda store: store.get_alerts_for_detections([[]]),
    "grouping: too many": lambda store: store.get_alerts_for_detections(range(400_000)),
}


@pytest.mark.parametrize("journal", ["DELETE", "WAL"])
@pytest.mark.parametrize("call", CALLS.values(), ids=CALLS)
def test_a_call_leaves_no_descriptor(store, db_path, call, journal):
    database.run_script(db_path, f"PRAGMA journal_mode = {journal}")
    result = call(store)
    assert database.open_descriptors(db_path) == []
    assert result is not store


@pytest.mark.parametrize("call", FAILURES.values(), ids=FAILURES)
def test_a_failing_call_leaves_none_while_its_error_is_still_held(store, db_path, call):
    error = error_of(call, store)
    assert database.open_descriptors(db_path) == []
    assert error.__traceback__ is not None


def test_an_entry_that_fails_leaves_none(store, db_path):
    database.run_script(db_path, "UPDATE watchlist SET plate = x'ff'")
    error = error_of(store.check_watchlist, ["AB"])
    assert type(error) is TypeError
    assert database.open_descriptors(db_path) == []


@pytest.mark.parametrize("table", ["watchlist", "alerts"])
def test_a_missing_table_leaves_none(store, db_path, table):
    database.run_script(db_path, f"DROP TABLE {table}")
    errors = []
    for call in CALLS.values():
        try:
            call(store)
        except Exception as error:  # those of the other table succeed
            errors.append(error)
        assert database.open_descriptors(db_path) == []
    assert {str(error) for error in errors} == {f"no such table: {table}"}


def test_rows_and_results_that_the_caller_keeps_keep_no_file_open(store, db_path):
    kept = [call(store) for call in CALLS.values()]
    assert database.open_descriptors(db_path) == []
    assert len(kept) == len(CALLS)
