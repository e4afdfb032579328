"""The least confidence of a search: which records are kept, after the page is cut."""

from __future__ import annotations

from decimal import Decimal
from fractions import Fraction

import pytest

from support import database
from support.samples import add
from support.stored_rows import ids, put

NAN, INF = float("nan"), float("inf")


def add_with(store, *confidences: object) -> int:
    return add(store, confidences=list(confidences))


@pytest.mark.parametrize(("confidences", "least", "kept"), [
    ([0.5, 0.3], 0.5, True), ([0.3, 0.5], 0.5, True), ([0.49], 0.5, False),
    ([0.5], 0.5000000000000001, False), ([], 0.5, False), ([0.1, 0.2, 0.9], 0.5, True),
    ([1], 0.5, True), ([1], 1, True), ([1.0], 1, True), ([True], 1, True), ([True], 0.5, True),
    ([False], 0.5, False), ([0.99], True, False), ([1.0], True, True), ([NAN], 0.5, False),
    ([NAN, 0.7], 0.5, True), ([INF], 1e308, True), ([INF], INF, True), ([1e308], INF, False),
    ([-INF], 0.5, False), ([2**53], 2.0**53, True), ([2**53 + 1], 2.0**53, True),
    ([2.0**53], 2**53 + 1, False), ([10**400], INF, False), ([10**400], 1e308, True),
    ([INF], 10**400, True), ([1e308], 10**400, False), ([10**400], 10**400, True),
    ([10**400], 10**400 + 1, False), ([0.5], Fraction(1, 2), True), ([0.3], Fraction(1, 3), False),
    ([0.1], Fraction(1, 10), True), ([0.5], Decimal("0.5"), True), ([0.1], Decimal("0.1"), True),
    ([0.3], Decimal("0.3"), False), ([1], Decimal("1.5"), False),
], ids=lambda value: str(value)[:30])  # fmt: skip
def test_some_element_must_be_at_least_that(store, confidences, least, kept):
    add_with(store, *confidences)
    assert ids(store.search_plates(min_confidence=least)) == ([1] if kept else [])


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


@pytest.mark.parametrize("stored", [None, "", "[]", "null", "0", "0.0", "false", '""', "{}"])
def test_a_false_entry_has_no_element(store, db_path, stored):
    put(db_path, num_plates=1, confidences=stored)
    assert store.search_plates(min_confidence=0.5) == []


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


def test_it_works_on_what_the_conversion_gave(store):
    records = [
        {"confidences": iter([0.1, 0.9]), "n": 1},
        {"confidences": (0.9,), "n": 2},
        {"confidences": {0.9: "key"}, "n": 3},
        {"confidences": range(1), "n": 4},
        {"CONFIDENCES": [0.9], "n": 5},
        {"confidences": frozenset([0.5]), "n": 6},
    ]
    given = list(reversed(records))
    store._row_to_dict = lambda row: given.pop()
    for _ in records:
        add(store)
    found = store.search_plates(min_confidence=0.5)
    assert [record["n"] for record in found] == [1, 2, 3, 6]
    assert all(any(record is made for made in records) for record in found)


def test_the_first_element_that_passes_ends_the_test_of_a_record(store):
    elements = iter([0.1, 0.9, None, "x", 0.7])
    store._row_to_dict = lambda row: {"confidences": elements}
    add(store)
    assert len(store.search_plates(min_confidence=0.5)) == 1
    assert list(elements) == [None, "x", 0.7]
