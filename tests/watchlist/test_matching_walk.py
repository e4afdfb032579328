"""What may stand for the list of plates, and what happens when it changes while it is matched.

The plates are walked after the connection has gone: a plate's own code finds the file free.
"""

from __future__ import annotations

import gc
import weakref
from collections import deque

import pytest

from support import database
from support.fakes import RecordingConnection, steps, text_answering, wrap_connections
from support.values import exactly, type_and_text
from watchlist.rule import rule

READ = ["_get_conn", "enter", "execute", "fetchall", "exit"]


def changing(text, change):
    """Does something when it is asked for its capitals."""

    def upper(self):
        change()
        return str.upper(self)

    return text_answering(text, upper=upper)


class Indexed:
    def __getitem__(self, index):
        return ["ab", "b"][index]


def failing():
    yield "ab"
    raise LookupError("no more plates")


def own_walk(kind):
    return type("Own", (kind,), {"__iter__": lambda self: iter(["b", "a"])})(["x"])


def changed(change, *plates, at=0):
    """A list of plates of which one changes the list when it is asked for its capitals."""
    made = list(plates)
    made[at] = changing(made[at], lambda: change(made))
    return made


PLATES = {
    "list": lambda: ["ab", "x", "cd"],
    "tuple": lambda: ("ab", "x", "cd"),
    "text": lambda: "xA",
    "deque": lambda: deque(["ab", "cd"]),
    "mapping": lambda: {"ab": 1, "cd": 2},
    "keys": lambda: {"ab": 1, "cd": 2}.keys(),
    "set": lambda: frozenset(["ab"]),
    "iterator": lambda: iter(["ab", "x", "b"]),
    "generator": lambda: (plate for plate in ["ab"]),
    "map": lambda: map(str.lower, ["AB"]),
    "what can be indexed only": Indexed,
    "a list's own walk": lambda: own_walk(list),
    "a tuple's own walk": lambda: own_walk(tuple),
    "what fails": failing,
    "int": lambda: 5,
    "bool": lambda: True,
    "float": lambda: 0.5,
    "function": lambda: len,
    "plates that are added": lambda: changed(lambda plates: plates.append("a"), "ab", "b", at=1),
    "plates that are taken away": lambda: changed(lambda plates: plates.clear(), "ab", "a", "b"),
    "a plate that takes itself out": lambda: changed(lambda plates: plates.pop(0), "a", "x", "b"),
    "plates put into places to come": lambda: changed(
        lambda plates: plates.__setitem__(slice(1, 9), ["b", "x", "ab"]), "a", "zz"
    ),
}


def walked(function, plates):
    """The plates that matched, or the error; and what is left of the plates."""
    try:
        given = [match["detected_plate"] for match in function(plates)]
    except Exception as error:
        given = type_and_text(error)
    left = list(plates) if isinstance(plates, list) or hasattr(plates, "__next__") else None
    return given, left


@pytest.mark.parametrize("name", PLATES)
def test_plates_are_walked_as_in_python_after_the_table_was_read(recorded, name):
    store, log = recorded
    for plate in ("AB", "CD", "B"):
        store.add_watchlist(plate)
    log.clear()
    rows = [(1, "AB", ""), (2, "CD", ""), (3, "B", "")]
    expected = walked(lambda plates: rule(plates, rows), PLATES[name]())
    assert walked(store.check_watchlist, PLATES[name]()) == expected
    assert steps(log) == READ
    assert log[-1] == ("exit", None)


def test_the_plates_are_walked_after_the_scope_has_ended(recorded):
    store, log = recorded

    class Plates:
        def __bool__(self):
            log.append(("truth",))
            return True

        def __iter__(self):
            for plate in ("AB", "ab"):
                log.append(("next",))
                yield plate

    store.add_watchlist("AB")
    log.clear()
    assert len(store.check_watchlist(Plates())) == 2
    assert steps(log) == ["truth", *READ, "next", "next"]
    log.clear()
    assert exactly(store.check_watchlist(iter([]))) == exactly([])
    assert steps(log) == READ  # read also when no plate follows


def test_a_length_that_says_nothing_is_believed(recorded):
    class Empty(list):
        def __len__(self):
            return 0

    store, log = recorded
    assert store.check_watchlist(Empty(["AB"])) == []
    assert log == []


def detected(store, plates):
    return [match["detected_plate"] for match in store.check_watchlist(plates)]


def test_an_entry_may_change_the_plates(store, entries):
    plates = ["ab", "a"]
    entries("AB", changing("A", plates.clear))
    assert [m["watchlist_id"] for m in store.check_watchlist(plates)] == [1, 2]


def test_a_plate_may_match_others_and_change_the_watchlist_of_the_next_call(store, watch):
    watch("AB")
    inner = []

    def change():
        inner.extend(detected(store, ["b"]))
        store.remove_watchlist(1)
        store.add_watchlist("CD")

    assert detected(store, [changing("ab", change), "cd"]) == ["ab"]
    assert inner == ["b"]
    assert detected(store, ["ab", "cd"]) == ["cd"]


def test_no_descriptor_of_the_file_is_open_while_matching(native, db_path):
    # Python's own connections wait for the collector, so this is about the native ones.
    store = native.ANPRDatabase(db_path)
    store.add_watchlist("AB")
    seen = []
    plate = changing("ab", lambda: seen.append(database.open_descriptors(db_path)))
    gc.collect()
    gc.disable()
    try:
        assert len(store.check_watchlist([plate, "x", plate])) == 2
        assert seen == [[], []]
    finally:
        gc.enable()


def test_the_connection_is_gone_before_the_first_plate(store, watch):
    watch("AB")
    made, seen = [], []

    def wrap(connection):
        wrapped = RecordingConnection(connection)
        made.append(weakref.ref(wrapped))
        return wrapped

    wrap_connections(store, wrap)
    plate = changing("ab", lambda: seen.append([reference() for reference in made]))
    assert len(store.check_watchlist([plate])) == 1
    assert seen == [[None]]


@pytest.mark.parametrize("kind", ["EXCLUSIVE", "IMMEDIATE"])
def test_others_may_lock_the_file_while_plates_are_matched(store, watch, db_path, kind):
    watch("AB")
    locked = []

    def look():
        with database.lock_held(db_path, kind) as other:
            other.execute("DELETE FROM watchlist")
            locked.append(True)

    assert len(store.check_watchlist([changing("ab", look), "b"])) == 2
    assert locked == [True]
