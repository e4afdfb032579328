"""The statements that a search runs: each that there can be, what is bound to it, its index."""

from __future__ import annotations

import itertools

import pytest

from support.recording import RecordingConnection, executed
from support.stored_rows import plan
from support.values import error_of, exactly

BASE = "SELECT * FROM detections"
TAIL = " ORDER BY timestamp DESC LIMIT ? OFFSET ?"

# Filter: a value, the condition, what is bound to it; in the order of the statement.
FILTERS = {
    "query": ("AB1", "plates LIKE ?", ["%AB1%"]),
    "date_from": ("2024-01-01", "timestamp >= ?", ["2024-01-01"]),
    "date_to": ("2024-12-31", "timestamp <= ?", ["2024-12-31"]),
    "min_confidence": (0.8, "num_plates > 0", []),
    "mmc_make": ("VW", "mmc_data LIKE ?", ['%"mmc_make"%VW%']),
    "mmc_model": ("Golf", "mmc_data LIKE ?", ['%"mmc_model"%Golf%']),
    "mmc_color": ("red", "mmc_data LIKE ?", ['%"mmc_color"%red%']),
    "mmc_type": ("sedan", "mmc_data LIKE ?", ['%"mmc_type"%sedan%']),
    "mmc_nation": ("DE", "mmc_data LIKE ?", ['%"mmc_plate_nation"%DE%']),
    "mmc_side": ("rear", "mmc_data LIKE ?", ['%"mmc_vehicle_side"%rear%']),
}
TEXT_FILTERS = [name for name in FILTERS if name == "query" or name.startswith("mmc_")]
DATES = ["date_from", "date_to"]


def combinations():
    for chosen in itertools.product([False, True], repeat=len(FILTERS)):
        yield [name for name, taken in zip(FILTERS, chosen, strict=True) if taken]


def statement_of(names: list[str]) -> str:
    conditions = " AND ".join(FILTERS[name][1] for name in names)
    return BASE + (" WHERE " + conditions if conditions else "") + TAIL


def bound_by(names: list[str]) -> list[object]:
    return [value for name in names for value in FILTERS[name][2]]


def test_every_statement_and_its_parameters(recorded):
    store, log = recorded
    tried = 0
    for names in combinations():
        log.clear()
        assert store.search_plates(**{name: FILTERS[name][0] for name in names}) == []
        statement, parameters = executed(log)
        assert statement == statement_of(names)
        assert exactly(parameters) == exactly([*bound_by(names), 100, 0])
        tried += 1
    assert tried == 1024


def test_every_statement_reads_in_the_order_of_the_index(store, db_path):
    for statement, names in {statement_of(names): names for names in combinations()}.items():
        told = plan(db_path, statement, [*bound_by(names), 100, 0])
        assert len(told) == 1, told  # nothing is sorted
        bounded = any(name in names for name in DATES)
        assert told[0].startswith("SEARCH" if bounded else "SCAN"), statement
        assert "USING INDEX idx_timestamp" in told[0], statement


def test_the_statement_is_one_line(store):
    seen = []

    class Connection(RecordingConnection):
        def execute(self, statement, parameters):
            seen.append(statement)
            return super().execute(statement, parameters)

    opened = store._get_conn
    store._get_conn = lambda: Connection(opened(), [])
    store.search_plates(**{name: value[0] for name, value in FILTERS.items()})
    assert seen == [statement_of(list(FILTERS))]


def test_the_defaults(recorded):
    store, log = recorded
    store.search_plates()
    assert executed(log) == (BASE + TAIL, [100, 0])


def test_an_example_of_several_filters(recorded):
    store, log = recorded
    store.search_plates(query="AB1", date_from="2024-01-01", min_confidence=0.8, mmc_color="red")
    assert executed(log) == (
        "SELECT * FROM detections WHERE plates LIKE ? AND timestamp >= ? AND num_plates > 0"
        " AND mmc_data LIKE ? ORDER BY timestamp DESC LIMIT ? OFFSET ?",
        ["%AB1%", "2024-01-01", '%"mmc_color"%red%', 100, 0],
    )


def test_by_position_and_by_keyword_alike(recorded):
    store, log = recorded
    values = [value for value, _, _ in FILTERS.values()]
    store.search_plates(*values, 7, 3)
    by_position = executed(log)
    log.clear()
    named = dict(zip(FILTERS, values, strict=True))
    store.search_plates(offset=3, limit=7, **dict(reversed(named.items())))
    assert executed(log) == by_position
    assert by_position == (statement_of(list(FILTERS)), [*bound_by(list(FILTERS)), 7, 3])


