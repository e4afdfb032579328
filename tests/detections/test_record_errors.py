"""Row conversion tolerates broken JSON and nothing else."""

from __future__ import annotations

import json
import sys

import pytest

from support import database
from support.answering import answering
from support.fakes import Undecided
from support.samples import add
from support.values import error_of, type_and_text

NOT_TEXT = "the JSON object must be str, bytes or bytearray, not {}"


@pytest.fixture
def convert(store_module):
    return store_module.ANPRDatabase._row_to_dict


@pytest.mark.parametrize("value", [5, -1, 0.5, float("nan"), True, [1], {"a": 1}, (1,), object()])
def test_a_true_value_that_is_no_text_is_a_type_error(convert, value):
    expected = (TypeError, NOT_TEXT.format(type(value).__name__))
    for name in ("plates", "confidences", "bboxes", "mmc_data", "detection_confidences"):
        assert type_and_text(error_of(convert, {"id": 1, name: value})) == expected


# What the reader raises that is no syntax error: bytes of no encoding, an integer beyond the limit
# on digits.
RAISED = [
    (b"\xff\xff\xff", UnicodeDecodeError),
    (b'"\xe9"', UnicodeDecodeError),
    (b"\xff\xfe\x00", UnicodeDecodeError),
    ("1" * (sys.get_int_max_str_digits() + 1), ValueError),
]


@pytest.mark.parametrize(("stored", "kind"), RAISED, ids=range(len(RAISED)))
def test_any_other_error_of_the_reader_reaches_the_caller(convert, stored, kind):
    expected = error_of(json.loads, stored)
    assert type(expected) is kind
    assert type_and_text(error_of(convert, {"plates": stored})) == type_and_text(expected)


def test_nesting_without_end_is_a_recursion_error(convert):
    assert type(error_of(convert, {"plates": "[" * 100_000})) is RecursionError


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


def test_an_error_of_the_row_or_of_a_values_truth_reaches_the_caller(convert):
    error = LookupError("no plates here")
    row = answering(object, keys=["plates"], __getitem__=error)
    assert error_of(convert, row) is error
    error = ArithmeticError("neither true nor false")
    assert error_of(convert, {"plates": Undecided(error)}) is error


@pytest.mark.parametrize("stored", ["x'ff'", "x'22ff22'"])
def test_a_reader_fails_as_a_whole(store, db_path, stored):
    for _ in range(3):
        add(store)
    database.run_script(db_path, f"UPDATE detections SET bboxes = {stored} WHERE id = 2")
    assert type(error_of(store.get_history)) is UnicodeDecodeError
    assert type(error_of(store.get_detection, 2)) is UnicodeDecodeError
    assert store.get_detection(1)["id"] == 1
    assert [r["id"] for r in store.get_history(1)] == [3]


def test_what_another_program_stored_as_numbers_or_broken_text(store, db_path):
    """A column's affinity turns a number into text, which decodes to that number."""
    add(store)
    database.run_script(
        db_path,
        "UPDATE detections SET plates = 5, confidences = 0.5, bboxes = '[1', mmc_data = 'null'",
    )
    (record,) = store.get_history()
    assert record == store.get_detection(1)
    assert (record["plates"], record["confidences"]) == (5, 0.5)
    assert (record["bboxes"], record["mmc_data"]) == ("[1", None)
