"""Rows become records: every column in its place, the five JSON columns decoded."""

from __future__ import annotations

import json
import math
import sqlite3

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.answering import answering
from support.samples import DETECTION_COLUMNS, add
from support.values import exactly

JSON_COLUMNS = ["plates", "confidences", "bboxes", "mmc_data", "detection_confidences"]
ALL_FIVE = "SELECT " + ", ".join(f"? AS {name}" for name in JSON_COLUMNS)


@pytest.fixture
def convert(store_module):
    return store_module.ANPRDatabase._row_to_dict


@pytest.fixture
def row_of(store_module):
    """A row as a connection of the store reads it."""
    store = store_module.ANPRDatabase.__new__(store_module.ANPRDatabase)
    store.db_path = ":memory:"
    connection = store._get_conn()
    return lambda sql, parameters=(): connection.execute(sql, parameters).fetchone()


def test_a_whole_row_becomes_a_record_of_all_columns_in_order(store, convert):
    add(store, detection_confidences=[0.75], image_path="[1]", thumbnail_path=b'{"a": 1}')
    store.update_mmc_data(1, {"mmc_color": "red"})
    record = convert(store._get_conn().execute("SELECT * FROM detections").fetchone())
    assert type(record) is dict
    assert list(record) == DETECTION_COLUMNS
    assert type(record.pop("timestamp")) is str
    assert exactly(record) == exactly(
        {
            "id": 1,
            "num_plates": 2,
            "plates": ["AB123", "XY-9"],
            "confidences": [0.93, 0.5],
            "bboxes": [[10, 20, 110, 60], [200, 20, 310, 60]],
            "processing_time": 0.25,
            "detector_time": 0.1,
            "ocr_time": 0.15,
            "image_path": "[1]",
            "thumbnail_path": b'{"a": 1}',
            "success": 1,
            "mmc_data": {"mmc_color": "red"},
            "detection_confidences": [0.75],
        }
    )


def same(*values):
    return [(value, value) for value in values]


# fmt: off
STORED = [
    # A false value stays as it is.
    *same(None, "", 0, 0.0, b""),
    # JSON text is decoded.
    ("[]", []), ("{}", {}), ("null", None), ("true", True), ("false", False), ("0", 0), ("-0", 0),
    ("-0.0", -0.0), ("5", 5), ("5.0", 5.0), ("1e2", 100.0), ("1E400", math.inf), ('""', ""),
    ('"a\\u00e9\\ud83d\\ude97/\\/"', "aé🚗//"), ('"\\ud83d"', "\ud83d"),
    (" \t\r\n[1 , 2]\n ", [1, 2]), ("NaN", math.nan),
    ("[Infinity, -Infinity]", [math.inf, -math.inf]),
    ("123456789012345678901234567890", 123456789012345678901234567890),
    ('{"b": 1, "a": 2, "b": 3}', {"b": 3, "a": 2}), ('[[[{"a": [null]}]]]', [[[{"a": [None]}]]]),
    ('"\x7f\u2028"', "\x7f\u2028"),
    # What is no JSON keeps its raw text.
    *same(
        "not JSON", " ", "[1, 2", "[1,]", "[1] 2", "{'a': 1}", '{"a"}', '{"a": 1,}', "{1: 2}",
        '"open', '"line\nbreak"', '"tab\tbreak"', '"null\0"', '"\\x41"', '"\\u12"', "01", "+1",
        ".5", "5.", "1e", "nan", "-NaN", "None", "True", "\u00a0[]", "\ufeff[]", "[]\0",
    ),
    # Bytes are decoded in the encoding that they show, and stay bytes when they are no JSON.
    *(
        ('["é", "車"]'.encode(f"utf-{form}"), ["é", "車"])
        for form in ("8", "8-sig", "16", "16-le", "16-be", "32", "32-le", "32-be")
    ),
    *same(b"not JSON", b"[1", b"\xef\xbb\xbf", b" "),
]
# fmt: on


@pytest.mark.parametrize(("stored", "value"), STORED, ids=ascii)
def test_any_stored_value_of_the_five_columns(row_of, convert, stored, value):
    record = convert(row_of(ALL_FIVE, [stored] * 5))
    assert exactly(record) == exactly(dict.fromkeys(JSON_COLUMNS, value))


