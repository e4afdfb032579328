"""Searches that fail: the error, when it comes, and that nothing is left open or returned."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import recording_class, steps
from support.samples import add
from support.stored_rows import put
from support.values import error_of, type_and_text

MISMATCH = (sqlite3.IntegrityError, "datatype mismatch")
BEFORE_ANY_CONNECTION: list[str] = []
IN_THE_STATEMENT = ["_get_conn", "enter", "execute", "exit"]
AFTER_THE_SCOPE = ["_get_conn", "enter", "execute", "fetchall", "exit"]


def not_above(kind: str) -> tuple[type, str]:
    return TypeError, f"'>' not supported between instances of '{kind}' and 'int'"


def not_at_least(kind: str, other: str = "float") -> tuple[type, str]:
    return TypeError, f"'>=' not supported between instances of '{kind}' and '{other}'"


@pytest.mark.parametrize(
    ("least", "kind"),
    [(None, "NoneType"), ("0.5", "str"), ("", "str"), ([], "list"), (0.5j, "complex")],
)
def test_a_threshold_that_does_not_compare_with_0(recorded, least, kind):
    store, log = recorded
    assert type_and_text(error_of(store.search_plates, min_confidence=least)) == not_above(kind)
    assert steps(log) == BEFORE_ANY_CONNECTION


def test_a_comparison_that_raises(recorded):
    class Refusing:
        def __gt__(self, other):
            raise LookupError("no comparison")

    store, log = recorded
    error = error_of(store.search_plates, min_confidence=Refusing())
    assert type_and_text(error) == (LookupError, "no comparison")
    assert steps(log) == BEFORE_ANY_CONNECTION


@pytest.mark.parametrize(
    ("page", "expected"),
    [
        ({"limit": None}, MISMATCH),
        ({"limit": "many"}, MISMATCH),
        ({"limit": 2.5}, MISMATCH),
        ({"offset": None}, MISMATCH),
        ({"offset": "x"}, MISMATCH),
        (
            {"limit": []},
            (sqlite3.ProgrammingError, "Error binding parameter 1: type 'list' is not supported"),
        ),
        (
            {"offset": {}, "query": "A"},
            (sqlite3.ProgrammingError, "Error binding parameter 3: type 'dict' is not supported"),
        ),
        (
            {"date_to": ["2024"], "query": "A"},
            (sqlite3.ProgrammingError, "Error binding parameter 2: type 'list' is not supported"),
        ),
        ({"limit": 2**63}, (OverflowError, "Python int too large to convert to SQLite INTEGER")),
        (
            {"query": "\ud800"},
            (
                UnicodeEncodeError,
                "'utf-8' codec can't encode character '\\ud800' in position 1:"
                " surrogates not allowed",
            ),
        ),
    ],
    ids=ascii,
)
def test_what_the_engine_cannot_take(recorded, page, expected):
    store, log = recorded
    add(store)
    log.clear()
    error = error_of(store.search_plates, **page)
    assert type_and_text(error) == expected
    assert steps(log) == IN_THE_STATEMENT
    assert log[-1] == ("exit", expected[0])


def test_a_pattern_that_the_engine_finds_too_long(recorded):
    store, log = recorded
    add(store)
    log.clear()
    error = error_of(store.search_plates, "x" * 60_000)
    assert type_and_text(error) == (
        sqlite3.OperationalError,
        "LIKE or GLOB pattern too complex",
    )
    assert steps(log) == IN_THE_STATEMENT


def test_a_missing_table_or_column(store, db_path):
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN mmc_data")
    assert store.search_plates("AB", min_confidence=0.5) == []
    assert type_and_text(error_of(store.search_plates, mmc_make="VW")) == (
        sqlite3.OperationalError,
        "no such column: mmc_data",
    )
    database.run_script(db_path, "DROP TABLE detections")
    assert type_and_text(error_of(store.search_plates)) == (
        sqlite3.OperationalError,
        "no such table: detections",
    )


def test_a_locked_file(store, db_path):
    opened = store._get_conn

    def impatient():
        connection = opened()
        connection.execute("PRAGMA busy_timeout = 20")
        return connection

    store._get_conn = impatient
    with database.lock_held(db_path, "EXCLUSIVE"):
        error = error_of(store.search_plates)
    assert type_and_text(error) == (sqlite3.OperationalError, "database is locked")
    assert store.search_plates() == []


def test_rows_are_converted_inside_the_scope_each_in_its_turn(store_module, db_path):
    log = []

    class Watching(recording_class(store_module.ANPRDatabase, log)):
        @staticmethod
        def _row_to_dict(row):
            log.append(("convert", row["id"]))
            return {"confidences": [0.9], "id": row["id"]}

    store = Watching(db_path)
    for _ in range(3):
        add(store)
    log.clear()
    found = store.search_plates(min_confidence=0.5)
    assert found == [{"confidences": [0.9], "id": n} for n in (3, 2, 1)]
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", *["convert"] * 3, "exit"]
    assert [entry[1] for entry in log if entry[0] == "convert"] == [3, 2, 1]


def test_a_row_that_cannot_be_converted_fails_the_search(recorded, db_path):
    store, log = recorded
    add(store)
    put(db_path, timestamp="1999", plates=b"\xff")
    log.clear()
    error = error_of(store.search_plates)
    assert type_and_text(error) == (
        UnicodeDecodeError,
        "'utf-8' codec can't decode byte 0xff in position 0: invalid start byte",
    )
    assert log[-1] == ("exit", UnicodeDecodeError)


def test_a_conversion_that_fails_ends_the_scope_with_its_error(store_module, db_path):
    log = []

    class Failing(recording_class(store_module.ANPRDatabase, log)):
        @staticmethod
        def _row_to_dict(row):
            raise LookupError("no record")

    store = Failing(db_path)
    add(store)
    error = error_of(store.search_plates, min_confidence=0.5)
    assert type_and_text(error) == (LookupError, "no record")
    assert log[-1] == ("exit", LookupError)


@pytest.mark.parametrize(
    ("stored", "least", "expected"),
    [
        ("[null]", 0.5, not_at_least("NoneType")),
        ("[null]", 1, not_at_least("NoneType", "int")),
        ("[null]", True, not_at_least("NoneType", "bool")),
        ('["0.9"]', 0.5, not_at_least("str")),
        ("[[0.9]]", 0.5, not_at_least("list")),
        ("[{}]", 0.5, not_at_least("dict")),
        ("[0.1, null, 0.9]", 0.5, not_at_least("NoneType")),
        ("broken", 0.5, not_at_least("str")),
        ("[0.9", 0.5, not_at_least("str")),
        ('"0.9"', 0.5, not_at_least("str")),
        ('{"0.9": 1}', 0.5, not_at_least("str")),
        ("0.9", 0.5, (TypeError, "'float' object is not iterable")),
        ("5", 0.5, (TypeError, "'int' object is not iterable")),
        ("true", 0.5, (TypeError, "'bool' object is not iterable")),
        ("NaN", 0.5, (TypeError, "'float' object is not iterable")),
    ],
)
def test_an_element_that_does_not_compare(recorded, db_path, stored, least, expected):
    store, log = recorded
    put(db_path, num_plates=1, confidences=stored)
    log.clear()
    assert type_and_text(error_of(store.search_plates, min_confidence=least)) == expected
    assert steps(log) == AFTER_THE_SCOPE
    assert log[-1] == ("exit", None)  # the scope had ended well


@pytest.mark.parametrize("stored", ["[0.9, null]", '[0.1, 0.5, "x"]', "[1, [], {}]"])
def test_an_element_behind_one_that_passes_does_no_harm(store, db_path, stored):
    put(db_path, num_plates=1, confidences=stored)
    assert len(store.search_plates(min_confidence=0.5)) == 1


def test_one_record_that_does_not_compare_fails_the_whole_search(store, db_path):
    put(db_path, "2024-05-02", num_plates=1, confidences="[0.9]")
    put(db_path, "2024-05-01", num_plates=1, confidences="[null]")
    error = error_of(store.search_plates, min_confidence=0.5)
    assert type_and_text(error) == not_at_least("NoneType")
    assert len(store.search_plates(min_confidence=0.5, limit=1)) == 1


class Threshold:
    """Gives one answer after the other to whether it is above 0."""

    def __init__(self, *answers):
        self.answers = iter(answers)

    def __gt__(self, other):
        return next(self.answers)

    def __le__(self, other):
        return Undecided()


class Undecided:
    def __bool__(self):
        raise LookupError("undecided")


@pytest.mark.parametrize(
    "answers",
    [(True, Undecided()), (False, Undecided()), (True, True)],
    ids=["threshold", "threshold not above before", "element"],
)
def test_a_truth_that_fails_after_the_scope(recorded, answers):
    store, log = recorded
    add(store)
    log.clear()
    error = error_of(store.search_plates, min_confidence=Threshold(*answers))
    assert type_and_text(error) == (LookupError, "undecided")
    assert steps(log) == AFTER_THE_SCOPE


def test_a_threshold_that_compares_with_0_only_once(recorded):
    store, log = recorded
    error = error_of(store.search_plates, min_confidence=Threshold(True, NotImplemented))
    assert type_and_text(error) == not_above("Threshold")
    assert steps(log) == AFTER_THE_SCOPE


def test_a_text_that_cannot_be_made_fails_before_a_connection_is_opened(recorded):
    store, log = recorded
    for name in ("query", "mmc_make", "mmc_side"):
        error = error_of(store.search_plates, **{name: 10**5000})
        assert type_and_text(error) == (
            ValueError,
            "Exceeds the limit (4300 digits) for integer string conversion;"
            " use sys.set_int_max_str_digits() to increase the limit",
        )
    assert steps(log) == BEFORE_ANY_CONNECTION
