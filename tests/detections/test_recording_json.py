"""The JSON text that recording writes: exactly what Python's default writer gives."""

from __future__ import annotations

import enum
import json
import math

import pytest
from hypothesis import given

from support import database
from support.fakes import Text
from support.json_cases import writable
from support.samples import add
from support.values import error_of, exactly, type_and_text


def written(store, value) -> str:
    store.update_mmc_data(1, value)
    return database.detection(store.db_path, 1)["mmc_data"]


@pytest.fixture
def store(store):
    add(store)
    return store


class Colour(enum.IntEnum):
    RED = 5


@pytest.mark.parametrize(("value", "text"), [
    ([], "[]"), ((), "[]"), ({}, "{}"), ([[], {}, ()], "[[], {}, []]"), ([1, 2, 3], "[1, 2, 3]"),
    (("a", "b"), '["a", "b"]'), ({"b": 1, "a": 2}, '{"b": 1, "a": 2}'),
    ({"mmc_color": "white", "mmc_type": "sedan"}, '{"mmc_color": "white", "mmc_type": "sedan"}'),
    ({1: 1, 0.5: 2, True: 3, None: 4}, '{"1": 3, "0.5": 2, "null": 4}'),
    ({False: 1, -7: 2}, '{"false": 1, "-7": 2}'),
    ({math.inf: 1, 1e16: 2, 2**70: 3}, f'{{"Infinity": 1, "1e+16": 2, "{2**70}": 3}}'),
    ({"": ""}, '{"": ""}'), (None, "null"), (True, "true"), (False, "false"), (0, "0"), (-5, "-5"),
    (10**40, "1" + "0" * 40), (0.1, "0.1"), (100.0, "100.0"), (-0.0, "-0.0"), (1e-05, "1e-05"),
    (0.0001, "0.0001"), (1e16, "1e+16"), (9999999999999998.0, "9999999999999998.0"),
    (5e-324, "5e-324"), (1.7976931348623157e308, "1.7976931348623157e+308"), (math.nan, "NaN"),
    (math.inf, "Infinity"), (-math.inf, "-Infinity"), ("", '""'), ('a"b\\c/d', '"a\\"b\\\\c/d"'),
    ("\b\f\n\r\t", '"\\b\\f\\n\\r\\t"'), ("\x00\x0b\x1f", '"\\u0000\\u000b\\u001f"'),
    (" ~\x7f\x80", '" ~\\u007f\\u0080"'), ("éÉ車", '"\\u00e9\\u00c9\\u8eca"'),
    ("\uffff\U00010000\U0010ffff", '"\\uffff\\ud800\\udc00\\udbff\\udfff"'),
    ("\ud83d", '"\\ud83d"'), (Text("a"), '"a"'), (Colour.RED, "5"),
    ({Colour.RED: 1, Text("a"): 2}, '{"5": 1, "a": 2}'),
], ids=repr)  # fmt: skip
def test_the_text_of_a_value(store, value, text):
    assert text == json.dumps(value)
    assert written(store, value) == text


def test_lists_of_plates_and_confidences_are_stored_as_ascii_and_read_back(store, db_path):
    plates = ["ÄÖ-Ü 12", "京都 330 さ", "م ه 1234", "🚗"]
    detection_id = add(store, plates=plates, confidences=[0.5, math.nan])
    row = database.detection(db_path, detection_id)
    assert row["plates"] == json.dumps(plates)
    assert row["plates"].isascii()
    assert row["confidences"] == "[0.5, NaN]"
    record = store.get_detection(detection_id)
    assert record["plates"] == plates
    assert math.isnan(record["confidences"][1])


def self_containing_list():
    items = [1]
    items.append([items])
    return items


def self_containing_mapping():
    mapping = {}
    mapping["a"] = [mapping]
    return mapping


@pytest.mark.parametrize(("value", "expected"), [
    ({1}, (TypeError, "Object of type set is not JSON serializable")),
    ([b"a"], (TypeError, "Object of type bytes is not JSON serializable")),
    ({"a": object}, (TypeError, "Object of type type is not JSON serializable")),
    (1j, (TypeError, "Object of type complex is not JSON serializable")),
    ({(1,): 1}, (TypeError, "keys must be str, int, float, bool or None, not tuple")),
    ({b"a": 1}, (TypeError, "keys must be str, int, float, bool or None, not bytes")),
    (self_containing_list(), (ValueError, "Circular reference detected")),
    (self_containing_mapping(), (ValueError, "Circular reference detected")),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_what_cannot_be_written(store, db_path, value, expected):
    before = database.contents(db_path)
    assert type_and_text(error_of(json.dumps, value)) == expected
    assert type_and_text(error_of(store.update_mmc_data, 1, value)) == expected
    for name in ("plates", "confidences", "bboxes", "detection_confidences"):
        sized = [value] if name == "plates" else value
        assert type_and_text(error_of(add, store, **{name: sized})) == expected
    assert database.contents(db_path) == before


def test_the_same_list_twice_is_no_circle(store):
    part = [1]
    assert written(store, [part, part, {"a": part}]) == '[[1], [1], {"a": [1]}]'


@given(value=writable)
def test_any_value_is_stored_as_the_default_writer_writes_it(store, value):
    assert exactly(written(store, value)) == exactly(json.dumps(value))
