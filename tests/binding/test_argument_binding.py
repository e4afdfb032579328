"""How a call binds its arguments: the texts, and which check comes first."""

from __future__ import annotations

import ctypes

import pytest

from support.values import error_of, type_and_text


@pytest.fixture
def store_class(native):
    return native.ANPRDatabase


@pytest.fixture
def store(native, tmp_path):
    return native.ANPRDatabase(tmp_path / "anpr.db")


def count_text(name: str, bound: str, number: int, given: int) -> tuple[type, str]:
    plural = "" if number == 1 else "s"
    return (
        TypeError,
        f"{name}() takes {bound} {number} positional argument{plural} ({given} given)",
    )


def unexpected(name: str, keyword: str) -> tuple[type, str]:
    return TypeError, f"{name}() got an unexpected keyword argument '{keyword}'"


def multiple(name: str, keyword: str) -> tuple[type, str]:
    return TypeError, f"{name}() got multiple values for keyword argument '{keyword}'"


def told(action, *arguments, **named) -> tuple[type, str]:
    return type_and_text(error_of(action, *arguments, **named))


def vectorcall(function, positional: tuple, names: tuple, values: tuple):
    """Calls below the interpreter's own check of keyword names."""
    call = ctypes.pythonapi.PyObject_Vectorcall
    call.restype = ctypes.py_object
    call.argtypes = [ctypes.py_object, ctypes.c_void_p, ctypes.c_size_t, ctypes.py_object]
    given = (ctypes.py_object * (len(positional) + len(values)))(*positional, *values)
    return call(function, ctypes.addressof(given), len(positional), names)


def test_constructing_by_position_and_by_keyword_is_the_same_call(store_class, tmp_path):
    by_position = store_class(tmp_path / "a.db")
    by_keyword = store_class(db_path=tmp_path / "a.db")
    assert vars(by_position) == vars(by_keyword) == {"db_path": tmp_path / "a.db"}


def test_constructing_without_the_path_fails(store_class):
    assert told(store_class) == count_text("__init__", "exactly", 2, 1)


def test_constructing_with_two_arguments_fails(store_class):
    assert told(store_class, "a", "b") == count_text("__init__", "exactly", 2, 3)


def test_constructing_with_an_unknown_keyword_fails(store_class):
    assert told(store_class, path="a") == unexpected("__init__", "path")
    assert told(store_class, "a", path="b") == unexpected("__init__", "path")


def test_constructing_with_the_path_twice_fails(store_class):
    assert told(store_class, "a", db_path="b") == multiple("__init__", "db_path")


@pytest.mark.parametrize(
    ("name", "given", "bound", "number"),
    [
        ("get_history", 5, "at most", 5),
        ("add_detection", 5, "at least", 7),
        ("add_detection", 11, "at most", 11),
        ("get_detection", 0, "exactly", 2),
        ("get_detection", 2, "exactly", 2),
        ("update_image_paths", 2, "exactly", 4),
        ("update_image_paths", 4, "exactly", 4),
        ("update_mmc_data", 1, "exactly", 3),
        ("update_mmc_data", 3, "exactly", 3),
        ("_get_conn", 1, "exactly", 1),
        ("_init_schema", 2, "exactly", 1),
    ],
)
def test_a_wrong_number_of_positional_arguments(store, name, given, bound, number):
    assert told(getattr(store, name), *range(given)) == count_text(name, bound, number, given + 1)


@pytest.mark.parametrize(
    ("name", "bound", "number"),
    [
        ("get_history", "at least", 1),
        ("add_detection", "at least", 7),
        ("get_detection", "exactly", 2),
        ("_get_conn", "exactly", 1),
        ("__init__", "exactly", 2),
        ("_row_to_dict", "exactly", 1),
    ],
)
def test_a_call_through_the_class_without_any_argument(store_class, name, bound, number):
    assert told(getattr(store_class, name)) == count_text(name, bound, number, 0)


def test_the_static_method_counts_no_object(store, store_class):
    assert told(store._row_to_dict, 1, 2) == count_text("_row_to_dict", "exactly", 1, 2)
    assert told(store_class._row_to_dict) == count_text("_row_to_dict", "exactly", 1, 0)
    assert store_class._row_to_dict(row={"id": 1}) == {"id": 1}
    assert told(store._row_to_dict, {}, row={}) == multiple("_row_to_dict", "row")


def test_a_method_with_the_object_alone_takes_no_keyword(store):
    assert told(store._get_conn, limit=1) == unexpected("_get_conn", "limit")
    assert told(store._init_schema, db_path="a") == unexpected("_init_schema", "db_path")


def test_the_object_may_be_given_by_keyword(store, store_class):
    assert store_class.get_history(self=store) == []
    assert store_class.get_history(limit=1, self=store) == []
    assert told(store.get_history, self=store) == multiple("get_history", "self")


def test_an_unknown_keyword(store):
    assert told(store.get_history, page=2) == unexpected("get_history", "page")
    assert told(store.get_history, LIMIT=2) == unexpected("get_history", "LIMIT")
    assert told(store.get_history, **{"": 2}) == unexpected("get_history", "")
    assert told(store.get_history, **{"größe": 2}) == unexpected("get_history", "größe")
    assert told(store.get_history, **{"limit\0": 2}) == unexpected("get_history", "limit\0")


def test_a_keyword_for_a_parameter_given_by_position(store):
    assert told(store.get_history, 5, limit=3) == multiple("get_history", "limit")
    assert told(store.update_mmc_data, 1, {}, mmc_data={}) == multiple(
        "update_mmc_data", "mmc_data"
    )


