"""Ids are compared by the engine, as numbers: which spellings of an id meet the row, which none."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import pytest

from support import database
from support.samples import add
from support.values import exactly

NOTHING = object()


@dataclass(frozen=True)
class ById:
    """How an operation is given an id, by position and by its name, and what it then returns."""

    keyword: str
    table: str
    without_row: object
    with_row: object = NOTHING
    more: tuple[object, ...] = ()
    in_list: bool = False

    def call(self, store: Any, name: str, given: object, named: bool) -> Any:
        value = [given] if self.in_list else given
        operation = getattr(store, name)
        return operation(value, *self.more) if not named else operation(**{self.keyword: value})

    def met(self, store: Any, name: str, given: object, named: bool = False) -> list[int]:
        """The ids of the rows that the call read, changed or deleted."""
        before = database.contents(store.db_path)
        result = self.call(store, name, given, named)
        after = database.contents(store.db_path)
        left = {row[0]: row for row in after[self.table][1]}
        met = [row[0] for row in before[self.table][1] if left.get(row[0]) != row]
        if name == "get_detection":
            met = [result["id"]] if result is not None else []
        elif name == "get_alerts_for_detections":
            met = list(result)
        if not met:
            assert after == before
            assert exactly(result) == exactly(self.without_row)
        elif self.with_row is not NOTHING:
            assert exactly(result) == exactly(self.with_row)
        return met


OPERATIONS = {
    "get_detection": ById("detection_id", "detections", None),
    "delete_detection": ById("detection_id", "detections", False, True),
    "delete_detections": ById("ids", "detections", 0, 1, in_list=True),
    "update_image_paths": ById("detection_id", "detections", None, None, ("new", None)),
    "update_mmc_data": ById("detection_id", "detections", None, None, ({"a": 1},)),
    "remove_watchlist": ById("watchlist_id", "watchlist", False, True),
    "get_alerts_for_detections": ById("detection_ids", "alerts", {}, in_list=True),
}


@pytest.fixture
def three(store):
    """Detections, entries and alerts with the ids 1 to 3."""
    for number in (1, 2, 3):
        add(store)
        store.add_watchlist(f"P{number}")
        store.add_alert("P", "l", number, 0.5)
    return store


@pytest.mark.parametrize("same", [2, 2.0, "2", "2.0", " 2 ", "2e0", True + 1], ids=repr)
@pytest.mark.parametrize("name", OPERATIONS)
def test_an_id_is_compared_as_a_number(three, name, same):
    assert exactly(OPERATIONS[name].met(three, name, same)) == exactly([2])
    if not OPERATIONS[name].more:
        assert OPERATIONS[name].met(three, name, True, named=True) == [1]


@pytest.mark.parametrize("name", OPERATIONS)
def test_an_id_that_is_not_there_is_no_error_and_changes_nothing(three, name):
    for missing in (99, 0, -1, None, "x", "", "2 x", 1.5, b"1", 2**63 - 1):
        assert OPERATIONS[name].met(three, name, missing) == []


@pytest.mark.parametrize("name", OPERATIONS)
def test_the_id_of_a_row_that_is_gone_is_not_there(three, name):
    table = OPERATIONS[name].table
    database.query(three.db_path, f"DELETE FROM {table} WHERE id = 2")
    assert OPERATIONS[name].met(three, name, 2) == []
