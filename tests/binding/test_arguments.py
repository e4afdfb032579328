"""How a call binds its arguments: what is counted, which check comes first, the exact texts."""

from __future__ import annotations

import ctypes
import re

import pytest

from support.fakes import FakeConnection, connecting_class, executed, give
from support.operations import OPERATIONS
from support.values import error_of, type_and_text


@pytest.fixture
def store_class(native):
    return native.ANPRDatabase


@pytest.fixture
def store(native, db_path):
    return native.ANPRDatabase(db_path)


def told(action, *arguments, **named) -> tuple[type, str]:
    return type_and_text(error_of(action, *arguments, **named))


def count(name: str, bound: str, number: int, given: int) -> tuple[type, str]:
    plural = "" if number == 1 else "s"
    return (
        TypeError,
        f"{name}() takes {bound} {number} positional argument{plural} ({given} given)",
    )


def unexpected(name: str, keyword: str) -> tuple[type, str]:
    return TypeError, f"{name}() got an unexpected keyword argument '{keyword}'"


def multiple(name: str, keyword: str) -> tuple[type, str]:
    return TypeError, f"{name}() got multiple values for keyword argument '{keyword}'"


class Bound:
    """An operation's function, called through the class, and what it counts."""

    def __init__(self, operation, store_class, store):
        self.operation = operation
        self.name = operation.name
        self.function = getattr(store_class, self.name)
        self.of_object = getattr(store, self.name)
        self.names = [p.name for p in operation.all_parameters]
        self.required = [*self.names[: len(self.names) - len(operation.parameters)]]
        self.required += operation.required
        self.fewest, self.most = len(self.required), len(self.names)

    def count(self, given: int) -> tuple[type, str]:
        if self.fewest == self.most:
            return count(self.name, "exactly", self.most, given)
        bound = ("at least", self.fewest) if given < self.fewest else ("at most", self.most)
        return count(self.name, *bound, given)


@pytest.fixture(params=OPERATIONS, ids=str)
def bound(request, store_class, store):
    return Bound(request.param, store_class, store)


def test_a_wrong_number_of_positional_arguments(bound):
    for given in (*range(bound.fewest), bound.most + 1, bound.most + 5):
        assert told(bound.function, *range(given)) == bound.count(given)


def test_the_object_is_counted_except_by_the_static_method(bound):
    own = 0 if bound.operation.static else 1
    for given in (*range(bound.fewest - own), bound.most - own + 1):
        assert told(bound.of_object, *range(given)) == bound.count(given + own)


def test_each_required_parameter_missing_beside_keywords(bound):
    for position, missing in enumerate(bound.required):
        named = {name: 5 for name in bound.required if name != missing}
        assert told(bound.function, **named) == bound.count(position)


def test_an_unknown_keyword(bound):
    for given in range(bound.fewest + 1):
        assert told(bound.function, *range(given), note=5) == unexpected(bound.name, "note")


def test_each_parameter_given_twice(bound):
    for number, name in enumerate(bound.names, start=1):
        assert told(bound.function, *range(number), **{name: 5}) == multiple(bound.name, name)


def test_a_call_that_binds_reaches_the_operation(bound):
    """With an object that is no store, so that nothing is touched: its error is another one."""
    by_position = error_of(bound.function, *[5] * bound.fewest)
    by_keyword = error_of(bound.function, **dict.fromkeys(bound.required, 5))
    for error in (by_position, by_keyword):
        assert not re.search("(positional|keyword) argument", str(error))
        assert type(error) in (AttributeError, TypeError)


def test_an_argument_of_any_type_is_bound_as_it_is(store_class):
    assert told(store_class.get_history, 5) == (
        AttributeError,
        "'int' object has no attribute '_get_conn'",
    )


def test_constructing_by_position_and_by_keyword_is_the_same_call(store_class, db_path):
    assert vars(store_class(db_path)) == vars(store_class(db_path=db_path)) == {"db_path": db_path}


def test_constructing_with_wrong_arguments_fails(store_class):
    assert told(store_class) == count("__init__", "exactly", 2, 1)
    assert told(store_class, "a", "b") == count("__init__", "exactly", 2, 3)
    assert told(store_class, path="a") == unexpected("__init__", "path")
    assert told(store_class, "a", path="b") == unexpected("__init__", "path")
    assert told(store_class, "a", db_path="b") == multiple("__init__", "db_path")


def test_the_object_may_be_given_by_keyword(store, store_class):
    assert store_class.get_history(self=store) == []
    assert store_class.get_history(limit=1, self=store) == []
    assert told(store.get_history, self=store) == multiple("get_history", "self")


def test_the_row_may_be_given_by_keyword(store, store_class):
    assert store_class._row_to_dict(row={"id": 1}) == {"id": 1}
    assert told(store._row_to_dict, {}, row={}) == multiple("_row_to_dict", "row")


