"""Reader and writer by the road of callers: a recorded value, a stored text, a converted row."""

from __future__ import annotations

import json

import pytest
from hypothesis import given, settings
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from support import database
from support.json_cases import VALID_DOCUMENTS, mutated, outcome, pieces, random_run, soup, writable
from support.samples import add
from support.sql_cases import id_of

COLUMNS = ["plates", "confidences", "bboxes", "mmc_data", "detection_confidences"]
VALUES = [
    {"mmc_make": "Škoda", "mmc_color": "white"},
    {},
    None,
    [],
    "text",
    [float("nan"), float("-inf"), -0.0, 1e-5, 1e16],
    {1: "a", "1": "b", None: "c", True: "d", 1.5: "e"},
    {"lone": "\ud800", "pair": "\U0001f600"},
    [10**4000, -(10**30)],
    (1, (2, (3,))),
]
UNWRITABLE = [{1}, {"a": b"x"}, {(1, 2): 3}, object(), [10**5000]]


@pytest.fixture(scope="module")
def store(tmp_path_factory):
    store = ANPRDatabase(tmp_path_factory.mktemp("columns") / "anpr.db")
    add(store)
    return store


def stored(store, column, detection_id=1):
    return database.detection(store.db_path, detection_id)[column]


def converted(column):
    return lambda value: ANPRDatabase._row_to_dict({column: value})[column]


def decoded_or_kept(value):
    if not value:
        return value
    try:
        return json.loads(value)
    except json.JSONDecodeError:
        return value


@pytest.mark.parametrize("value", VALUES, ids=id_of)
def test_the_stored_text_is_what_python_writes(store, value):
    store.update_mmc_data(1, value)
    assert stored(store, "mmc_data") == json.dumps(value)


@given(value=writable)
@settings(max_examples=60)
def test_any_value_is_stored_as_python_writes_it(store, value):
    store.update_mmc_data(1, value)
    assert stored(store, "mmc_data") == json.dumps(value)


@pytest.mark.parametrize("value", UNWRITABLE, ids=lambda value: type(value).__name__)
def test_an_unwritable_value_leaves_the_column_as_it_was(store, value):
    store.update_mmc_data(1, {"before": 1})
    assert outcome(lambda v: store.update_mmc_data(1, v), value) == outcome(json.dumps, value)
    assert stored(store, "mmc_data") == '{"before": 1}'


WRITTEN = [
    (column, value)
    for column in ("plates", "confidences", "bboxes", "detection_confidences")
    for value in [*VALUES, *UNWRITABLE]
    # Without a length it fails before it is written; for no confidences nothing is stored.
    if hasattr(value, "__len__") or column != "plates"
    if value or column != "detection_confidences"
]


@pytest.mark.parametrize(("column", "value"), WRITTEN, ids=lambda v: type(v).__name__)
def test_each_list_of_a_detection_is_written_as_python_writes_it(store, column, value):
    ours = outcome(lambda _: stored(store, column, add(store, **{column: value})), None)
    assert ours == outcome(json.dumps, value)


@pytest.mark.parametrize("column", COLUMNS)
@pytest.mark.parametrize(
    "value",
    [
        *VALID_DOCUMENTS,
        *(None, "", b"", 0, 0.0, False, "null", "0", '""', "[", "nul", "\ufeff[]", "[1],"),
        *(1, 2.5, True, [], [1], {"a": 1}, memoryview(b"[]")),
        *(b"[1]", b"\xff", "[1, \u00e9]".encode("utf-16"), bytearray(b'{"a": 1}'), b"[1"),
        *("1" * 5000, "[" * 100_000),
    ],
    ids=id_of,
)
def test_a_column_is_decoded_or_kept(column, value):
    assert outcome(converted(column), value) == outcome(decoded_or_kept, value)


def test_broken_documents_are_kept_and_valid_ones_decoded():
    convert = converted("mmc_data")
    for text in (*mutated(11, 3_000), *soup(12, 3_000)):
        assert outcome(convert, text) == outcome(decoded_or_kept, text), ascii(text)


@random_run(500)
@given(pieces)
def test_any_stored_text_is_decoded_or_kept(text):
    assert outcome(converted("plates"), text) == outcome(decoded_or_kept, text)


def test_every_nan_of_a_row_is_the_one_object_that_python_reads():
    record = ANPRDatabase._row_to_dict({"confidences": "[NaN, 1.0]", "mmc_data": '{"a": NaN}'})
    assert record["confidences"][0] is json.loads("NaN")
    assert record["mmc_data"]["a"] is json.loads("NaN")
