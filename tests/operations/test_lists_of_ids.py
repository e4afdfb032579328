"""What may stand for a list of ids: it is used, and refused, as by the same code in Python.

Deleting walks through the ids, and grouping alerts asks for their length, before a connection is
opened; then the engine binds the very object that was passed.
"""

from __future__ import annotations

import sqlite3
from collections import deque
from typing import Any

import pytest
from zentrope_anpr import zentrope_anpr_server_db as native

from support import database, twin
from support.fakes import Undecided, executed, recording_class
from support.operations import alerts_of, delete_detections
from support.samples import add
from support.stored_rows import stored_ids
from support.values import error_of, exactly, type_and_text

STATEMENTS = {"delete_detections": delete_detections, "get_alerts_for_detections": alerts_of}


class Asked:
    """Ids that write down what they are asked for; errors among what they were told are raised.

    Lengths are told in turn, the last one ever again.
    """

    def __init__(self, log, items=(), *lengths, iterated=None):
        self.log, self.items = log, list(items)
        self.iterated = self.items if iterated is None else iterated
        self.lengths = list(lengths) or [len(self.items)]

    def __bool__(self):
        self.log.append(("bool",))
        return True

    def __iter__(self):
        self.log.append(("iter",))
        return iter(self.iterated)

    def __len__(self):
        self.log.append(("len",))
        length = self.lengths.pop(0) if len(self.lengths) > 1 else self.lengths[0]
        if isinstance(length, Exception):
            raise length
        return length

    def __getitem__(self, index):
        self.log.append((f"item {index}",))
        return self.items[index]


class Sized:
    """Has a length, and nothing else."""

    def __len__(self):
        return 2


class Walkable:
    """Can be walked through, and nothing else."""

    def __init__(self, log):
        self.log = log

    def __iter__(self):
        self.log.append(("walked",))
        yield 1
        raise LookupError("no more")


class Item:
    def __init__(self, log):
        self.log = log

    def __getattr__(self, name):
        self.log.append(("item asked", name))
        raise AttributeError(name)


class TrueList(list):
    def __bool__(self):
        return True


with sqlite3.connect(":memory:") as _connection:
    MOST = _connection.getlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER)

VALUES: list[Any] = [
    *([2], [1, 2, 3], (5, 1, 3), [5, 5, 999], [999], [0], [None], [1, 2, 3, 4, 5]),
    *(["1", 2.0, True, "x", b"3"], range(2, 5), "13", b"\x01\x05", bytearray(b"\x05")),
    *(memoryview(b"\x05"), deque([5]), {2, 3}, frozenset([2]), {2: 1}.keys(), {2: 1}, TrueList()),
    *(5, True, 0.5, len, object(), int, Sized(), range(MOST), range(1, MOST + 2)),
]
CASES: dict[str, Any] = {
    f"{n} {type(value).__name__}": lambda log, v=value: v for n, value in enumerate(VALUES)
}
CASES |= {
    "iterator": lambda log: iter([2, 3]),
    "map": lambda log: map(int, "23"),
    "undecided": lambda log: Undecided(),
    "walkable": Walkable,
    "items": lambda log: [Item(log), Item(log)],
    "asked": lambda log: Asked(log, [1, 2]),
    "asked for nothing": lambda log: Asked(log),
    "longer than iterated": lambda log: Asked(log, [1, 2, 3], iterated="ab"),
    "shorter than iterated": lambda log: Asked(log, [1, 2], iterated="abc"),
    "iterated otherwise": lambda log: Asked(log, [1, 2, 3], iterated=iter("abc")),
    "longer than told": lambda log: Asked(log, [2, 2], 1, 2),
    "shorter than told": lambda log: Asked(log, [2, 2], 3, 2),
    "failing iteration": lambda log: Asked(log, [1], iterated=Walkable(log)),
}
for _length in (LookupError("no length"), -1, "2", None, 2**63):
    CASES[f"length {_length!r}"] = lambda log, length=_length: Asked(log, [1], length, iterated="a")


