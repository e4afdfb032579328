"""A call that has returned, or failed, has closed its connection: no collector is needed."""

from __future__ import annotations

import gc
import sqlite3

import pytest

from support import database
from support.fakes import Undecided
from support.operations import BAD_CALLS, BY_NAME, GOOD_CALLS
from support.samples import add
from support.values import error_of


@pytest.fixture
def store(native, db_path, sample):
    """Python's own connections wait for the collector, so this is about the native ones."""
    db_path.write_bytes(sample)
    gc.disable()
    yield native.ANPRDatabase(db_path)
    gc.enable()


CALLS = {name: call.run for name, call in GOOD_CALLS.items() if call.method != "_get_conn"}
CALLS |= {
    "no history": lambda store: store.get_history(0),
    "no alerts": lambda store: store.get_alerts(0),
    "removing none": lambda store: store.remove_watchlist(99),
    "grouping none": lambda store: store.get_alerts_for_detections([999]),
}
FAILURES = {name: call.run for name, call in BAD_CALLS.items()}
FAILURES |= {
    "no JSON": lambda store: add(store, bboxes=[{1}]),
    "no bound": lambda store: store.search_plates(date_from=[1]),
    "no encoding": lambda store: store.add_watchlist("\ud800"),
    "undecided": lambda store: store.check_watchlist(Undecided()),
    "no sequence": lambda store: store.get_alerts_for_detections({5}),
    "too many": lambda store: store.get_alerts_for_detections(range(400_000)),
}


@pytest.mark.parametrize("journal", ["DELETE", "WAL"])
@pytest.mark.parametrize("name", CALLS)
def test_a_call_leaves_no_descriptor(store, db_path, name, journal):
    database.run_script(db_path, f"PRAGMA journal_mode = {journal}")
    result = CALLS[name](store)
    assert database.open_descriptors(db_path) == []
    assert result is not store


@pytest.mark.parametrize("name", FAILURES)
def test_a_failing_call_leaves_none_while_its_error_is_still_held(store, db_path, name):
    error = error_of(FAILURES[name], store)
    assert database.open_descriptors(db_path) == []
    assert error.__traceback__ is not None


ODD_ROWS = {
    "get_history": UnicodeDecodeError,
    "get_detection": UnicodeDecodeError,
    "search_plates": UnicodeDecodeError,
    "get_top_plates": UnicodeDecodeError,
    "check_watchlist": TypeError,
}


@pytest.mark.parametrize("name", ODD_ROWS)
def test_a_row_that_cannot_become_a_record_leaves_none(store, db_path, name):
    database.run_script(
        db_path,
        """
        UPDATE detections SET bboxes = x'ff', plates = CASE id WHEN 4 THEN x'ff' ELSE plates END;
        UPDATE watchlist SET plate = x'ff';
        """,
    )
    assert type(error_of(BY_NAME[name].run, store)) is ODD_ROWS[name]
    assert database.open_descriptors(db_path) == []


@pytest.mark.parametrize("table", ["detections", "watchlist", "alerts"])
def test_a_missing_table_leaves_none(store, db_path, table):
    database.run_script(db_path, f"DROP TABLE {table}")
    errors = []
    for name, call in CALLS.items():
        if not name.startswith(("__init__", "_init_schema")):  # which would make it anew
            try:
                call(store)
            except sqlite3.OperationalError as error:  # those of the other tables succeed
                errors.append(error)
            assert database.open_descriptors(db_path) == []
    assert {str(error) for error in errors} == {f"no such table: {table}"}


def test_results_that_the_caller_keeps_keep_no_file_open(store, db_path):
    kept = [call(store) for call in CALLS.values()]
    assert database.open_descriptors(db_path) == []
    assert len(kept) == len(CALLS)
