"""Rankings that fail, and which errors of the reader they absorb: two kinds, for each row alone."""

from __future__ import annotations

import json
from types import SimpleNamespace
from unittest import mock

import pytest

from support.fakes import steps
from support.samples import add
from support.stored_rows import put
from support.values import error_of, exactly, type_and_text

AFTER_THE_SCOPE = ["_get_conn", "enter", "execute", "fetchall", "exit"]


@pytest.mark.parametrize("stored", [b"\xff", b'["\xff"]', b'["A"]\xff'], ids=repr)
def test_bytes_that_are_no_text_fail_it(recorded, db_path, stored):
    store, log = recorded
    put(db_path, "2", num_plates=1, plates='["A"]')
    put(db_path, "1", num_plates=1, plates=stored)
    error = error_of(store.get_top_plates)
    assert type_and_text(error) == type_and_text(error_of(json.loads, stored))
    assert type(error) is UnicodeDecodeError
    assert steps(log) == AFTER_THE_SCOPE


def test_more_digits_than_the_interpreter_reads_fail_it(store, db_path):
    put(db_path, num_plates=1, plates="[" + "1" * 5000 + "]")
    error = error_of(store.get_top_plates)
    assert type_and_text(error) == (
        ValueError,
        "Exceeds the limit (4300 digits) for integer string conversion: value has 5000 digits;"
        " use sys.set_int_max_str_digits() to increase the limit",
    )


@pytest.mark.parametrize(
    ("opening", "kind"), [("[", "array"), ('{"A": ', "object")], ids=["list", "mapping"]
)
def test_nesting_too_deep_fails_it(store, db_path, opening, kind):
    put(db_path, num_plates=1, plates=opening * 100_000)
    assert type_and_text(error_of(store.get_top_plates)) == (
        RecursionError,
        f"maximum recursion depth exceeded while decoding a JSON {kind} from a unicode string",
    )


@pytest.fixture
def replace(store_module, monkeypatch):
    """Puts a reader in the place of `json` in the store's namespace."""

    def with_reader(loads, decode_error=json.JSONDecodeError):
        replaced = SimpleNamespace(loads=loads, JSONDecodeError=decode_error)
        monkeypatch.setattr(store_module, "json", replaced)

    return with_reader


def test_a_replaced_reader_is_given_each_text_after_the_scope(recorded, db_path, replace):
    store, log = recorded

    def loads(*arguments, **named):
        log.append(("loads", arguments, named))
        return [f"read {arguments[0]}"]

    for number, plates in enumerate(["one", None, "two"]):
        put(db_path, str(number), num_plates=1, plates=plates)
    replace(loads)
    counted = store.get_top_plates()
    assert [entry["plate"] for entry in counted] == ["read two", "read None", "read one"]
    assert steps(log) == [*AFTER_THE_SCOPE, *["loads"] * 3]
    assert [entry[1:] for entry in log[-3:]] == [((t,), {}) for t in ("two", None, "one")]


def test_a_patched_reader_of_the_standard_module_is_called(store):
    add(store)
    with mock.patch("json.loads", return_value=["patched"]):
        assert store.get_top_plates() == [{"plate": "patched", "count": 1}]
    assert len(store.get_top_plates()) == 2


def failing_after(error, *elements):
    yield from elements
    raise error


@pytest.mark.parametrize(("error", "absorbed"), [
    (TypeError("of the reader"), True), (json.JSONDecodeError("of the reader", "", 0), True),
    (ValueError("of the reader"), False), (LookupError("of the reader"), False),
    (RecursionError("of the reader"), False), (AttributeError("of the reader"), False),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_two_kinds_of_error_are_absorbed_wherever_they_arise(store, replace, error, absorbed):
    def raising(text):
        raise error

    class NoKey:
        def __hash__(self):
            raise error

    class NoEqual:
        def __hash__(self):
            return hash("A")

        def __eq__(self, other):
            raise error

    add(store)
    for loads, kept in (
        (raising, []),
        (lambda text: failing_after(error, "A", "A"), [("A", 2)]),
        (lambda text: ["A", NoKey(), "B"], [("A", 1)]),
        (lambda text: ["A", NoEqual(), "B"], [("A", 1)]),
    ):
        replace(loads)
        if absorbed:
            counted = [(entry["plate"], entry["count"]) for entry in store.get_top_plates()]
            assert counted == kept
        else:
            assert error_of(store.get_top_plates) is error


def test_the_error_absorbed_is_the_one_of_the_namespace(store, replace):
    class Broken(Exception):
        pass

    def broken(text):
        raise Broken

    def standard(text):
        raise json.JSONDecodeError("standard", "", 0)

    add(store)
    replace(broken, Broken)
    assert store.get_top_plates() == []
    replace(standard, Broken)
    assert str(error_of(store.get_top_plates)) == "standard: line 1 column 1 (char 0)"
    replace(broken)
    assert type(error_of(store.get_top_plates)) is Broken


def test_the_error_is_looked_up_only_when_a_row_has_failed(store, store_module, monkeypatch):
    add(store)
    monkeypatch.setattr(store_module, "json", SimpleNamespace(loads=json.loads))
    assert len(store.get_top_plates()) == 2
    monkeypatch.setattr(store_module, "json", SimpleNamespace(loads=lambda text: 5))
    assert type_and_text(error_of(store.get_top_plates)) == (
        AttributeError,
        "'types.SimpleNamespace' object has no attribute 'JSONDecodeError'",
    )


def test_the_reader_is_looked_up_for_each_row(store, store_module, monkeypatch):
    add(store)
    add(store)

    def first(text):
        monkeypatch.setattr(store_module, "json", SimpleNamespace(loads=lambda text: ["second"]))
        return ["first"]

    monkeypatch.setattr(store_module, "json", SimpleNamespace(loads=first))
    assert [entry["plate"] for entry in store.get_top_plates()] == ["first", "second"]


def test_elements_of_any_kind_count_by_their_own_equality(store, replace):
    class Plate:
        def __init__(self, text):
            self.text = text

        def __hash__(self):
            return 7

        def __eq__(self, other):
            return self.text.upper() == other.text.upper()

    first = Plate("ab12")
    add(store)
    replace(lambda text: iter([first, Plate("AB12"), Plate("X"), ("A", 1), ("A", 1)]))
    counted = store.get_top_plates()
    assert counted[0]["plate"] is first
    assert [entry["count"] for entry in counted] == [2, 2, 1]
    assert exactly(counted[1]["plate"]) == exactly(("A", 1))
