"""Deleting many detections in one statement."""

from __future__ import annotations

import sqlite3
from contextlib import closing

import pytest

from support import database
from support.recording import executed, steps
from support.samples import add
from support.stored_rows import plan, stored_ids
from support.values import error_of, exactly, type_and_text


def statement_for(count: int) -> str:
    return f"DELETE FROM detections WHERE id IN ({','.join('?' * count)})"


@pytest.fixture
def five(recorded):
    """Detections 1 to 5, and the log."""
    store, log = recorded
    for _ in range(5):
        add(store)
    log.clear()
    return store, log


def test_three_ids():
    assert statement_for(3) == "DELETE FROM detections WHERE id IN (?,?,?)"


@pytest.mark.parametrize("ids", [[2], [2, 4], (5, 1, 3), [5, 5, 999], ["1", 2.0, True], [None]])
def test_the_statement_its_parameters_and_its_steps(five, ids):
    store, log = five
    store.delete_detections(ids)
    statement, parameters = executed(log)
    assert statement == statement_for(len(ids))
    assert parameters is ids  # the very object
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "rowcount", "exit"]


def test_they_are_found_by_the_row_id(store, db_path):
    assert plan(db_path, statement_for(3), [1, 2, 3])[0] == (
        "SEARCH detections USING INTEGER PRIMARY KEY (rowid=?)"
    )


@pytest.mark.parametrize(
    ("ids", "deleted", "left"),
    [
        ([1, 2, 3], 3, [4, 5]),
        ((1, 2, 3), 3, [4, 5]),
        ([5, 5, 999], 1, [1, 2, 3, 4]),
        ([999], 0, [1, 2, 3, 4, 5]),
        ([0], 0, [1, 2, 3, 4, 5]),
        ([None], 0, [1, 2, 3, 4, 5]),
        (["1", 2.0, True, "x", b"3"], 2, [3, 4, 5]),
        ([1, 2, 3, 4, 5], 5, []),
        (range(2, 5), 3, [1, 5]),
        # Sequences of a stranger kind.
        ("13", 2, [2, 4, 5]),
        (b"\x01\x05", 2, [2, 3, 4]),
    ],
    ids=repr,
)
def test_how_many_were_deleted(five, db_path, ids, deleted, left):
    store, _ = five
    assert exactly(store.delete_detections(ids)) == exactly(deleted)
    assert stored_ids(db_path) == left


def test_by_keyword(five, db_path):
    store, _ = five
    assert store.delete_detections(ids=[1]) == 1
    assert stored_ids(db_path) == [2, 3, 4, 5]


def test_a_second_time_deletes_none(five):
    store, _ = five
    assert store.delete_detections([1, 2]) == 2
    assert store.delete_detections([1, 2]) == 0
    assert store.delete_detections([2, 3]) == 1


@pytest.mark.parametrize("false", [[], (), None, 0, "", {}, range(0), False, 0.0, b""], ids=repr)
def test_false_ids_are_0_at_once_and_open_nothing(five, false):
    store, log = five
    assert exactly(store.delete_detections(false)) == exactly(0)
    assert log == []


def test_no_file_is_needed_for_none(store, db_path):
    db_path.unlink()
    assert store.delete_detections([]) == 0
    assert not db_path.exists()


def test_the_count_is_the_one_that_the_cursor_tells(store):
    told = object()

    class Connection:
        rowcount = told

        def __enter__(self):
            return self

        def __exit__(self, *error):
            return None

        def execute(self, statement, parameters):
            return self

        def commit(self):
            pass

    store._get_conn = Connection
    assert store.delete_detections([1]) is told


@pytest.mark.parametrize(
    ("ids", "kind"),
    [(5, "int"), (True, "bool"), (0.5, "float"), (len, "builtin_function_or_method")],
)
def test_ids_that_cannot_be_iterated_fail_before_a_connection_is_opened(five, ids, kind):
    store, log = five
    assert type_and_text(error_of(store.delete_detections, ids)) == (
        TypeError,
        f"'{kind}' object is not iterable",
    )
    assert log == []


class Sequence:
    """Ids that write down how they are asked for."""

    def __init__(self, items, iterated=None, length=None):
        self.items = list(items)
        self.iterated = self.items if iterated is None else iterated
        self.length = len(self.items) if length is None else length
        self.log = []

    def __bool__(self):
        self.log.append("bool")
        return True

    def __iter__(self):
        self.log.append("iter")
        return iter(self.iterated)

    def __len__(self):
        self.log.append("len")
        return self.length

    def __getitem__(self, index):
        self.log.append(index)
        return self.items[index]


