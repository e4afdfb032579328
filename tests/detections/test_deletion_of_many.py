"""Deleting many detections in one statement: what may stand for the list, and how it is used."""

from __future__ import annotations

import sqlite3
from contextlib import closing

import pytest

from support import database
from support.fakes import executed, steps
from support.operations import delete_detections as statement_for
from support.samples import add
from support.stored_rows import stored_ids
from support.values import error_of, exactly, type_and_text

ALL = [1, 2, 3, 4, 5]


@pytest.fixture
def five(recorded):
    """Detections 1 to 5, and the log."""
    store, log = recorded
    for _ in range(5):
        add(store)
    log.clear()
    return store, log


@pytest.mark.parametrize(("ids", "deleted", "left"), [
    ([2], 1, [1, 3, 4, 5]), ([1, 2, 3], 3, [4, 5]), ((5, 1, 3), 3, [2, 4]),
    ([5, 5, 999], 1, [1, 2, 3, 4]), ([999], 0, ALL), ([0], 0, ALL), ([None], 0, ALL),
    (["1", 2.0, True, "x", b"3"], 2, [3, 4, 5]), ([1, 2, 3, 4, 5], 5, []),
    (range(2, 5), 3, [1, 5]),
    # Sequences of another kind.
    ("13", 2, [2, 4, 5]), (b"\x01\x05", 2, [2, 3, 4]),
], ids=repr)  # fmt: skip
def test_how_many_were_deleted_by_one_statement_with_the_very_ids(
    five, db_path, ids, deleted, left
):
    store, log = five
    assert statement_for(3) == "DELETE FROM detections WHERE id IN (?,?,?)"
    copy = list(ids)
    assert exactly(store.delete_detections(ids)) == exactly(deleted)
    statement, parameters = executed(log)
    assert statement == statement_for(len(ids))
    assert parameters is ids
    assert list(ids) == copy
    assert stored_ids(db_path) == left
    assert store.delete_detections(ids=ids) == 0


@pytest.mark.parametrize("ids", [5, True, 0.5, len], ids=repr)
def test_ids_that_cannot_be_iterated_fail_before_a_connection_is_opened(five, ids):
    store, log = five
    text = f"'{type(ids).__name__}' object is not iterable"
    assert type_and_text(error_of(store.delete_detections, ids)) == (TypeError, text)
    assert log == []


class Sequence:
    """Ids that write down how they are asked for."""

    def __init__(self, items, iterated=None, length=None, log=None):
        self.items = list(items)
        self.iterated = self.items if iterated is None else iterated
        self.length = len(self.items) if length is None else length
        self.log = [] if log is None else log

    def __bool__(self):
        self.log.append(("bool",))
        return True

    def __iter__(self):
        self.log.append(("iter",))
        return iter(self.iterated)

    def __len__(self):
        self.log.append(("len",))
        return self.length

    def __getitem__(self, index):
        self.log.append((f"item {index}",))
        return self.items[index]


def test_ids_are_tested_then_iterated_and_then_bound(five, db_path):
    store, log = five
    ids = Sequence([1, 2], log=log)
    assert store.delete_detections(ids) == 2
    # Iterating may ask for a length as a hint, never for an item.
    asked = [step for step in steps(log) if step != "len"]
    assert asked[:5] == ["bool", "iter", "_get_conn", "enter", "execute"]
    assert asked[5:7] == ["item 0", "item 1"]
    assert executed(log)[1] is ids
    assert stored_ids(db_path) == [3, 4, 5]


def test_there_is_a_placeholder_for_each_item_iterated_whatever_the_length_says(five, db_path):
    store, log = five
    ids = Sequence([1, 2, 3], iterated="abc", length=2)
    assert type_and_text(error_of(store.delete_detections, ids)) == (
        sqlite3.ProgrammingError,
        "Incorrect number of bindings supplied. The current statement uses 3,"
        " and there are 2 supplied.",
    )
    assert executed(log) == (statement_for(3), ids)
    log.clear()
    ids = Sequence([], iterated=[])
    assert store.delete_detections(ids) == 0
    assert executed(log) == ("DELETE FROM detections WHERE id IN ()", ids)
    assert stored_ids(db_path) == ALL
    assert store.delete_detections(Sequence([1, 2, 3], iterated=iter("abc"))) == 3
    assert stored_ids(db_path) == [4, 5]


def test_the_items_are_not_looked_at_while_placeholders_are_made(five):
    store, log = five

    class Item:
        def __getattr__(self, name):
            log.append(("item",))
            raise AttributeError(name)

    items = [Item(), Item()]
    assert type_and_text(error_of(store.delete_detections, items)) == (
        sqlite3.ProgrammingError,
        "Error binding parameter 1: type 'Item' is not supported",
    )
    assert steps(log)[:3] == ["_get_conn", "enter", "execute"]
    assert executed(log) == (statement_for(2), items)


def test_an_iteration_that_fails_opens_nothing(five):
    def failing():
        yield 1
        raise LookupError("no more")

    store, log = five
    error = error_of(store.delete_detections, Sequence([1], iterated=failing()))
    assert type_and_text(error) == (LookupError, "no more")
    assert log == []


@pytest.mark.parametrize(("ids", "expected"), [
    ({1}, "parameters are of unsupported type"),
    (iter([1, 2]), "parameters are of unsupported type"),
    ({1: "one"}, "Binding 1 has no name, but you supplied a dictionary (which has only names)."),
], ids=["set", "iterator", "dict"])  # fmt: skip
def test_what_can_be_iterated_but_not_bound(five, db_path, ids, expected):
    store, log = five
    error = error_of(store.delete_detections, ids)
    assert type_and_text(error) == (sqlite3.ProgrammingError, expected)
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.ProgrammingError)
    assert stored_ids(db_path) == ALL


def test_more_ids_than_the_engine_takes_fail_as_a_whole(five, db_path):
    store, log = five
    with closing(sqlite3.connect(":memory:")) as connection:
        most = connection.getlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER)
    error = error_of(store.delete_detections, range(1, most + 2))
    assert type_and_text(error) == (sqlite3.OperationalError, "too many SQL variables")
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert stored_ids(db_path) == ALL
    assert store.delete_detections(range(3, most + 3)) == 3


def test_ids_of_half_a_statement_are_not_deleted(five, db_path):
    # A row that refuses to go takes the whole statement back.
    store, _ = five
    database.run_script(
        db_path,
        "CREATE TRIGGER keep BEFORE DELETE ON detections WHEN old.id = 3"
        " BEGIN SELECT RAISE(ABORT, 'kept'); END",
    )
    error = error_of(store.delete_detections, [1, 2, 3])
    assert type_and_text(error) == (sqlite3.IntegrityError, "kept")
    assert stored_ids(db_path) == ALL
    assert store.delete_detections([1, 2]) == 2
