"""Rows become records: every column in its place, the five JSON columns decoded."""

from __future__ import annotations

import json
import math
import sqlite3

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.samples import DETECTION_COLUMNS, add
from support.values import exactly

JSON_COLUMNS = ["plates", "confidences", "bboxes", "mmc_data", "detection_confidences"]


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


ALL_FIVE = "SELECT " + ", ".join(f"? AS {name}" for name in JSON_COLUMNS)


def whole_row(store):
    return store._get_conn().execute("SELECT * FROM detections").fetchone()


def test_a_whole_row_becomes_a_record_of_all_columns_in_order(store, convert):
    add(store, detection_confidences=[0.75])
    store.update_mmc_data(1, {"mmc_color": "red"})
    record = convert(whole_row(store))
    assert type(record) is dict
    assert list(record) == DETECTION_COLUMNS
    assert record["plates"] == ["AB123", "XY-9"]
    assert record["confidences"] == [0.93, 0.5]
    assert record["bboxes"] == [[10, 20, 110, 60], [200, 20, 310, 60]]
    assert record["mmc_data"] == {"mmc_color": "red"}
    assert record["detection_confidences"] == [0.75]


def test_other_columns_keep_their_value_and_storage_class(store, convert):
    add(store, image_path="[1]", thumbnail_path=b'{"a": 1}')
    record = convert(whole_row(store))
    assert exactly(record["success"]) == exactly(1)
    assert exactly(record["num_plates"]) == exactly(2)
    assert exactly(record["processing_time"]) == exactly(0.25)
    assert record["image_path"] == "[1]"
    assert record["thumbnail_path"] == b'{"a": 1}'
    assert type(record["timestamp"]) is str


@pytest.mark.parametrize("value", [None, "", 0, 0.0, b""], ids=repr)
def test_a_false_value_stays_as_it_is(row_of, convert, value):
    record = convert(row_of(ALL_FIVE, [value] * 5))
    assert exactly(record) == exactly(dict.fromkeys(JSON_COLUMNS, value))


@pytest.mark.parametrize(
    ("text", "value"),
    [
        ("[]", []),
        ("{}", {}),
        ("null", None),
        ("true", True),
        ("false", False),
        ("0", 0),
        ("-0", 0),
        ("-0.0", -0.0),
        ("5", 5),
        ("5.0", 5.0),
        ("1e2", 100.0),
        ("1E400", math.inf),
        ('""', ""),
        ('"a\\u00e9\\ud83d\\ude97/\\/"', "aé🚗//"),
        ('"\\ud83d"', "\ud83d"),
        (" \t\r\n[1 , 2]\n ", [1, 2]),
        ("NaN", math.nan),
        ("[Infinity, -Infinity]", [math.inf, -math.inf]),
        ("123456789012345678901234567890", 123456789012345678901234567890),
        ('{"b": 1, "a": 2, "b": 3}', {"b": 3, "a": 2}),
        ('[[[{"a": [null]}]]]', [[[{"a": [None]}]]]),
        ('"\x7f\u2028"', "\x7f\u2028"),
    ],
)
def test_json_text_is_decoded(row_of, convert, text, value):
    record = convert(row_of(ALL_FIVE, [text] * 5))
    assert exactly(record) == exactly(dict.fromkeys(JSON_COLUMNS, value))


@pytest.mark.parametrize(
    "text",
    [
        "not JSON",
        " ",
        "[1, 2",
        "[1,]",
        "[1] 2",
        "{'a': 1}",
        '{"a"}',
        '{"a": 1,}',
        "{1: 2}",
        '"open',
        '"line\nbreak"',
        '"tab\tbreak"',
        '"null\0"',
        '"\\x41"',
        '"\\u12"',
        "01",
        "+1",
        ".5",
        "5.",
        "1e",
        "nan",
        "-NaN",
        "None",
        "True",
        "\u00a0[]",
        "\ufeff[]",
        "[]\0",
    ],
    ids=repr,
)
def test_what_is_no_json_keeps_its_raw_text(row_of, convert, text):
    record = convert(row_of(ALL_FIVE, [text] * 5))
    assert exactly(record) == exactly(dict.fromkeys(JSON_COLUMNS, text))


def test_each_column_is_decoded_or_kept_by_itself(row_of, convert):
    row = row_of(
        "SELECT '[1]' AS plates, 'broken' AS confidences, '[2]' AS bboxes, '' AS mmc_data,"
        " 'null' AS detection_confidences"
    )
    assert exactly(convert(row)) == exactly(
        {
            "plates": [1],
            "confidences": "broken",
            "bboxes": [2],
            "mmc_data": "",
            "detection_confidences": None,
        }
    )


def test_a_missing_column_is_not_added(row_of, convert):
    row = row_of("SELECT 5 AS id, '[1]' AS bboxes")
    assert exactly(convert(row)) == exactly({"id": 5, "bboxes": [1]})
    assert exactly(convert(row_of("SELECT 5 AS id"))) == exactly({"id": 5})