def test_ids_are_tested_then_iterated_and_then_bound(five, db_path):
    store, log = five
    ids = Sequence([1, 2])
    opened = store._get_conn
    store._get_conn = lambda: ids.log.append("open") or opened()
    assert store.delete_detections(ids) == 2
    before, after = ids.log[: ids.log.index("open")], ids.log[ids.log.index("open") :]
    # Iterating may ask for a length as a hint, never for an item.
    assert [entry for entry in before if entry != "len"] == ["bool", "iter"]
    assert [entry for entry in after if entry != "len"] == ["open", 0, 1]
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
    assert store.delete_detections(Sequence([1, 2, 3], iterated=iter("abc"))) == 3
    assert stored_ids(db_path) == [4, 5]


def test_iterating_nothing_leaves_no_placeholder(five, db_path):
    store, log = five
    ids = Sequence([], iterated=[])
    assert store.delete_detections(ids) == 0
    assert executed(log) == ("DELETE FROM detections WHERE id IN ()", ids)
    assert len(stored_ids(db_path)) == 5


def test_the_items_are_not_looked_at_while_placeholders_are_made(five):
    order = []

    class Item:
        def __getattr__(self, name):
            order.append("item")
            raise AttributeError(name)

    store, log = five
    opened = store._get_conn
    store._get_conn = lambda: order.append("open") or opened()
    items = [Item(), Item()]
    assert type_and_text(error_of(store.delete_detections, items)) == (
        sqlite3.ProgrammingError,
        "Error binding parameter 1: type 'Item' is not supported",
    )
    assert order[0] == "open"
    assert executed(log) == (statement_for(2), items)


def test_an_iteration_that_fails_opens_nothing(five):
    def failing():
        yield 1
        raise LookupError("no more")

    class Undecided:
        def __bool__(self):
            raise LookupError("undecided")

    store, log = five
    error = error_of(store.delete_detections, Sequence([1], iterated=failing()))
    assert type_and_text(error) == (LookupError, "no more")
    error = error_of(store.delete_detections, Undecided())
    assert type_and_text(error) == (LookupError, "undecided")
    assert log == []


@pytest.mark.parametrize(
    ("ids", "expected"),
    [
        ({1}, "parameters are of unsupported type"),
        (iter([1, 2]), "parameters are of unsupported type"),
        (
            {1: "one"},
            "Binding 1 has no name, but you supplied a dictionary (which has only names).",
        ),
        ([1, [2]], "Error binding parameter 2: type 'list' is not supported"),
        ([{}, 1], "Error binding parameter 1: type 'dict' is not supported"),
    ],
    ids=["set", "iterator", "dict", "list inside", "dict inside"],
)
def test_what_can_be_iterated_but_not_bound(five, db_path, ids, expected):
    store, log = five
    assert type_and_text(error_of(store.delete_detections, ids)) == (
        sqlite3.ProgrammingError,
        expected,
    )
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", sqlite3.ProgrammingError)
    assert len(stored_ids(db_path)) == 5


def test_an_id_too_large_deletes_nothing(five, db_path):
    store, _ = five
    assert type_and_text(error_of(store.delete_detections, [1, 2**63])) == (
        OverflowError,
        "Python int too large to convert to SQLite INTEGER",
    )
    assert len(stored_ids(db_path)) == 5


def test_more_ids_than_the_engine_takes_fail_as_a_whole(five, db_path):
    store, log = five
    with closing(sqlite3.connect(":memory:")) as connection:
        most = connection.getlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER)
    error = error_of(store.delete_detections, range(1, most + 2))
    assert type_and_text(error) == (sqlite3.OperationalError, "too many SQL variables")
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert len(stored_ids(db_path)) == 5
    assert store.delete_detections(range(3, most + 3)) == 3


def test_ids_of_half_a_statement_are_not_deleted(five, db_path):
    # A row that refuses to go takes the whole statement back.
    store, _ = five
    database.run_script(
        db_path,
        "CREATE TRIGGER keep BEFORE DELETE ON detections WHEN old.id = 3"
        " BEGIN SELECT RAISE(ABORT, 'kept'); END",
    )
    assert type_and_text(error_of(store.delete_detections, [1, 2, 3])) == (
        sqlite3.IntegrityError,
        "kept",
    )
    assert len(stored_ids(db_path)) == 5
    assert store.delete_detections([1, 2]) == 2


def test_the_list_is_not_changed(five):
    store, _ = five
    ids = [5, 5, 999, 1]
    store.delete_detections(ids)
    assert ids == [5, 5, 999, 1]