@pytest.mark.parametrize("keyword", ["page", "LIMIT", "", "größe", "limit\0"], ids=repr)
def test_an_unknown_keyword_is_named_as_it_is(store, keyword):
    assert told(store.get_history, **{keyword: 2}) == unexpected("get_history", keyword)


@pytest.mark.parametrize(
    ("positions", "named", "given"),
    [
        (0, [], 1),
        (0, ["plates"], 2),
        (0, ["confidences"], 1),
        (0, ["plates", "confidences", "bboxes", "ocr_time"], 4),
        (0, ["plates", "confidences", "bboxes", "processing_time", "success"], 5),
        (0, ["detection_confidences", "image_path"], 1),
        (2, ["ocr_time"], 3),
        (2, [], 3),
    ],
)
def test_a_missing_parameter_is_told_by_its_position(store, positions, named, given):
    error = told(store.add_detection, *range(positions), **dict.fromkeys(named, 0))
    assert error == count("add_detection", "at least", 7, given)


def test_too_many_positions_come_before_bad_keywords(store):
    for keyword in ("page", "limit"):
        error = told(store.get_history, 1, 2, 3, 4, 5, **{keyword: 1})
        assert error == count("get_history", "at most", 5, 6)


def test_bad_keywords_come_before_missing_parameters(store):
    method = store.update_image_paths
    assert told(method, path="a") == unexpected("update_image_paths", "path")
    assert told(method, 1, detection_id=1) == multiple("update_image_paths", "detection_id")


def test_keywords_are_checked_in_the_order_in_which_they_are_given(store):
    first_unknown = {"page": 1, "limit": 2}
    first_double = {"limit": 2, "page": 1}
    assert told(store.get_history, 5, **first_unknown) == unexpected("get_history", "page")
    assert told(store.get_history, 5, **first_double) == multiple("get_history", "limit")


def test_keywords_in_any_order_mixed_with_positions(store):
    detection_id = store.add_detection(
        ["A"], [1.5], ocr_time=3.0, bboxes=[], success=0, detector_time=2.0, processing_time=1.0
    )
    record = store.get_detection(detection_id=detection_id)
    assert record["plates"] == ["A"]
    assert (record["processing_time"], record["detector_time"], record["ocr_time"]) == (1, 2, 3)
    assert (record["success"], record["image_path"]) == (0, None)


def test_a_keyword_name_of_a_text_subclass_is_a_name(store):
    class Name(str):
        __slots__ = ()

    assert store.get_history(**{Name("limit"): 1}) == []
    assert told(store.get_history, **{Name("page"): 1}) == unexpected("get_history", "page")


def test_a_keyword_name_made_at_run_time_is_found(store):
    assert store.get_history(**{"".join(["lim", "it"]): 1}) == []


def vectorcall(function, positional: tuple, names: tuple, values: tuple):
    """Calls below the interpreter's own check of keyword names."""
    call = ctypes.pythonapi.PyObject_Vectorcall
    call.restype = ctypes.py_object
    call.argtypes = [ctypes.py_object, ctypes.c_void_p, ctypes.c_size_t, ctypes.py_object]
    given = (ctypes.py_object * (len(positional) + len(values)))(*positional, *values)
    return call(function, ctypes.addressof(given), len(positional), names)


@pytest.mark.parametrize("name", ["get_history", "_get_conn"])
def test_a_keyword_name_that_is_no_text_fails(store, store_class, name):
    error = told(vectorcall, getattr(store_class, name), (store,), (7,), (1,))
    assert error == (TypeError, f"{name}() keywords must be strings")


def test_the_interpreter_refuses_other_names_in_an_unpacked_mapping(store):
    kind, text = told(lambda: store.get_history(**{7: 1}))
    assert kind is TypeError
    assert text.endswith("keywords must be strings")


def test_nothing_is_opened_before_the_arguments_are_bound(store_class, db_path):
    opened = []
    store = connecting_class(store_class, lambda own: opened.append(own) or own)(db_path)
    opened.clear()
    error_of(store.get_detection)
    error_of(store.get_history, page=1)
    error_of(store.update_mmc_data, 1, {}, mmc_data={})
    assert opened == []


def test_defaults_are_the_ones_that_the_function_has_at_the_call(store, store_class, monkeypatch):
    for _ in range(3):
        store.add_detection([], [], [], 0, 0, 0)
    monkeypatch.setattr(store_class.get_history, "__defaults__", (2, 0, None, None))
    assert len(store.get_history()) == 2
    assert len(store.get_history(offset=2)) == 1
    monkeypatch.undo()
    assert len(store.get_history()) == 3


def test_the_same_default_object_reaches_the_operation_at_every_call(
    store, store_class, monkeypatch
):
    log = []
    default = 10**6
    monkeypatch.setattr(store_class.get_history, "__defaults__", (default, 0, None, None))
    give(store, FakeConnection(log=log))
    for named in ({}, {"offset": 3}):
        log.clear()
        store.get_history(**named)
        assert executed(log)[1][0] is default
