"""The statements that reading runs: text, parameters, steps, and the index that serves them."""

from __future__ import annotations

import pytest

from support import database
from support.recording import RecordingConnection, executed, recording_class, steps
from support.samples import add
from support.values import error_of

BASE = "SELECT * FROM detections"
TAIL = " ORDER BY timestamp DESC LIMIT ? OFFSET ?"

FORMS = [
    (None, None, BASE + TAIL, []),
    ("a", None, BASE + " WHERE timestamp >= ?" + TAIL, ["a"]),
    (None, "b", BASE + " WHERE timestamp <= ?" + TAIL, ["b"]),
    ("a", "b", BASE + " WHERE timestamp >= ? AND timestamp <= ?" + TAIL, ["a", "b"]),
]


@pytest.mark.parametrize(("date_from", "date_to", "statement", "bounds"), FORMS)
def test_the_four_statements(recorded, date_from, date_to, statement, bounds):
    store, log = recorded
    store.get_history(7, 3, date_from, date_to)
    run, parameters = executed(log)
    assert run == statement
    assert parameters == [*bounds, 7, 3]
    assert type(parameters) is list


def test_the_defaults(recorded):
    store, log = recorded
    store.get_history()
    assert executed(log) == (BASE + TAIL, [100, 0])


@pytest.mark.parametrize("false", [None, "", 0, False, [], 0.0, b""], ids=repr)
def test_a_false_bound_adds_nothing(recorded, false):
    store, log = recorded
    store.get_history(date_from=false, date_to=false)
    assert executed(log) == (BASE + TAIL, [100, 0])


@pytest.mark.parametrize("true", ["x", " ", 1, True, 0.5, b"x"], ids=repr)
def test_a_true_bound_is_bound_as_given(recorded, true):
    store, log = recorded
    store.get_history(date_from=true, date_to="z")
    run, parameters = executed(log)
    assert run == FORMS[3][2]
    assert parameters[0] is true


def test_limit_and_offset_are_bound_as_given(store):
    seen = []

    class Connection(RecordingConnection):
        def execute(self, statement, parameters):
            seen.extend(parameters)
            raise InterruptedError

    opened = store._get_conn
    store._get_conn = lambda: Connection(opened(), [])
    limit, offset = object(), object()
    error_of(store.get_history, limit, offset)
    assert seen[0] is limit
    assert seen[1] is offset


def test_bounds_are_tested_before_a_connection_is_opened(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

    store, log = recorded
    for name in ("date_from", "date_to"):
        assert str(error_of(store.get_history, **{name: Undecided()})) == "undecided"
    assert log == []


def test_the_lower_bound_is_tested_first(recorded):
    asked = []

    class Bound:
        def __init__(self, name):
            self.name = name

        def __bool__(self):
            asked.append(self.name)
            return False

    store, _ = recorded
    store.get_history(date_to=Bound("to"), date_from=Bound("from"))
    assert asked == ["from", "to"]


def test_a_limit_is_looked_at_by_the_engine_alone(recorded):
    store, log = recorded
    error_of(store.get_history, None)
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]


def test_rows_are_converted_inside_the_scope_each_in_its_turn(store_module, db_path):
    log = []

    class Watching(recording_class(store_module.ANPRDatabase, log)):
        @staticmethod
        def _row_to_dict(row):
            log.append(("convert", row["id"]))
            return row["id"]

    store = Watching(db_path)
    for _ in range(3):
        add(store)
    log.clear()
    assert store.get_history() == [3, 2, 1]
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", *["convert"] * 3, "exit"]
    assert [entry[1] for entry in log if entry[0] == "convert"] == [3, 2, 1]
    log.clear()
    assert store.get_detection(2) == 2
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchone", "convert", "exit"]
    log.clear()
    assert store.get_detection(99) is None
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchone", "exit"]


def test_the_statement_of_a_lookup(recorded):
    store, log = recorded
    store.get_detection("5")
    assert executed(log) == ("SELECT * FROM detections WHERE id = ?", ("5",))


def test_a_conversion_that_fails_ends_the_scope_with_its_error(store_module, db_path):
    log = []

    class Failing(recording_class(store_module.ANPRDatabase, log)):
        @staticmethod
        def _row_to_dict(row):
            raise LookupError("no record")

    store = Failing(db_path)
    add(store)
    for call in (store.get_history, lambda: store.get_detection(1)):
        assert str(error_of(call)) == "no record"
        assert log[-1] == ("exit", LookupError)


@pytest.mark.parametrize(("date_from", "date_to", "statement", "bounds"), FORMS)
def test_a_page_is_read_in_index_order(store, db_path, date_from, date_to, statement, bounds):
    plan = database.query(db_path, "EXPLAIN QUERY PLAN " + statement, [*bounds, 100, 0])
    told = [row[3] for row in plan]
    assert len(told) == 1, told  # nothing is sorted
    assert "USING INDEX idx_timestamp" in told[0]
    assert told[0].startswith("SEARCH" if bounds else "SCAN")


def test_a_lookup_goes_by_the_row_id(store, db_path):
    plan = database.query(db_path, "EXPLAIN QUERY PLAN SELECT * FROM detections WHERE id = ?", (1,))
    assert [row[3] for row in plan] == ["SEARCH detections USING INTEGER PRIMARY KEY (rowid=?)"]
