"""Arguments that become parameters of a statement: bound as they are, and refused by the engine."""

from __future__ import annotations

import sqlite3
from typing import Any

import pytest

from support import database
from support.fakes import executed, steps
from support.operations import CONNECTED
from support.samples import add
from support.values import error_of, type_and_text

# Operation and parameter: the call, and which parameter of the statement the argument then is.
PLACES: dict[str, Any] = {
    f"{operation}: {name}": (
        lambda store, value, operation=operation, name=name: getattr(store, operation.name)(
            **operation.named_sample(**{name: value})
        ),
        place + 1,
    )
    for operation in CONNECTED
    for name, place in operation.bound.items()
}
PLACES |= {
    "delete_detections: first": (lambda store, value: store.delete_detections([value, 1]), 1),
    "delete_detections: second": (lambda store, value: store.delete_detections((1, value)), 2),
    "get_alerts_for_detections: first": (lambda s, v: s.get_alerts_for_detections((v, 1)), 1),
    "get_alerts_for_detections: second": (lambda s, v: s.get_alerts_for_detections([1, v]), 2),
}

TOO_LARGE = (OverflowError, "Python int too large to convert to SQLite INTEGER")
NO_ENCODING = (
    UnicodeEncodeError,
    "'utf-8' codec can't encode character '\\ud800' in position 1: surrogates not allowed",
)
# Tested by their truth before, so what is false is no filter.
REFUSED = {
    "list": ([0], None),
    "dict": ({0: 0}, None),
    "tuple": ((0,), None),
    "object": (object(), None),
    "too large": (2**63, TOO_LARGE),
    "too small": (-(2**63) - 1, TOO_LARGE),
    "far too large": (10**40, TOO_LARGE),
    "no encoding": ("a\ud800", NO_ENCODING),
}


@pytest.mark.parametrize("name", PLACES)
def test_what_the_engine_cannot_take_is_refused_by_its_place(recorded_sample, db_path, name):
    call, parameter = PLACES[name]
    store, log = recorded_sample
    before = database.contents(db_path)
    for kind, (value, error) in REFUSED.items():
        log.clear()
        unsupported = f"Error binding parameter {parameter}: type '{kind}' is not supported"
        expected = error or (sqlite3.ProgrammingError, unsupported)
        assert type_and_text(error_of(call, store, value)) == expected
        assert executed(log)[1][parameter - 1] is value
        assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
        assert log[-1] == ("exit", expected[0])
    assert database.contents(db_path) == before
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]
    assert (add(store), store.add_alert("AB", "l", 1, 0.5)) == (5, 4)


def test_the_first_parameter_that_cannot_be_bound_is_told(store):
    assert type_and_text(error_of(add, store, image_path=[], ocr_time={})) == (
        sqlite3.ProgrammingError,
        "Error binding parameter 8: type 'dict' is not supported",
    )


@pytest.mark.parametrize("name", PLACES)
def test_an_error_of_the_engine_is_told_before_one_of_a_parameter(store, db_path, name):
    for table in ("detections", "watchlist", "alerts"):
        database.run_script(db_path, f"DROP TABLE {table}")
    error = error_of(PLACES[name][0], store, [0])
    assert type(error) is sqlite3.OperationalError
    assert str(error).startswith("no such table: ")
