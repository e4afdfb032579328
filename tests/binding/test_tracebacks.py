"""The traceback entries of the extension: one for each operation that an error leaves."""

from __future__ import annotations

import sqlite3
import traceback

import pytest

from support.child import NATIVE
from support.fakes import FakeConnection, give
from support.operations import BAD_CALLS, CONNECTED
from support.values import error_of

PREFIX = f"{NATIVE}.ANPRDatabase."


def entries(error: BaseException) -> list[str]:
    """The methods that the traceback names, outermost first."""
    names = [frame.f_code.co_name for frame, _ in traceback.walk_tb(error.__traceback__)]
    return [name.removeprefix(PREFIX) for name in names if name.startswith(PREFIX)]


@pytest.fixture
def store(native, db_path, sample):
    db_path.write_bytes(sample)
    return native.ANPRDatabase(db_path)


# Their arguments do not bind, so the method is not reached.
UNBOUND = ("no path", "too few arguments", "an unknown name", "limit twice", "nothing", "too few")
REFUSED = {
    name: call
    for name, call in BAD_CALLS.items()
    if call.method != "__init__" and call.label not in UNBOUND
}


@pytest.mark.parametrize("name", REFUSED)
def test_an_error_inside_an_operation_has_one_entry_of_its_full_name(store, name):
    call = REFUSED[name]
    assert entries(error_of(call.run, store)) == [call.method]


def test_the_value_of_a_row_that_is_no_text_ends_its_conversion(store):
    assert entries(error_of(store._row_to_dict, {"plates": 5})) == ["_row_to_dict"]


def test_the_entry_stands_between_the_callers_and_what_it_called(store):
    def caller():
        store._get_conn = failing
        store.get_detection(1)

    def failing():
        raise ValueError("here")

    names = [frame.f_code.co_name for frame, _ in traceback.walk_tb(error_of(caller).__traceback__)]
    assert names[-3:] == ["caller", PREFIX + "get_detection", "failing"]


def test_operations_that_reach_each_other_have_an_entry_each(store):
    store._get_conn().executescript(
        "UPDATE detections SET plates = 5.5; UPDATE detections SET plates = x'ff'"
    )
    assert entries(error_of(store.get_history)) == ["get_history", "_row_to_dict"]
    assert entries(error_of(store.get_detection, 1)) == ["get_detection", "_row_to_dict"]


def test_an_error_of_the_constructor_has_an_entry_for_each_step_on_its_way(native, tmp_path):
    assert entries(error_of(native.ANPRDatabase, tmp_path)) == [
        "__init__",
        "_init_schema",
        "_get_conn",
    ]
    assert entries(error_of(native.ANPRDatabase, 5)) == ["__init__"]
    (tmp_path / "no.db").write_bytes(b"no database " * 100)
    assert entries(error_of(native.ANPRDatabase, tmp_path / "no.db")) == [
        "__init__",
        "_init_schema",
    ]


def test_an_error_of_binding_arguments_has_no_entry(native, store):
    for call in (
        lambda: store.get_history(1, 2, 3, 4, 5),
        lambda: store.get_history(page=1),
        lambda: store.get_history(1, limit=1),
        lambda: store.get_detection(),
        lambda: store._row_to_dict(),
        lambda: native.ANPRDatabase(),
        lambda: store.add_detection(plates=[]),
    ):
        assert entries(error_of(call)) == []


def test_an_override_has_no_entry_and_the_method_behind_it_one(native, store):
    class Overriding(native.ANPRDatabase):
        def get_detection(self, detection_id):
            return super().get_detection(detection_id)

    overriding = Overriding(store.db_path)
    assert entries(error_of(overriding.get_detection, [])) == ["get_detection"]


@pytest.fixture
def at_the_end(store):
    """What the scope's end is given: the error, and the entries that its traceback has by then."""
    seen = []

    class Watching(FakeConnection):
        def __exit__(self, error_type, error, trace):
            assert error.__traceback__ is trace
            seen.append((error_type, entries(error)))

    give(store, Watching(at={"execute": sqlite3.OperationalError("disk I/O error")}))
    return seen


@pytest.mark.parametrize("operation", CONNECTED, ids=str)
def test_the_error_that_reaches_the_scopes_end_has_its_entry_and_gets_no_second(
    store, at_the_end, operation
):
    assert entries(error_of(operation.run, store)) == [operation.name]
    assert at_the_end == [(sqlite3.OperationalError, [operation.name])]


def test_an_error_of_the_operations_own_work_has_its_entry_at_the_scopes_end(store, at_the_end):
    assert entries(error_of(store.update_mmc_data, 1, {1})) == ["update_mmc_data"]
    assert at_the_end == [(TypeError, ["update_mmc_data"])]


@pytest.mark.parametrize("step", ["enter", "exit"])
@pytest.mark.parametrize("operation", CONNECTED, ids=str)
def test_an_error_of_entering_or_leaving_the_scope_has_one_entry(store, operation, step):
    rows = [dict.fromkeys(["id", "plates", "plate", "cnt", "total", "hour", "avg_time"], 0)]
    rows[0] |= dict.fromkeys(["successful", "failed", "total_plates"], 0) | {"plate": "AB"}
    give(store, FakeConnection(rows, at={step: ValueError(step)}))
    error = error_of(operation.run, store)
    assert str(error) == step
    assert entries(error) == [operation.name]


def test_the_same_error_raised_again_by_a_later_call_gets_a_new_entry(store):
    known = ValueError("always the same object")

    def failing():
        raise known

    store._get_conn = failing
    assert entries(error_of(store.get_history)) == ["get_history"]
    known.__traceback__ = None
    assert entries(error_of(store.get_history)) == ["get_history"]


def test_a_printed_traceback_names_the_method(store):
    error = error_of(store.get_history, [])
    text = "".join(traceback.format_exception(error))
    assert text.count(f"in {PREFIX}get_history") == 1
