"""What may stand for the list of detection ids: its length is asked, then the engine binds it."""

from __future__ import annotations

import sqlite3
from collections import deque

import pytest

from support import database
from support.recording import executed, steps
from support.values import error_of, type_and_text

UNSUPPORTED = (sqlite3.ProgrammingError, "parameters are of unsupported type")


def statement(number):
    return f"SELECT * FROM alerts WHERE detection_id IN ({','.join('?' * number)})"


@pytest.mark.parametrize("number", [1, 2, 3, 10])
def test_a_question_mark_for_each_id_with_single_commas(recorded, number):
    store, log = recorded
    store.get_alerts_for_detections(list(range(number)))
    assert executed(log)[0] == statement(number)


def test_the_ids_are_bound_as_the_object_that_was_passed(recorded):
    store, log = recorded
    for ids in ([7, "9"], (7, "9"), range(3), "79", deque([1])):
        log.clear()
        store.get_alerts_for_detections(ids)
        run, parameters = executed(log)
        assert run == statement(len(ids))
        assert parameters is ids


@pytest.mark.parametrize(
    ("ids", "kind"),
    [
        (5, "int"),
        (True, "bool"),
        (0.5, "float"),
        (len, "builtin_function_or_method"),
        (iter([7]), "list_iterator"),
        (map(int, "7"), "map"),
        (object(), "object"),
        (int, "type"),
    ],
    ids=lambda value: value if isinstance(value, str) else "",
)
def test_what_has_no_length_fails_before_a_connection_is_opened(recorded, ids, kind):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, ids)) == (
        TypeError,
        f"object of type '{kind}' has no len()",
    )
    assert log == []


def test_what_can_be_walked_but_has_no_length_is_not_walked(recorded):
    class Walkable:
        def __iter__(self):
            raise AssertionError("never asked")

    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, Walkable())) == (
        TypeError,
        "object of type 'Walkable' has no len()",
    )
    assert log == []


class Sized:
    """Has a length, and nothing else."""

    def __init__(self, length):
        self.length = length

    def __bool__(self):
        return True

    def __len__(self):
        if isinstance(self.length, Exception):
            raise self.length
        return self.length


def test_what_has_only_a_length_fails_when_it_is_bound(recorded):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, Sized(2))) == UNSUPPORTED
    assert executed(log)[0] == statement(2)
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.ProgrammingError)


@pytest.mark.parametrize(
    "ids", [{7, 9}, frozenset([7]), {7: 1}.keys()], ids=["set", "frozenset", "keys"]
)
def test_a_set_has_a_length_but_no_places(recorded, ids):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, ids)) == UNSUPPORTED
    assert executed(log)[0] == statement(len(ids))


def test_a_mapping_has_names_and_no_places(recorded):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, {7: 1})) == (
        sqlite3.ProgrammingError,
        "Binding 1 has no name, but you supplied a dictionary (which has only names).",
    )
    assert executed(log) == (statement(1), {7: 1})


@pytest.mark.parametrize(
    ("length", "expected"),
    [
        (LookupError("no length"), (LookupError, "no length")),
        (-1, (ValueError, "__len__() should return >= 0")),
        ("2", (TypeError, "'str' object cannot be interpreted as an integer")),
        (None, (TypeError, "'NoneType' object cannot be interpreted as an integer")),
        (2**63, (OverflowError, "cannot fit 'int' into an index-sized integer")),
    ],
    ids=["error", "negative", "text", "None", "too large"],
)
def test_a_length_that_cannot_be_one(recorded, length, expected):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, Sized(length))) == expected
    assert log == []


def test_a_true_thing_of_no_length_asks_for_no_id_at_all(store):
    class Empty(list):
        def __bool__(self):
            return True

    store.add_alert("AB", "l", 1, 0.5)
    # The engine takes an empty list of values: nothing is in it.
    assert store.get_alerts_for_detections(Empty()) == {}


def test_the_truth_is_asked_before_the_length_and_both_before_the_connection(recorded):
    store, log = recorded

    class Traced(list):
        def __bool__(self):
            log.append(("truth",))
            return True

        def __len__(self):
            log.append(("len",))
            return super().__len__()

        def __iter__(self):
            raise AssertionError("the ids are not walked through")

    store.add_alert("AB", "l", 7, 0.5)
    log.clear()
    assert list(store.get_alerts_for_detections(Traced([7, 9]))) == [7]
    assert steps(log)[:4] == ["truth", "len", "_get_conn", "enter"]
    assert executed(log)[0] == statement(2)


def test_a_truth_that_cannot_be_told(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

        def __len__(self):
            raise AssertionError("never asked")

    store, log = recorded
    assert str(error_of(store.get_alerts_for_detections, Undecided())) == "undecided"
    assert log == []


@pytest.mark.parametrize(("told", "there"), [(1, 2), (3, 2)])
def test_a_length_that_does_not_hold(recorded, told, there):
    class Lying:
        def __init__(self):
            self.asked = 0

        def __bool__(self):
            return True

        def __len__(self):
            self.asked += 1
            return told if self.asked == 1 else there

        def __getitem__(self, index):
            return 7

    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, Lying())) == (
        sqlite3.ProgrammingError,
        "Incorrect number of bindings supplied. "
        f"The current statement uses {told}, and there are {there} supplied.",
    )
    assert executed(log)[0] == statement(told)


@pytest.mark.parametrize(
    ("ids", "expected"),
    [
        (
            [1, []],
            (sqlite3.ProgrammingError, "Error binding parameter 2: type 'list' is not supported"),
        ),
        (
            ([7], 1),
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        ([1, 2, 2**63], (OverflowError, "Python int too large to convert to SQLite INTEGER")),
    ],
    ids=["list", "first", "too large"],
)
def test_an_id_that_cannot_be_bound(recorded, ids, expected):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, ids)) == expected
    assert log[-1] == ("exit", expected[0])


TOO_MANY = (sqlite3.OperationalError, "too many SQL variables")


def test_more_ids_than_the_engine_takes_at_once(store):
    with sqlite3.connect(":memory:") as connection:
        most = connection.getlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER)
    store.add_alert("AB", "l", most - 1, 0.5)
    assert list(store.get_alerts_for_detections(range(most))) == [most - 1]
    assert type_and_text(error_of(store.get_alerts_for_detections, range(most + 1))) == TOO_MANY


def test_the_ids_are_not_split_into_batches(store, db_path):
    def narrow():
        connection = sqlite3.connect(db_path)
        connection.row_factory = sqlite3.Row
        connection.setlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER, 3)
        return connection

    store.add_alert("AB", "l", 3, 0.5)
    store._get_conn = narrow
    assert list(store.get_alerts_for_detections([1, 2, 3])) == [3]
    assert type_and_text(error_of(store.get_alerts_for_detections, [1, 2, 3, 3])) == TOO_MANY
    assert database.count(db_path, "alerts") == 1