# Each column is decoded or kept by itself; none is added; keys are in the order of the columns;
# names are those that the statement gives, to the letter; of two of one name the record has one.
SELECTED = {
    "SELECT '[1]' AS plates, 'broken' AS confidences, '[2]' AS bboxes, '' AS mmc_data,"
    " 'null' AS detection_confidences": [
        ("plates", [1]),
        ("confidences", "broken"),
        ("bboxes", [2]),
        ("mmc_data", ""),
        ("detection_confidences", None),
    ],
    "SELECT 5 AS id, '[1]' AS bboxes": [("id", 5), ("bboxes", [1])],
    "SELECT 5 AS id": [("id", 5)],
    "SELECT '[5]' AS detection_confidences, 1 AS z, '[1]' AS plates, 2 AS a, '{}' AS mmc_data": [
        ("detection_confidences", [5]),
        ("z", 1),
        ("plates", [1]),
        ("a", 2),
        ("mmc_data", {}),
    ],
    "SELECT plates AS p, confidences AS plates, bboxes AS PLATES FROM"
    " (SELECT '[\"A\"]' AS plates, '[0.5]' AS confidences, '[]' AS bboxes)": [
        ("p", '["A"]'),
        ("plates", [0.5]),
        # A row is read by name in any case: the first that has it.
        ("PLATES", "[0.5]"),
    ],
    "SELECT '[1]' AS Plates": [("Plates", "[1]")],
    "SELECT 1 AS a, 2 AS b, 3 AS a, '[1]' AS plates, '[2]' AS plates": [
        ("a", 1),
        ("b", 2),
        ("plates", [1]),
    ],
}


@pytest.mark.parametrize("sql", SELECTED)
def test_the_columns_of_a_record_are_those_of_the_statement(row_of, convert, sql):
    assert exactly(convert(row_of(sql))) == exactly(dict(SELECTED[sql]))


def test_the_record_is_new_and_the_row_unchanged(row_of, convert):
    for row in (row_of("SELECT '[1]' AS plates"), {"plates": "[1]"}):
        first, second = convert(row), convert(row)
        assert first is not second
        assert first is not row
        assert first["plates"] is not second["plates"]
        assert row["plates"] == "[1]"


def keyed(keys):
    """Whatever has keys will do for a row."""
    values = {"plates": '["A"]', "id": 5}
    return answering(object, keys=keys, __getitem__=lambda self, name: values[name])


ROWS = {
    "a mapping": (lambda: {"plates": "[1]", "id": 5}, {"plates": [1], "id": 5}),
    "no columns": (dict, {}),
    "no pairs": (list, {}),
    "pairs": (lambda: [("id", 1), ("plates", "[2]")], {"id": 1, "plates": [2]}),
    "an iterator of pairs": (lambda: iter([("plates", "[3]"), ("plates", "[4]")]), {"plates": [4]}),
    "keys": (lambda: keyed(iter(["plates", "id"])), {"plates": ["A"], "id": 5}),
    "a text of another class": (lambda: {"plates": answering(str, "[1]")}, {"plates": [1]}),
    "a bytearray": (lambda: {"plates": bytearray(b"[1]")}, {"plates": [1]}),
}


@pytest.mark.parametrize("name", ROWS)
def test_what_will_do_for_a_row(convert, name):
    make, record = ROWS[name]
    assert exactly(convert(make())) == exactly(record)


def test_pythons_own_row_will_do(convert):
    connection = sqlite3.connect(":memory:")
    connection.row_factory = sqlite3.Row
    row = connection.execute("SELECT '[1]' AS plates, 2 AS id").fetchone()
    connection.close()
    assert exactly(convert(row)) == exactly({"plates": [1], "id": 2})


def test_truth_is_the_values_own(convert):
    kept = answering(str, "[1]", __bool__=False)
    assert convert({"plates": kept})["plates"] is kept


texts = st.text(st.characters(codec="utf-8"))
values = st.recursive(
    st.none() | st.booleans() | st.integers() | st.floats(allow_nan=False) | texts,
    lambda inner: st.lists(inner, max_size=4) | st.dictionaries(texts, inner, max_size=4),
    max_leaves=12,
)


@given(value=values)
def test_what_the_writer_wrote_comes_back(store_module, value):
    text = json.dumps(value)
    record = store_module.ANPRDatabase._row_to_dict({"mmc_data": text})
    assert exactly(record) == exactly({"mmc_data": value})
