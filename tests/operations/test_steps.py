"""What each operation asks of its connection: statements, their values, steps, and their plans."""

from __future__ import annotations

import pytest

from support import operations as ops
from support.fakes import FakeConnection, executed, give, keep_connections, steps
from support.operations import BY_NAME, CONNECTED, GOOD_CALLS
from support.stored_rows import plan
from support.values import error_of, exactly

CALLS = {name: call for name, call in GOOD_CALLS.items() if BY_NAME[call.method].connects}


@pytest.mark.parametrize("name", CALLS)
def test_the_statements_of_a_call_and_its_steps(recorded_sample, clock, name):
    store, log = recorded_sample
    call = CALLS[name]
    operation = BY_NAME[call.method]
    log.clear()
    result = call.run(store)
    if call.label == "an empty list":
        assert log == []
    else:
        assert steps(log) == ["_get_conn", "enter", *operation.steps, "exit"]
        assert log[-1] == ("exit", None)
    if call.runs:
        ran = [entry[1:] for entry in log if entry[0] == "execute"]
        assert exactly(ran) == exactly(list(call.runs))
    assert type(result) in operation.gives
    assert clock.readings == operation.reads_clock


NAMED = [operation for operation in CONNECTED if operation.parameters]


@pytest.mark.parametrize("operation", NAMED, ids=str)
def test_by_position_and_by_keyword_alike(recorded_sample, clock, operation):
    store, log = recorded_sample
    log.clear()
    operation.run(store)
    by_position = list(log)
    log.clear()
    named = operation.named_sample()
    getattr(store, operation.name)(**dict(reversed(named.items())))
    assert log == by_position


def test_each_call_opens_one_connection_of_its_own(sampled):
    opened = keep_connections(sampled)
    for operation in CONNECTED:
        operation.run(sampled)
    assert len({id(connection) for connection in opened}) == len(opened) == len(CONNECTED)


BOUND = [(operation, name) for operation in CONNECTED for name in operation.bound]


@pytest.mark.parametrize(
    ("operation", "name"), BOUND, ids=[f"{operation}: {name}" for operation, name in BOUND]
)
def test_a_value_reaches_the_statement_as_the_object_passed(store, operation, name):
    log, value = [], object()
    give(store, FakeConnection(log=log))
    getattr(store, operation.name)(**operation.named_sample(**{name: value}))
    assert executed(log)[1][operation.bound[name]] is value


TOLD = [operation for operation in CONNECTED if operation.steps[-1] in ("lastrowid", "rowcount")]


@pytest.mark.parametrize("operation", TOLD, ids=str)
def test_an_id_or_a_count_is_the_one_that_the_cursor_tells(store, operation):
    told = object()
    if bool not in operation.gives:
        give(store, FakeConnection(**{operation.steps[-1]: told}))
        assert operation.run(store) is told
        return
    for count, deleted in ((0, False), (1, True), (7, True), (-1, False), (0.5, True)):
        give(store, FakeConnection(rowcount=count))
        assert operation.run(store) is deleted


NOTHING = [operation for operation in CONNECTED if operation.nothing is not None]


@pytest.mark.parametrize("operation", NOTHING, ids=str)
def test_nothing_asked_is_nothing_at_once_and_opens_no_connection(recorded, db_path, operation):
    store, log = recorded
    db_path.unlink()
    call = getattr(store, operation.name)
    for false in ([], (), None, 0, "", {}, set(), range(0), False, 0.0, b""):
        first = call(false)
        assert exactly(first) == exactly(operation.nothing)
        assert type(first) is int or call(false) is not first
    assert log == []
    assert not db_path.exists()


class Truth:
    """Writes down that it was asked, and is false or fails."""

    def __init__(self, name, log, error=None):
        self.name, self.log, self.error = name, log, error

    def __bool__(self):
        self.log.append((self.name,))
        if self.error is not None:
            raise self.error
        return False


TESTED = [op for op in CONNECTED if op.truths_before or op.truths_inside]


@pytest.mark.parametrize("operation", TESTED, ids=str)
def test_truths_are_asked_in_their_order_before_or_inside_the_scope(recorded, operation):
    store, log = recorded
    asked = (*operation.truths_before, *operation.truths_inside)
    before, inside = list(operation.truths_before), list(operation.truths_inside)
    getattr(store, operation.name)(
        **operation.named_sample(**{name: Truth(name, log) for name in asked})
    )
    rest = ["_get_conn", "enter", *inside, *operation.steps, "exit"]
    assert steps(log) == before + rest * (operation.nothing is None)
    for name in asked:
        log.clear()
        error = ArithmeticError("undecided")
        arguments = operation.named_sample(**{name: Truth(name, log, error)})
        assert error_of(getattr(store, operation.name), **arguments) is error
        ends = ["_get_conn", "enter", name, "exit"] if name in inside else [name]
        assert steps(log) == ends
        assert log[-1] in (("exit", ArithmeticError), (name,))


BY_ID = "SEARCH {} USING INTEGER PRIMARY KEY (rowid=?)"
PLANS = {
    ops.SELECT_DETECTION: [BY_ID.format("detections")],
    ops.DELETE_DETECTION: [BY_ID.format("detections")],
    ops.UPDATE_PATHS: [BY_ID.format("detections")],
    ops.UPDATE_MMC: [BY_ID.format("detections")],
    ops.delete_detections(3): [BY_ID.format("detections")],
    ops.HOURLY: ["SEARCH detections USING INDEX idx_timestamp (timestamp>?)", ...],
    ops.LATEST_PLATES: ["SCAN detections USING INDEX idx_timestamp"],
    ops.CLEAN_UP: [..., "SCAN detections USING COVERING INDEX idx_timestamp"],
    ops.LIST_WATCHLIST: ["SCAN watchlist", "USE TEMP B-TREE FOR ORDER BY"],
    ops.READ_WATCHLIST: ["SCAN watchlist"],
    ops.DELETE_WATCHLIST: [BY_ID.format("watchlist")],
    ops.LIST_ALERTS: ["SCAN alerts USING INDEX idx_alerts_ts"],
    ops.COUNT_ALERTS: ["SCAN alerts USING COVERING INDEX idx_alerts_ts"],
    ops.COUNT_UNREAD: ["SCAN alerts"],
    ops.MARK_ALERTS: ["SCAN alerts"],
    ops.alerts_of(2): ["SCAN alerts"],
}


@pytest.mark.parametrize("statement", PLANS)
def test_the_indexes_serve_the_statements(store, db_path, statement):
    told = plan(db_path, statement, (1,) * statement.count("?"))
    expected = PLANS[statement]
    if expected[0] is ...:
        assert told[-1] == expected[1]
        assert not any("ORDER BY" in line for line in told)
    elif expected[-1] is ...:
        assert told[0] == expected[0]
    else:
        assert told == expected