def test_the_order_of_keys_is_the_order_of_columns(row_of, convert):
    row = row_of(
        "SELECT '[5]' AS detection_confidences, 1 AS z, '[1]' AS plates, 2 AS a, '{}' AS mmc_data"
    )
    assert list(convert(row)) == ["detection_confidences", "z", "plates", "a", "mmc_data"]


def test_names_are_those_that_the_statement_gives(row_of, convert):
    stored = """SELECT '["A"]' AS plates, '[0.5]' AS confidences, '[]' AS bboxes"""
    row = row_of(f"SELECT plates AS p, confidences AS plates, bboxes AS PLATES FROM ({stored})")
    record = convert(row)
    assert list(record) == ["p", "plates", "PLATES"]
    assert record["p"] == '["A"]'
    assert record["plates"] == [0.5]


def test_a_name_in_other_case_is_not_one_of_the_five(row_of, convert):
    assert convert(row_of("SELECT '[1]' AS Plates")) == {"Plates": "[1]"}


def test_of_two_columns_of_one_name_the_record_has_one(row_of, convert):
    row = row_of("SELECT 1 AS a, 2 AS b, 3 AS a, '[1]' AS plates, '[2]' AS plates")
    assert exactly(convert(row)) == exactly(dict(row) | {"plates": [1]})
    assert list(convert(row)) == ["a", "b", "plates"]
    assert convert(row)["a"] == 1


@pytest.mark.parametrize(
    "encoding",
    ["utf-8", "utf-8-sig", "utf-16", "utf-16-le", "utf-16-be", "utf-32", "utf-32-le", "utf-32-be"],
)
def test_bytes_are_decoded_in_the_encoding_that_they_show(row_of, convert, encoding):
    stored = '["é", "車"]'.encode(encoding)
    assert convert(row_of("SELECT ? AS plates", (stored,))) == {"plates": ["é", "車"]}


@pytest.mark.parametrize("stored", [b"not JSON", b"[1", b"\xef\xbb\xbf", b" "], ids=repr)
def test_bytes_that_are_no_json_stay_bytes(row_of, convert, stored):
    assert exactly(convert(row_of("SELECT ? AS plates", (stored,)))) == exactly({"plates": stored})


def test_the_record_is_new_and_the_row_unchanged(row_of, convert):
    row = row_of("SELECT '[1]' AS plates")
    first, second = convert(row), convert(row)
    assert first is not second
    assert first["plates"] is not second["plates"]
    assert row["plates"] == "[1]"


def test_a_mapping_will_do_for_a_row(convert):
    row = {"plates": "[1]", "id": 5}
    record = convert(row)
    assert exactly(record) == exactly({"plates": [1], "id": 5})
    assert record is not row
    assert row == {"plates": "[1]", "id": 5}


def test_pairs_will_do_for_a_row(convert):
    assert convert([("id", 1), ("plates", "[2]")]) == {"id": 1, "plates": [2]}
    assert convert(pair for pair in [("plates", "[3]"), ("plates", "[4]")]) == {"plates": [4]}
    assert convert([]) == convert({}) == {}


def test_whatever_has_keys_will_do_for_a_row(convert):
    class Row:
        def keys(self):
            return iter(["plates", "id"])

        def __getitem__(self, name):
            return {"plates": '["A"]', "id": 5}[name]

    assert exactly(convert(Row())) == exactly({"plates": ["A"], "id": 5})


def test_pythons_own_row_will_do(convert):
    connection = sqlite3.connect(":memory:")
    connection.row_factory = sqlite3.Row
    row = connection.execute("SELECT '[1]' AS plates, 2 AS id").fetchone()
    connection.close()
    assert exactly(convert(row)) == exactly({"plates": [1], "id": 2})


def test_a_text_of_another_class_is_decoded(convert):
    class Text(str):
        __slots__ = ()

    assert exactly(convert({"plates": Text("[1]")})) == exactly({"plates": [1]})
    assert convert({"plates": bytearray(b"[1]")}) == {"plates": [1]}


def test_truth_is_the_values_own(convert):
    class Empty(str):
        __slots__ = ()

        def __bool__(self):
            return False

    kept = Empty("[1]")
    assert convert({"plates": kept})["plates"] is kept


values = st.recursive(
    st.none()
    | st.booleans()
    | st.integers()
    | st.floats(allow_nan=False)
    | st.text(st.characters(codec="utf-8")),
    lambda inner: (
        st.lists(inner, max_size=4)
        | st.dictionaries(st.text(st.characters(codec="utf-8")), inner, max_size=4)
    ),
    max_leaves=12,
)


@given(value=values)
def test_what_the_writer_wrote_comes_back(store_module, value):
    text = json.dumps(value)
    record = store_module.ANPRDatabase._row_to_dict({"mmc_data": text})
    assert exactly(record) == exactly({"mmc_data": value})
