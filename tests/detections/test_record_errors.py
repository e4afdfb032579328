"""Row conversion tolerates broken JSON and nothing else."""

from __future__ import annotations

import json
import sys

import pytest

from support import database
from support.samples import add
from support.values import error_of, type_and_text


@pytest.fixture
def convert(store_module):
    return store_module.ANPRDatabase._row_to_dict


NOT_TEXT = "the JSON object must be str, bytes or bytearray, not {}"


@pytest.mark.parametrize("value", [5, -1, 0.5, float("nan"), True, [1], {"a": 1}, (1,), object()])
@pytest.mark.parametrize("name", ["plates", "confidences", "bboxes", "mmc_data"])
def test_a_true_value_that_is_no_text_is_a_type_error(convert, name, value):
    expected = (TypeError, NOT_TEXT.format(type(value).__name__))
    assert type_and_text(error_of(convert, {"id": 1, name: value})) == expected


@pytest.mark.parametrize("stored", [b"\xff\xff\xff", b'"\xe9"', b"\xff\xfe\x00"])
def test_bytes_of_no_encoding_are_an_error_and_not_a_syntax_error(convert, stored):
    expected = error_of(json.loads, stored)
    assert type(expected) is UnicodeDecodeError
    assert type_and_text(error_of(convert, {"plates": stored})) == type_and_text(expected)


def test_the_limit_on_the_digits_of_an_integer_is_not_a_syntax_error(convert):
    text = "1" * (sys.get_int_max_str_digits() + 1)
    expected = error_of(json.loads, text)
    assert type(expected) is ValueError
    assert type_and_text(error_of(convert, {"plates": text})) == type_and_text(expected)


def test_nesting_without_end_is_a_recursion_error(convert):
    error = error_of(convert, {"plates": "[" * 100_000})
    assert type(error) is RecursionError


def test_the_columns_are_examined_in_a_fixed_order(convert):
    row = {"detection_confidences": b"\xff", "mmc_data": 5, "bboxes": 0.5, "plates": "[1]"}
    assert str(error_of(convert, row)) == NOT_TEXT.format("float")
    del row["bboxes"]
    assert str(error_of(convert, row)) == NOT_TEXT.format("int")
    del row["mmc_data"]
    assert type(error_of(convert, row)) is UnicodeDecodeError


@pytest.mark.parametrize(
    "row", [None, 5, "text", ["text"], [("a", 1, 2)], [5], b"bytes", [([], 1)]], ids=repr
)
def test_what_is_no_row_fails_as_a_mapping_made_of_it(convert, row):
    assert type_and_text(error_of(convert, row)) == type_and_text(error_of(dict, row))


def test_an_error_of_the_row_itself_reaches_the_caller(convert):
    class Row:
        def keys(self):
            return ["id", "plates"]

        def __getitem__(self, name):
            if name == "plates":
                raise LookupError("no plates here")
            return 1

    assert type_and_text(error_of(convert, Row())) == (LookupError, "no plates here")


def test_an_error_of_a_values_truth_reaches_the_caller(convert):
    class Value:
        def __bool__(self):
            raise ArithmeticError("neither true nor false")

    assert type_and_text(error_of(convert, {"plates": Value()})) == (
        ArithmeticError,
        "neither true nor false",
    )


@pytest.mark.parametrize(
    ("stored", "expected"),
    [
        ("x'ff'", UnicodeDecodeError),
        ("x'22ff22'", UnicodeDecodeError),
    ],
)
def test_a_reader_fails_as_a_whole(store, db_path, stored, expected):
    for _ in range(3):
        add(store)
    database.run_script(db_path, f"UPDATE detections SET bboxes = {stored} WHERE id = 2")
    assert type(error_of(store.get_history)) is expected
    assert type(error_of(store.get_detection, 2)) is expected
    assert store.get_detection(1)["id"] == 1
    assert [r["id"] for r in store.get_history(1)] == [3]


def test_a_number_in_a_text_column_is_text_by_then(store, db_path):
    """The column's affinity turns a number into text, which decodes to that number."""
    add(store)
    database.run_script(db_path, "UPDATE detections SET plates = 5, confidences = 0.5")
    record = store.get_detection(1)
    assert (record["plates"], record["confidences"]) == (5, 0.5)


def test_broken_text_in_the_file_fails_no_reader(store, db_path):
    add(store)
    database.run_script(db_path, "UPDATE detections SET plates = '[1', mmc_data = 'null'")
    (record,) = store.get_history()
    assert (record["plates"], record["mmc_data"]) == ("[1", None)
    assert record["confidences"] == [0.93, 0.5]
