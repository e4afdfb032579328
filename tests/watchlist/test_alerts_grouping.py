"""The alerts of a set of detections, grouped by detection; what may stand for the list of ids."""

from __future__ import annotations

import sqlite3
from collections import deque

import pytest

from support import database
from support.fakes import executed, give, steps
from support.operations import alerts_of as statement
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def filled(store, clock):
    """Alerts 1 to 6 of the detections 9, 7, 9, 5, 7, 9; the later, the older their time."""
    for hour, detection_id in zip(range(23, 0, -1), (9, 7, 9, 5, 7, 9), strict=False):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        store.add_alert(f"P{detection_id}", "l", detection_id, 0.5)
    return store


def grouped(store, ids):
    """Detection ids in their order, each with the ids of its alerts."""
    result = store.get_alerts_for_detections(ids)
    assert type(result) is dict
    return [(key, [alert["id"] for alert in alerts]) for key, alerts in result.items()]


@pytest.mark.parametrize(("ids", "expected"), [
    ([1, 2, 3], []), ([1, 5, 8], [(5, [4])]), ([9, 9, 9], [(9, [1, 3, 6])]),
    # Keys come in order of their first alert, not as asked; alerts as they were added.
    ([5, 7, 9], [(9, [1, 3, 6]), (7, [2, 5]), (5, [4])]),
    ([9, 7, 5], [(9, [1, 3, 6]), (7, [2, 5]), (5, [4])]), ([5, 7], [(7, [2, 5]), (5, [4])]),
    # Any sequence will do.
    ((7, 9), [(9, [1, 3, 6]), (7, [2, 5])]), (range(5, 8), [(7, [2, 5]), (5, [4])]),
    ("75", [(7, [2, 5]), (5, [4])]), (b"\x07\x05", [(7, [2, 5]), (5, [4])]),
    (bytearray(b"\x05"), [(5, [4])]), (memoryview(b"\x05"), [(5, [4])]), (deque([5]), [(5, [4])]),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_alerts_are_grouped_by_detection(filled, ids, expected):
    copy = list(ids)
    assert grouped(filled, ids) == expected
    assert list(ids) == copy


def test_alerts_of_one_detection_come_as_they_were_added(filled):
    # Their times fall, so newest first would be this order, and the list of all is the reverse.
    database.query(filled.db_path, "UPDATE alerts SET timestamp = printf('t%02d', id)")
    assert grouped(filled, [9]) == [(9, [1, 3, 6])]
    assert [alert["id"] for alert in filled.get_alerts()] == [6, 5, 4, 3, 2, 1]


def test_stored_ids_of_other_types_are_keys_as_they_are(store, db_path):
    for detection_id in ("x", 7, b"7", 7.5, None, "7"):
        store.add_alert("AB", "l", detection_id, 0.5)
    result = store.get_alerts_for_detections([b"7", 7.5, "x", None, 7])
    assert exactly(list(result)) == exactly(["x", 7, b"7", 7.5])
    assert [alert["id"] for alert in result[7]] == [2, 6]  # the column made a number of the text


def test_rows_are_grouped_by_their_entry_and_none_where_it_is_missing(store, answering):
    keys = [5, ..., 5.0, True, None, 1]
    rows = [{"id": n, "detection_id": key} for n, key in enumerate(keys, 1)]
    del rows[1]["detection_id"]
    answering(rows)
    assert [(repr(key), alerts) for key, alerts in grouped(store, [0.5])] == [
        ("5", [1, 3]),
        ("None", [2, 5]),
        ("True", [4, 6]),
    ]
    answering([{"id": 1, "detection_id": []}])
    assert type_and_text(error_of(store.get_alerts_for_detections, [1])) == (
        TypeError,
        "unhashable type: 'list'",
    )


def test_thousands_of_ids_and_alerts(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 6000)
        INSERT INTO alerts (timestamp, plate, detection_id) SELECT 't', i, i % 2000 FROM n;
        """,
    )
    result = grouped(store, list(range(1000, 5000)))
    assert result == [(key, [key, key + 2000, key + 4000]) for key in range(1000, 2000)]


def test_there_is_a_question_mark_for_each_id_and_the_very_ids_are_bound(recorded):
    assert statement(2) == "SELECT * FROM alerts WHERE detection_id IN (?,?)"
    store, log = recorded
    for ids in ([7], [7, "9"], (7, "9"), range(3), "79", deque([1]), list(range(10))):
        log.clear()
        store.get_alerts_for_detections(ids)
        run, parameters = executed(log)
        assert run == statement(len(ids))
        assert parameters is ids


class Walkable:
    def __iter__(self):
        raise AssertionError("never asked")


@pytest.mark.parametrize(("ids", "kind"), [
    (5, "int"), (True, "bool"), (0.5, "float"), (len, "builtin_function_or_method"),
    (iter([7]), "list_iterator"), (map(int, "7"), "map"), (object(), "object"), (int, "type"),
    (Walkable(), "Walkable"),
], ids=lambda value: value if isinstance(value, str) else "")  # fmt: skip
def test_what_has_no_length_fails_before_a_connection_is_opened(recorded, ids, kind):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, ids)) == (
        TypeError,
        f"object of type '{kind}' has no len()",
    )
    assert log == []


class Sized:
    """Has a length, told once, and another from then on."""

    def __init__(self, *lengths):
        self.lengths = lengths

    def __bool__(self):
        return True

    def __len__(self):
        length, *others = self.lengths
        self.lengths = others or [length]
        if isinstance(length, Exception):
            raise length
        return length


class Lying(Sized):
    def __getitem__(self, index):
        return 7


@pytest.mark.parametrize(("length", "expected"), [
    (LookupError("no length"), (LookupError, "no length")),
    (-1, (ValueError, "__len__() should return >= 0")),
    ("2", (TypeError, "'str' object cannot be interpreted as an integer")),
    (None, (TypeError, "'NoneType' object cannot be interpreted as an integer")),
    (2**63, (OverflowError, "cannot fit 'int' into an index-sized integer")),
], ids=["error", "negative", "text", "None", "too large"])  # fmt: skip
def test_a_length_that_cannot_be_one(recorded, length, expected):
    store, log = recorded
    assert type_and_text(error_of(store.get_alerts_for_detections, Sized(length))) == expected
    assert log == []


UNSUPPORTED = "parameters are of unsupported type"
NO_NAME = "Binding 1 has no name, but you supplied a dictionary (which has only names)."
OTHER_LENGTH = "Incorrect number of bindings supplied. "
OTHER_LENGTH += "The current statement uses {}, and there are 2 supplied."
NO_SEQUENCES = {
    "length only": (lambda: Sized(2), 2, UNSUPPORTED),
    "set": (lambda: {7, 9}, 2, UNSUPPORTED),
    "frozenset": (lambda: frozenset([7]), 1, UNSUPPORTED),
    "keys": (lambda: {7: 1}.keys(), 1, UNSUPPORTED),
    "mapping": (lambda: {7: 1}, 1, NO_NAME),
    "longer than told": (lambda: Lying(1, 2), 1, OTHER_LENGTH.format(1)),
    "shorter than told": (lambda: Lying(3, 2), 3, OTHER_LENGTH.format(3)),
}


@pytest.mark.parametrize(("make", "number", "text"), NO_SEQUENCES.values(), ids=NO_SEQUENCES)
def test_what_has_a_length_but_cannot_be_bound(recorded, make, number, text):
    ids = make()
    store, log = recorded
    error = error_of(store.get_alerts_for_detections, ids)
    assert type_and_text(error) == (sqlite3.ProgrammingError, text)
    assert executed(log)[0] == statement(number)
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.ProgrammingError)


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


TOO_MANY = (sqlite3.OperationalError, "too many SQL variables")


def test_more_ids_than_the_engine_takes_at_once_are_not_split_into_batches(store, db_path):
    with sqlite3.connect(db_path) as connection:
        most = connection.getlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER)
    store.add_alert("AB", "l", 3, 0.5)
    assert list(store.get_alerts_for_detections(range(most))) == [3]
    assert type_and_text(error_of(store.get_alerts_for_detections, range(most + 1))) == TOO_MANY
    connection.row_factory = sqlite3.Row
    connection.setlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER, 3)
    give(store, connection)
    assert list(store.get_alerts_for_detections([1, 2, 3])) == [3]
    assert type_and_text(error_of(store.get_alerts_for_detections, [1, 2, 3, 3])) == TOO_MANY
    connection.close()
