"""The order in which recording looks at its values, and the first failure that stops it."""

from __future__ import annotations

import sqlite3
from types import SimpleNamespace

import pytest

from support import database
from support.fakes import steps
from support.samples import DETECTION, add
from support.values import error_of, type_and_text


def test_the_values_are_computed_in_their_order_inside_the_scope(
    recorded, store_module, monkeypatch
):
    store, log = recorded

    class Named(list):
        def __init__(self, name):
            super().__init__([0.5])
            self.name = name

        def __len__(self):
            log.append((f"len {self.name}",))
            return super().__len__()

        def __bool__(self):
            log.append((f"truth {self.name}",))
            return True

    def dumps(value):
        log.append((f"write {value.name}",))
        return "[]"

    def now():
        log.append(("now",))
        return SimpleNamespace(isoformat=lambda: log.append(("isoformat",)) or "time")

    monkeypatch.setattr(store_module, "json", SimpleNamespace(dumps=dumps))
    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    names = ("plates", "confidences", "bboxes", "success", "detection_confidences")
    add(store, **{name: Named(name) for name in names})
    assert steps(log)[2:-4] == [
        "now",
        "isoformat",
        "len plates",
        "write plates",
        "write confidences",
        "write bboxes",
        "truth success",
        "truth detection_confidences",
        "write detection_confidences",
    ]


BAD = {1}
NO_SET = "Object of type set is not JSON serializable"
NO_BYTES = "Object of type bytes is not JSON serializable"
NO_LENGTH = "object of type '{}' has no len()"
FIRST_FAILURES = [
    ({"plates": None}, NO_LENGTH.format("NoneType")),
    ({"plates": 0.5}, NO_LENGTH.format("float")),
    ({"plates": iter([])}, NO_LENGTH.format("list_iterator")),
    ({"plates": 5, "confidences": BAD}, NO_LENGTH.format("int")),
    ({"plates": [b""], "confidences": BAD}, NO_BYTES),
    ({"confidences": b"", "bboxes": BAD}, NO_BYTES),
    ({"bboxes": BAD, "detection_confidences": b"a"}, NO_SET),
    ({"detection_confidences": BAD, "ocr_time": []}, NO_SET),
]


@pytest.mark.parametrize(("changes", "text"), FIRST_FAILURES)
def test_the_first_failure_stops_the_call_and_writes_nothing(recorded, db_path, changes, text):
    store, log = recorded
    assert type_and_text(error_of(add, store, **changes)) == (TypeError, text)
    assert steps(log) == ["_get_conn", "enter", "exit"]
    assert log[-1] == ("exit", TypeError)
    assert database.count(db_path) == 0


@pytest.mark.parametrize("name", ["plates", "confidences", "bboxes", "detection_confidences"])
def test_a_value_that_cannot_be_written(store, db_path, name):
    add(store)
    before = database.contents(db_path)
    assert type_and_text(error_of(add, store, **{name: [{"A"}]})) == (TypeError, NO_SET)
    assert database.contents(db_path) == before
    assert add(store) == 2


def test_attributes_are_written_before_the_id_is_bound(recorded):
    store, log = recorded
    assert type_and_text(error_of(store.update_mmc_data, [], BAD)) == (TypeError, NO_SET)
    assert steps(log) == ["_get_conn", "enter", "exit"]


def test_a_trigger_may_refuse_one_row_and_take_the_next(store, db_path):
    database.run_script(
        db_path,
        """
        CREATE TRIGGER refuse AFTER INSERT ON detections WHEN new.num_plates = 0
        BEGIN
            INSERT INTO watchlist (plate, created_at) VALUES ('seen', 'now');
            SELECT RAISE(ABORT, 'no plates, no row');
        END
        """,
    )
    error = error_of(add, store, plates=[])
    assert type_and_text(error) == (sqlite3.IntegrityError, "no plates, no row")
    assert add(store) == 1


def test_arguments_are_not_changed(store):
    given = {name: list(value) for name, value in list(DETECTION.items())[:3]}
    add(store, **given)
    assert given == {name: DETECTION[name] for name in given}
