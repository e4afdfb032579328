"""The statements that a search runs: each that there can be, what is bound to it, its index."""

from __future__ import annotations

import itertools

import pytest

from support.fakes import FakeConnection, Text, executed, give
from support.operations import PAGE, SELECT_DETECTIONS
from support.stored_rows import plan
from support.values import error_of, exactly

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


def statement_of(*names: str) -> str:
    conditions = " AND ".join(FILTERS[name][1] for name in names)
    return SELECT_DETECTIONS + (" WHERE " + conditions if conditions else "") + PAGE


def bound_by(*names: str) -> list[object]:
    return [value for name in names for value in FILTERS[name][2]]


def test_every_statement_its_parameters_and_its_index(recorded, db_path):
    store, log = recorded
    planned = set()
    for number in range(len(FILTERS) + 1):
        for names in itertools.combinations(FILTERS, number):
            log.clear()
            assert store.search_plates(**{name: FILTERS[name][0] for name in names}) == []
            statement, parameters = executed(log)
            assert statement == statement_of(*names)
            assert exactly(parameters) == exactly([*bound_by(*names), 100, 0])
            if statement in planned:
                continue
            planned.add(statement)
            told = plan(db_path, statement, parameters)
            assert len(told) == 1, told  # nothing is sorted
            assert told[0].startswith("SEARCH" if {*names} & {*DATES} else "SCAN"), statement
            assert "USING INDEX idx_timestamp" in told[0], statement


def test_the_statement_is_one_line(store):
    seen = []

    class Connection(FakeConnection):
        def execute(self, statement, *parameters):
            seen.append(statement)
            return self

    give(store, Connection())
    store.search_plates(**{name: value[0] for name, value in FILTERS.items()})
    assert seen == [statement_of(*FILTERS)]


def test_an_example_of_several_filters(recorded):
    store, log = recorded
    store.search_plates(query="AB1", date_from="2024-01-01", min_confidence=0.8, mmc_color="red")
    assert executed(log) == (
        "SELECT * FROM detections WHERE plates LIKE ? AND timestamp >= ? AND num_plates > 0"
        " AND mmc_data LIKE ? ORDER BY timestamp DESC LIMIT ? OFFSET ?",
        ["%AB1%", "2024-01-01", '%"mmc_color"%red%', 100, 0],
    )


NONE_ABOVE_0 = [0, -1, -0.5, 0.0, -0.0, False, float("nan")]
FALSE: list[tuple[str, object]] = [
    *itertools.product(TEXT_FILTERS, [None, "", 0, False, 0.0, [], b""])
]
FALSE += [("min_confidence", none) for none in NONE_ABOVE_0]


@pytest.mark.parametrize(("name", "false"), FALSE)
def test_a_filter_that_is_not_given_adds_nothing(recorded, name, false):
    store, log = recorded
    store.search_plates(**{name: false})
    assert executed(log) == (SELECT_DETECTIONS + PAGE, [100, 0])


@pytest.mark.parametrize("some", [5e-324, 0.5, 1, True, 2, 10**400, float("inf")], ids=str)
def test_any_least_confidence_above_0_asks_for_plates(recorded, some):
    store, log = recorded
    store.search_plates(min_confidence=some)
    assert executed(log) == (statement_of("min_confidence"), [100, 0])


@pytest.mark.parametrize(("value", "text"), [
    ("AB1", "AB1"), (" ab ", " ab "), ("%_\\", "%_\\"), ("'\"?", "'\"?"), ("ÄÖ 車", "ÄÖ 車"),
    (Text("AB1"), "AB1"), (12, "12"), (-3, "-3"), (10**30, "1" + "0" * 30), (0.5, "0.5"),
    (2.0, "2.0"), (1e16, "1e+16"), (1e-05, "1e-05"), (float("nan"), "nan"), (True, "True"),
], ids=repr)  # fmt: skip
@pytest.mark.parametrize("name", TEXT_FILTERS)
def test_the_text_of_a_filter_stands_in_the_pattern_as_it_is(recorded, name, value, text):
    store, log = recorded
    store.search_plates(**{name: value})
    _, (pattern, *page) = executed(log)
    assert exactly(pattern) == exactly(FILTERS[name][2][0].replace(FILTERS[name][0], text))
    assert page == [100, 0]


class Asked:
    """A filter that is not given, and writes down that it was asked."""

    def __init__(self, name, order, error=None):
        self.name, self.order, self.error = name, order, error

    def asked(self, *how):
        self.order.append((self.name, *how))
        if self.error is not None:
            raise self.error
        return False

    __bool__ = __gt__ = asked


def test_the_filters_are_looked_at_in_their_order_before_a_connection_is_opened(recorded):
    store, log = recorded
    store.search_plates(**{name: Asked(name, log) for name in reversed(FILTERS)})
    looked_at = [(name,) if name != "min_confidence" else (name, 0) for name in FILTERS]
    assert log[: len(FILTERS) + 1] == [*looked_at, ("_get_conn",)]
    assert log[-1] == ("min_confidence", 0)
    assert type(log[3][1]) is int
    for name in FILTERS:
        log.clear()
        error = ArithmeticError("undecided")
        assert error_of(store.search_plates, **{name: Asked(name, log, error)}) is error
        assert [entry[0] for entry in log] == [name]


def test_a_filter_is_asked_for_its_truth_once(store):
    order = []

    class Given(str):
        __slots__ = ()

        def __bool__(self):
            order.append(str.__str__(self))
            return True

    store.search_plates(**{name: Given(name) for name in (*TEXT_FILTERS, *DATES)})
    assert order == [name for name in FILTERS if name != "min_confidence"]