@pytest.mark.parametrize("name", [*TEXT_FILTERS, *DATES])
@pytest.mark.parametrize("false", [None, "", 0, False, 0.0, [], b""], ids=repr)
def test_a_false_filter_adds_nothing(recorded, name, false):
    store, log = recorded
    store.search_plates(**{name: false})
    assert executed(log) == (BASE + TAIL, [100, 0])


@pytest.mark.parametrize("none", [0, -1, -0.5, 0.0, -0.0, False, float("nan")], ids=repr)
def test_a_least_confidence_that_is_not_above_0_adds_nothing(recorded, none):
    store, log = recorded
    store.search_plates(min_confidence=none)
    assert executed(log) == (BASE + TAIL, [100, 0])


@pytest.mark.parametrize("some", [5e-324, 0.5, 1, True, 2, 10**400, float("inf")], ids=str)
def test_any_least_confidence_above_0_asks_for_plates(recorded, some):
    store, log = recorded
    store.search_plates(min_confidence=some)
    assert executed(log) == (BASE + " WHERE num_plates > 0" + TAIL, [100, 0])


@pytest.mark.parametrize("name", DATES)
@pytest.mark.parametrize("true", ["x", " ", 1, True, 0.5, b"x"], ids=repr)
def test_a_date_is_bound_as_given(recorded, name, true):
    store, log = recorded
    store.search_plates(**{name: true})
    statement, parameters = executed(log)
    assert statement == statement_of([name])
    assert parameters[0] is true


def test_what_is_bound_as_given_is_the_very_object(store):
    seen = []

    class Connection(RecordingConnection):
        def execute(self, statement, parameters):
            seen.extend(parameters)
            raise InterruptedError

    opened = store._get_conn
    store._get_conn = lambda: Connection(opened(), [])
    given = {name: object() for name in (*DATES, "limit", "offset")}
    error_of(store.search_plates, **given)
    assert all(bound is passed for bound, passed in zip(seen, given.values(), strict=True))


class Text(str):
    __slots__ = ()


@pytest.mark.parametrize(
    ("value", "text"),
    [
        ("AB1", "AB1"),
        (" ab ", " ab "),
        ("%_\\", "%_\\"),
        ("'\"?", "'\"?"),
        ("ÄÖ 車", "ÄÖ 車"),
        (Text("AB1"), "AB1"),
        (12, "12"),
        (-3, "-3"),
        (10**30, "1" + "0" * 30),
        (0.5, "0.5"),
        (2.0, "2.0"),
        (1e16, "1e+16"),
        (1e-05, "1e-05"),
        (float("nan"), "nan"),
        (True, "True"),
    ],
    ids=repr,
)
@pytest.mark.parametrize("name", TEXT_FILTERS)
def test_the_text_of_a_filter_stands_in_the_pattern_as_it_is(recorded, name, value, text):
    store, log = recorded
    store.search_plates(**{name: value})
    _, (pattern, *page) = executed(log)
    assert exactly(pattern) == exactly(FILTERS[name][2][0].replace(FILTERS[name][0], text))
    assert page == [100, 0]


class Asked:
    """A filter that is not given, and writes down that it was asked."""

    def __init__(self, name, order):
        self.name = name
        self.order = order

    def __bool__(self):
        self.order.append(self.name)
        return False

    def __gt__(self, other):
        self.order.append((self.name, other))
        return False


def test_the_filters_are_looked_at_in_their_order(store):
    order = []
    opened = store._get_conn
    store._get_conn = lambda: order.append("open") or opened()
    store.search_plates(**{name: Asked(name, order) for name in reversed(FILTERS)})
    looked_at = [name if name != "min_confidence" else (name, 0) for name in FILTERS]
    assert order == [*looked_at, "open", ("min_confidence", 0)]
    assert type(order[3][1]) is int


def test_every_filter_is_looked_at_before_a_connection_is_opened(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

        def __gt__(self, other):
            raise ArithmeticError("undecided")

    store, log = recorded
    for name in FILTERS:
        error = error_of(store.search_plates, **{name: Undecided()})
        assert (type(error), str(error)) == (ArithmeticError, "undecided")
    assert log == []


def test_a_filter_is_asked_for_its_truth_once(store):
    order = []

    class Given(str):
        __slots__ = ()

        def __bool__(self):
            order.append(str.__str__(self))
            return True

    store.search_plates(**{name: Given(name) for name in (*TEXT_FILTERS, *DATES)})
    assert order == [name for name in FILTERS if name != "min_confidence"]