def outcome(module, path, operation, make):
    """What the call gave, what was asked on the way, and which detections are left."""
    log = []
    store = recording_class(module.ANPRDatabase, log)(path)
    for number in range(1, 6):
        add(store)
        store.add_alert("AB", "l", number, 0.5)
    database.run_script(path, "UPDATE alerts SET timestamp = 't'")
    log.clear()
    ids = make(log)
    try:
        given = exactly(getattr(store, operation)(ids))
    except Exception as error:
        given = type_and_text(error)
    if ("enter",) in log:
        # Looking at its items, the engine may ask for a length once more.
        opened = log.index(("_get_conn",))
        log[opened:] = [entry for entry in log[opened:] if entry != ("len",)]
        assert executed(log)[1] is ids
    # Iterating may ask for a length as a hint.
    ignored = ("len",) if operation == "delete_detections" else None
    return given, [entry[:2] for entry in log if entry != ignored], stored_ids(path)


# As many as the engine takes, and one more.
LONGEST = {f"{n} range" for n, ids in enumerate(VALUES) if ids in (range(MOST), range(1, MOST + 2))}


@pytest.mark.parametrize("operation", STATEMENTS)
@pytest.mark.parametrize(
    "name", [pytest.param(n, marks=pytest.mark.slow if n in LONGEST else []) for n in CASES]
)
def test_ids_are_used_as_in_python(tmp_path, name, operation):
    ours, theirs = (
        outcome(module, tmp_path / module.__name__, operation, CASES[name])
        for module in (native, twin)
    )
    assert ours == theirs


@pytest.mark.slow
@pytest.mark.parametrize("operation", STATEMENTS)
def test_the_cases_are_what_they_seem(tmp_path, operation):
    seen = {
        name: outcome(twin, tmp_path / f"{n}.db", operation, make)
        for n, (name, make) in enumerate(CASES.items())
    }
    texts = {given[1] for given, _, _ in seen.values() if isinstance(given[0], type)}
    wrong_number = "Incorrect number of bindings supplied. The current statement uses 3, and "
    assert {
        "undecided",
        "parameters are of unsupported type",
        "Binding 1 has no name, but you supplied a dictionary (which has only names).",
        "Error binding parameter 1: type 'Item' is not supported",
        "too many SQL variables",
        wrong_number + "there are 2 supplied.",
    } < texts
    asked = [entry[0] for entry in seen["asked"][1]]
    if operation == "delete_detections":
        assert asked[:7] == ["bool", "iter", "_get_conn", "enter", "execute", "item 0", "item 1"]
        assert ("execute", "DELETE FROM detections WHERE id IN ()") in seen["asked for nothing"][1]
        assert seen["walkable"][:2] == ((LookupError, "no more"), [("walked",)])
        assert "'int' object is not iterable" in texts
    else:
        assert asked[:7] == ["bool", "len", "_get_conn", "enter", "execute", "item 0", "item 1"]
        assert "object of type 'Walkable' has no len()" in texts
        assert "cannot fit 'int' into an index-sized integer" in texts


@pytest.mark.parametrize("operation", STATEMENTS)
def test_there_is_a_question_mark_for_each_id_and_the_ids_are_not_changed(recorded, operation):
    store, log = recorded
    for ids in ([7], [7, "9"], (7, "9"), range(3), "79", deque([1]), list(range(10))):
        log.clear()
        copy = list(ids)
        getattr(store, operation)(ids)
        assert executed(log)[0] == STATEMENTS[operation](len(ids))
        assert list(ids) == copy
    assert delete_detections(3) == "DELETE FROM detections WHERE id IN (?,?,?)"
    assert alerts_of(2) == "SELECT * FROM alerts WHERE detection_id IN (?,?)"


def test_the_ids_are_not_split_into_batches(store, db_path):
    for number in range(1, 6):
        add(store)
        store.add_alert("AB", "l", number, 0.5)

    def narrow():
        connection = sqlite3.connect(db_path)
        connection.row_factory = sqlite3.Row
        connection.setlimit(sqlite3.SQLITE_LIMIT_VARIABLE_NUMBER, 3)
        return connection

    store._get_conn = narrow
    too_many = (sqlite3.OperationalError, "too many SQL variables")
    for call in (store.get_alerts_for_detections, store.delete_detections):
        assert type_and_text(error_of(call, [1, 2, 3, 3])) == too_many
    assert stored_ids(db_path) == [1, 2, 3, 4, 5]
    assert list(store.get_alerts_for_detections([1, 2, 3])) == [1, 2, 3]
    assert store.delete_detections([1, 2, 3]) == 3
