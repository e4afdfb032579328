"""The least confidence of a search: which records are kept, after the page is cut."""

from __future__ import annotations

import json
from decimal import Decimal
from fractions import Fraction

import pytest

from support import database
from support.fakes import steps
from support.json_cases import outcome
from support.samples import add
from support.stored_rows import ids, put

NAN, INF = float("nan"), float("inf")


def add_with(store, *confidences: object) -> int:
    return add(store, confidences=list(confidences))


# fmt: off
STORED = [
    "[0.5, 0.3]", "[0.3, 0.5]", "[0.49]", "[]", "[0.1, 0.2, 0.9]", "[1]", "[1.0]", "[true]",
    "[false]", "[0.99]", "[NaN]", "[NaN, 0.7]", "[Infinity]", "[1e308]", "[-Infinity]", "[0.1]",
    f"[{2**53}]", f"[{2**53 + 1}]", f"[{2.0**53}]", f"[{10**400}]", "[0.9]",
    # Not all elements can be compared, or there are none.
    "[null]", '["0.9"]', "[[0.9]]", "[{}]", "[0.1, null, 0.9]", "[0.9, null]", '[0.1, 0.5, "x"]',
    "[1, [], {}]", "broken", "[0.9", '"0.9"', '{"0.9": 1}', "0.9", "5", "true", "NaN", None, "",
    "null", "0", "0.0", "false", '""', "{}",
]
LEAST = [
    0.5, 0.5000000000000001, 1, True, 1e308, INF, 2.0**53, 2**53 + 1, 10**400, 10**400 + 1,
    Fraction(1, 2), Fraction(1, 3), Fraction(1, 10), Decimal("0.5"), Decimal("0.1"),
    Decimal("0.3"), Decimal("1.5"),
]
# fmt: on


def some_element_is_at_least(stored, least):
    """The rule, on the entry as it is converted."""
    try:
        confidences = json.loads(stored) if stored else stored
    except json.JSONDecodeError:
        confidences = stored
    return [1] if any(element >= least for element in confidences or []) else []


@pytest.mark.parametrize("stored", STORED, ids=lambda stored: str(stored)[:30])
def test_some_element_must_be_at_least_that(recorded, db_path, stored):
    store, log = recorded
    put(db_path, num_plates=1, confidences=stored)
    for least in LEAST:
        log.clear()
        expected = outcome(lambda least: some_element_is_at_least(stored, least), least)
        found = outcome(lambda least: ids(store.search_plates(min_confidence=least)), least)
        assert found == expected, least
        # Also where it fails, the scope had ended well.
        assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
        assert log[-1] == ("exit", None)


@pytest.mark.parametrize("least", [0, 0.0, -0.0, -1, -INF, NAN, False, Fraction(0), Decimal(0)])
def test_none_above_0_filters_nothing(store, db_path, least):
    add_with(store, 0.1)
    add(store, plates=[], confidences=[])
    for stored in ("broken", "5", "[null]", '["x"]', None, ""):
        put(db_path, confidences=stored)
    assert sorted(ids(store.search_plates(min_confidence=least))) == [1, 2, 3, 4, 5, 6, 7, 8]


def test_detections_without_plates_are_left_out_by_the_statement(store, db_path):
    put(db_path, num_plates=0, confidences="[0.9]")
    put(db_path, num_plates=None, confidences="[0.9]")
    put(db_path, num_plates=-1, confidences="[0.9]")
    put(db_path, num_plates=1, confidences="[0.9]")
    put(db_path, num_plates="many", confidences="[0.9]")  # to the engine a text is above any number
    assert sorted(ids(store.search_plates(min_confidence=0.5))) == [4, 5]


def test_a_record_without_the_entry_has_no_element(store, db_path):
    add_with(store, 0.9)
    database.run_script(db_path, "ALTER TABLE detections DROP COLUMN confidences")
    assert ids(store.search_plates()) == [1]
    assert store.search_plates(min_confidence=0.5) == []


def test_the_page_is_cut_before_and_not_filled_up_and_keeps_its_order(store, clock):
    for hour in range(8):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        add_with(store, 0.9 if hour % 3 else 0.1)
    assert ids(store.search_plates(min_confidence=0.5)) == [8, 6, 5, 3, 2]
    for limit, offset, kept in ((3, 0, [8, 6]), (3, 3, [5, 3]), (1, 1, []), (1, 2, [6])):
        assert ids(store.search_plates(min_confidence=0.5, limit=limit, offset=offset)) == kept


def test_offset_counts_rows_that_have_plates(store, clock):
    for hour in range(6):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        add(store, plates=["A"] if hour % 2 else [], confidences=[0.9])
    assert ids(store.search_plates(min_confidence=0.5, limit=2, offset=1)) == [4, 2]
    assert ids(store.search_plates(limit=2, offset=1)) == [5, 4]


def test_the_records_are_those_that_the_conversion_gave(store):
    records = [{"confidences": [0.5], "n": 1}, {"CONFIDENCES": [0.9]}, {"confidences": (1,)}]
    given = list(records)
    store._row_to_dict = lambda row: given.pop(0)
    for _ in records:
        add(store)
    first, second = store.search_plates(min_confidence=0.5)
    assert (first, second) == (records[0], records[2])
    assert first is records[0]
    assert second is records[2]
