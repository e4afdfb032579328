"""Reader and writer by the road of callers: a recorded value, a stored text, a converted row."""

from __future__ import annotations

import json
import sqlite3
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from hypothesis import given, settings
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from support.json_cases import VALID_DOCUMENTS, mutated, outcome, pieces, soup, writable
from support.sql_cases import id_of

ARGUMENTS = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)


@pytest.fixture(scope="module")
def recorded(tmp_path_factory: pytest.TempPathFactory) -> tuple[ANPRDatabase, Path]:
    path = tmp_path_factory.mktemp("columns") / "anpr.db"
    database = ANPRDatabase(str(path))
    database.add_detection(*ARGUMENTS)
    return database, path


def stored(path: Path, column: str) -> Any:
    connection = sqlite3.connect(path)
    try:
        (value,) = connection.execute(
            f"SELECT {column} FROM detections ORDER BY id DESC LIMIT 1"
        ).fetchone()
    finally:
        connection.close()
    return value


def converted(column: str) -> Callable[[Any], Any]:
    return lambda value: ANPRDatabase._row_to_dict({column: value})[column]


def decoded_or_kept(value: Any) -> Any:
    if not value:
        return value
    try:
        return json.loads(value)
    except json.JSONDecodeError:
        return value


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


@pytest.mark.parametrize("value", VALUES, ids=id_of)
def test_the_stored_text_is_what_python_writes(
    recorded: tuple[ANPRDatabase, Path], value: Any
) -> None:
    database, path = recorded
    database.update_mmc_data(1, value)
    assert stored(path, "mmc_data") == json.dumps(value)


@given(value=writable)
@settings(max_examples=60, deadline=None)
def test_any_value_is_stored_as_python_writes_it(
    recorded: tuple[ANPRDatabase, Path], value: Any
) -> None:
    database, path = recorded
    database.update_mmc_data(1, value)
    assert stored(path, "mmc_data") == json.dumps(value)


@pytest.mark.parametrize("value", UNWRITABLE, ids=lambda value: type(value).__name__)
def test_an_unwritable_value_leaves_the_column_as_it_was(
    recorded: tuple[ANPRDatabase, Path], value: Any
) -> None:
    database, path = recorded
    database.update_mmc_data(1, {"before": 1})
    assert outcome(lambda v: database.update_mmc_data(1, v), value) == outcome(json.dumps, value)
    assert stored(path, "mmc_data") == '{"before": 1}'


@pytest.mark.parametrize("place", range(4))
@pytest.mark.parametrize("value", [*VALUES, *UNWRITABLE], ids=lambda value: type(value).__name__)
def test_each_list_of_a_detection_is_written_as_python_writes_it(
    recorded: tuple[ANPRDatabase, Path], place: int, value: Any
) -> None:
    database, path = recorded
    column = ("plates", "confidences", "bboxes", "detection_confidences")[place]
    arguments: list[Any] = list(ARGUMENTS)
    named = {}
    if place == 3:
        named["detection_confidences"] = value
        if not value:
            return  # nothing is stored for it
    else:
        if place == 0 and not hasattr(value, "__len__"):
            return  # it fails before it is written
        arguments[place] = value
    ours = outcome(
        lambda _: database.add_detection(*arguments, **named) and stored(path, column), None
    )
    assert ours == outcome(json.dumps, value)


@pytest.mark.parametrize(
    "column", ["plates", "confidences", "bboxes", "mmc_data", "detection_confidences"]
)
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
def test_a_column_is_decoded_or_kept(column: str, value: Any) -> None:
    assert outcome(converted(column), value) == outcome(decoded_or_kept, value)


def test_broken_documents_are_kept_and_valid_ones_decoded() -> None:
    convert = converted("mmc_data")
    for text in (*mutated(11, 3_000), *soup(12, 3_000)):
        assert outcome(convert, text) == outcome(decoded_or_kept, text), ascii(text)


@given(pieces)
@settings(max_examples=500, deadline=None)
def test_any_stored_text_is_decoded_or_kept(text: str) -> None:
    assert outcome(converted("plates"), text) == outcome(decoded_or_kept, text)


def test_every_nan_of_a_row_is_the_one_object_that_python_reads() -> None:
    record = ANPRDatabase._row_to_dict({"confidences": "[NaN, 1.0]", "mmc_data": '{"a": NaN}'})
    assert record["confidences"][0] is json.loads("NaN")
    assert record["mmc_data"]["a"] is json.loads("NaN")
