"""The order of recording's steps, and what reaches the statement."""

from __future__ import annotations

from types import SimpleNamespace

import pytest

from support.recording import executed, recording_class, steps
from support.samples import DETECTION, add
from support.values import error_of, exactly

INSERT = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)


def test_the_statement_and_its_twelve_values(recorded, clock):
    store, log = recorded
    add(store, image_path="a", success="yes", detection_confidences=[0.5])
    statement, parameters = executed(log)
    assert statement == INSERT
    assert type(parameters) in (tuple, list)
    assert exactly(list(parameters)) == exactly(
        [
            "2024-05-01T14:03:27.512034",
            2,
            '["AB123", "XY-9"]',
            "[0.93, 0.5]",
            "[[10, 20, 110, 60], [200, 20, 310, 60]]",
            0.25,
            0.1,
            0.15,
            "a",
            None,
            1,
            "[0.5]",
        ]
    )


def test_one_statement_is_run_and_committed_before_the_id_is_read(recorded):
    store, log = recorded
    assert add(store) == 1
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "lastrowid", "exit"]


def test_the_id_is_the_one_that_the_cursor_tells(store):
    told = object()

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement, parameters):
            return SimpleNamespace(lastrowid=told)

        def commit(self):
            pass

    store._get_conn = Connection
    assert add(store) is told


def test_times_and_paths_reach_the_statement_as_the_objects_passed(store):
    given = {name: object() for name in ("processing_time", "detector_time", "ocr_time")}
    given |= {"image_path": object(), "thumbnail_path": object()}
    seen = []

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement, parameters):
            seen.extend(parameters)
            return SimpleNamespace(lastrowid=1)

        def commit(self):
            pass

    store._get_conn = Connection
    add(store, **given)
    assert all(bound is passed for bound, passed in zip(seen[5:10], given.values(), strict=True))


class Traced:
    """Arguments and names that write down when they are used."""

    def __init__(self, store_class, db_path):
        self.order = []
        log = []
        self.store = recording_class(store_class, log, lambda sql: self.order.append("execute"))(
            db_path
        )
        opened = self.store._get_conn

        def open_connection():
            self.order.append("open")
            return opened()

        self.store._get_conn = open_connection
        self.order.clear()

    def list_named(self, name):
        order = self.order

        class Named(list):
            def __len__(self):
                order.append(f"len {name}")
                return super().__len__()

            def __bool__(self):
                order.append(f"truth {name}")
                return True

        return Named([0.5])

    def dumps(self, value):
        self.order.append(f"write {value.name}" if hasattr(value, "name") else "write")
        return "[]"

    def now(self):
        self.order.append("now")
        return SimpleNamespace(isoformat=lambda: self.order.append("isoformat") or "time")


def test_the_values_are_computed_in_their_order_inside_the_scope(
    store_module, db_path, monkeypatch
):
    traced = Traced(store_module.ANPRDatabase, db_path)
    given = {}
    for name in ("plates", "confidences", "bboxes", "success", "detection_confidences"):
        given[name] = traced.list_named(name)
        given[name].name = name
    monkeypatch.setattr(store_module, "json", SimpleNamespace(dumps=traced.dumps))
    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=traced.now))
    add(traced.store, **given)
    assert traced.order == [
        "open",
        "now",
        "isoformat",
        "len plates",
        "write plates",
        "write confidences",
        "write bboxes",
        "truth success",
        "truth detection_confidences",
        "write detection_confidences",
        "execute",
    ]


BAD = {1}
EARLIER_FIRST = [
    ({"plates": 5, "confidences": BAD}, "object of type 'int' has no len()"),
    ({"plates": [b""], "confidences": BAD}, "Object of type bytes is not JSON serializable"),
    ({"confidences": b"", "bboxes": BAD}, "Object of type bytes is not JSON serializable"),
    ({"bboxes": BAD, "detection_confidences": b"a"}, "Object of type set is not JSON serializable"),
    ({"detection_confidences": BAD, "ocr_time": []}, "Object of type set is not JSON serializable"),
]


@pytest.mark.parametrize(("changes", "text"), EARLIER_FIRST)
def test_the_first_failure_stops_the_call(recorded, changes, text):
    store, log = recorded
    error = error_of(add, store, **changes)
    assert type(error) is TypeError
    assert str(error) == text
    assert steps(log) == ["_get_conn", "enter", "exit"]


def test_a_truth_value_that_fails_stops_the_call(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

    store, log = recorded
    for name in ("success", "detection_confidences"):
        log.clear()
        assert str(error_of(add, store, **{name: Undecided()})) == "undecided"
        assert log[-1] == ("exit", ArithmeticError)


def test_the_clock_is_read_once_and_before_a_failing_value(store, clock):
    add(store)
    assert clock.readings == 1
    error_of(add, store, plates=None)
    assert clock.readings == 2


def test_a_failing_clock_stops_the_call_before_any_value(recorded, store_module, monkeypatch):
    def now():
        raise OSError("no clock")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    store, log = recorded
    assert str(error_of(add, store, plates=None)) == "no clock"
    assert steps(log) == ["_get_conn", "enter", "exit"]


def test_arguments_are_not_changed(store):
    given = {name: list(value) for name, value in list(DETECTION.items())[:3]}
    add(store, **given)
    assert given == {name: DETECTION[name] for name in given}