@pytest.mark.parametrize(
    ("named", "position"),
    [
        ({}, 1),
        ({"plates": []}, 2),
        ({"confidences": []}, 1),
        ({"plates": [], "confidences": [], "bboxes": [], "ocr_time": 0}, 4),
        ({"plates": [], "confidences": [], "bboxes": [], "processing_time": 0, "success": 1}, 5),
        ({"detection_confidences": [], "image_path": "a"}, 1),
    ],
)
def test_a_required_parameter_missing_after_keywords_is_told_by_its_position(
    store, named, position
):
    assert told(store.add_detection, **named) == count_text(
        "add_detection", "at least", 7, position
    )


def test_a_required_parameter_missing_after_positions_and_keywords(store):
    expected = count_text("add_detection", "at least", 7, 3)
    assert told(store.add_detection, [], [], ocr_time=1) == expected
    expected = count_text("update_image_paths", "exactly", 4, 2)
    assert told(store.update_image_paths, 1, thumbnail_path="b") == expected


def test_a_missing_object_is_told_by_its_position(store_class):
    assert told(store_class.get_history, limit=1) == count_text("get_history", "at least", 1, 0)
    assert told(store_class.get_detection, detection_id=1) == count_text(
        "get_detection", "exactly", 2, 0
    )


def test_too_many_positions_come_before_bad_keywords(store):
    expected = count_text("get_history", "at most", 5, 6)
    assert told(store.get_history, 1, 2, 3, 4, 5, page=1) == expected
    assert told(store.get_history, 1, 2, 3, 4, 5, limit=1) == expected


def test_bad_keywords_come_before_missing_parameters(store):
    assert told(store.update_image_paths, path="a") == unexpected("update_image_paths", "path")
    assert told(store.update_image_paths, 1, detection_id=1) == multiple(
        "update_image_paths", "detection_id"
    )


def test_keywords_are_checked_in_the_order_in_which_they_are_given(store):
    first_unknown = {"page": 1, "limit": 2}
    first_double = {"limit": 2, "page": 1}
    assert told(store.get_history, 5, **first_unknown) == unexpected("get_history", "page")
    assert told(store.get_history, 5, **first_double) == multiple("get_history", "limit")


def test_keywords_in_any_order_mixed_with_positions(native, store):
    calls = []

    class Recorded(native.ANPRDatabase):
        def _get_conn(self):
            calls.append("opened")
            return super()._get_conn()

    recorded = Recorded(store.db_path)
    detection_id = recorded.add_detection(
        ["A"], [1.5], ocr_time=3.0, bboxes=[], success=0, detector_time=2.0, processing_time=1.0
    )
    record = recorded.get_detection(detection_id=detection_id)
    assert record["plates"] == ["A"]
    assert (record["processing_time"], record["detector_time"], record["ocr_time"]) == (1, 2, 3)
    assert (record["success"], record["image_path"]) == (0, None)
    assert len(calls) == 3


def test_a_keyword_name_of_a_text_subclass_is_a_name(store):
    class Name(str):
        __slots__ = ()

    assert store.get_history(**{Name("limit"): 1}) == []
    assert told(store.get_history, **{Name("page"): 1}) == unexpected("get_history", "page")


def test_a_keyword_name_made_at_run_time_is_found(store):
    name = "".join(["lim", "it"])
    assert store.get_history(**{name: 1}) == []


def test_a_keyword_name_that_is_no_text_fails(store, store_class):
    told_here = type_and_text(error_of(vectorcall, store_class.get_history, (store,), (7,), (1,)))
    assert told_here == (TypeError, "get_history() keywords must be strings")
    told_here = type_and_text(error_of(vectorcall, store_class._get_conn, (store,), (7,), (1,)))
    assert told_here == (TypeError, "_get_conn() keywords must be strings")


def test_the_interpreter_refuses_other_names_in_an_unpacked_mapping(store):
    error = error_of(lambda: store.get_history(**{7: 1}))
    assert type(error) is TypeError
    assert str(error).endswith("keywords must be strings")


def test_too_few_positions_without_keywords_are_counted(store):
    assert told(store.add_detection, [], []) == count_text("add_detection", "at least", 7, 3)


def test_nothing_is_opened_before_the_arguments_are_bound(native, tmp_path):
    opened = []

    class Watched(native.ANPRDatabase):
        def _get_conn(self):
            opened.append(True)
            return super()._get_conn()

    watched = Watched(tmp_path / "anpr.db")
    opened.clear()
    error_of(watched.get_detection)
    error_of(watched.get_history, page=1)
    error_of(watched.update_mmc_data, 1, {}, mmc_data={})
    assert opened == []


def test_an_argument_of_any_type_is_bound_as_it_is(store_class):
    assert type_and_text(error_of(store_class.get_history, 5)) == (
        AttributeError,
        "'int' object has no attribute '_get_conn'",
    )


def test_defaults_are_the_ones_that_the_function_has_at_the_call(store, store_class, monkeypatch):
    for _ in range(3):
        store.add_detection([], [], [], 0, 0, 0)
    monkeypatch.setattr(store_class.get_history, "__defaults__", (2, 0, None, None))
    assert len(store.get_history()) == 2
    assert len(store.get_history(offset=2)) == 1
    monkeypatch.undo()
    assert len(store.get_history()) == 3


def test_the_same_default_object_reaches_the_operation_at_every_call(native, tmp_path, monkeypatch):
    seen = []

    class Cursor:
        def fetchall(self):
            return []

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement, parameters):
            seen.append(parameters[0])
            return Cursor()

    store = native.ANPRDatabase(tmp_path / "anpr.db")
    default = 10**6
    monkeypatch.setattr(native.ANPRDatabase.get_history, "__defaults__", (default, 0, None, None))
    store._get_conn = Connection
    store.get_history()
    store.get_history(offset=3)
    assert all(limit is default for limit in seen)
    assert len(seen) == 2
