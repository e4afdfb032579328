"""The limit of the ranking slices it as it would slice a list, after everything was counted."""

from __future__ import annotations

import sqlite3

import pytest

from support.fakes import steps
from support.samples import add
from support.values import error_of, type_and_text


class Index:
    def __init__(self, result):
        self.result = result

    def __index__(self):
        if isinstance(self.result, Exception):
            raise self.result
        return self.result


def test_five_by_default(store):
    add(store, plates=list("ABCDEFG"))
    assert [entry["plate"] for entry in store.get_top_plates()] == list("ABCDE")


@pytest.mark.parametrize(("limit", "kept"), [
    (0, ""), (1, "A"), (3, "ABC"), (7, "ABCDEFG"), (8, "ABCDEFG"), (10**30, "ABCDEFG"),
    (-1, "ABCDEF"), (-6, "A"), (-7, ""), (-8, ""), (-(10**30), ""), (None, "ABCDEFG"), (True, "A"),
    (False, ""), (2**63 - 1, "ABCDEFG"), (2**63, "ABCDEFG"), (-(2**63), ""),
], ids=repr)  # fmt: skip
def test_a_limit_slices_as_it_slices_a_list(store, limit, kept):
    add(store, plates=list("ABCDEFG"))
    for value in (limit, limit if limit is None else Index(int(limit))):
        assert [entry["plate"] for entry in store.get_top_plates(value)] == list(kept)
    assert store.get_top_plates(limit=limit) == store.get_top_plates(limit)


def test_the_limit_cuts_the_ranking_and_not_what_is_counted(store):
    add(store, plates=["AB12", "CD34"])
    add(store, plates=["CD34"])
    assert store.get_top_plates(1) == [{"plate": "CD34", "count": 2}]
    add(store, plates=["CD34"])
    assert store.get_top_plates(-1) == [{"plate": "CD34", "count": 3}]


SLICE = (
    TypeError,
    "slice indices must be integers or None or have an __index__ method",
)
AFTER_THE_SCOPE = ["_get_conn", "enter", "execute", "fetchall", "exit"]


@pytest.mark.parametrize(
    "limit", ["5", "", 5.0, 0.5, [], b"1", 1j, float("nan"), sqlite3.Row], ids=str
)
@pytest.mark.parametrize("rows", [0, 1])
def test_a_limit_that_does_not_slice_fails_after_the_scope(recorded, limit, rows):
    store, log = recorded
    for _ in range(rows):
        add(store)
    log.clear()
    assert type_and_text(error_of(store.get_top_plates, limit)) == SLICE
    assert steps(log) == AFTER_THE_SCOPE
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize(("result", "expected"), [
    ("5", (TypeError, "__index__ returned non-int (type str)")),
    (None, (TypeError, "__index__ returned non-int (type NoneType)")),
    (LookupError("no index"), (LookupError, "no index")),
    (TypeError("no index"), (TypeError, "no index")),
], ids=repr)  # fmt: skip
def test_an_index_that_fails(recorded, result, expected):
    store, log = recorded
    add(store)
    log.clear()
    assert type_and_text(error_of(store.get_top_plates, Index(result))) == expected
    assert steps(log) == AFTER_THE_SCOPE
