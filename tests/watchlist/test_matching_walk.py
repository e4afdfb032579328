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
from support.values import error_of, exactly, type_and_text

READ = ["_get_conn", "enter", "execute", "fetchall", "exit"]


def detected(store, plates):
    return [match["detected_plate"] for match in store.check_watchlist(plates)]


@pytest.mark.parametrize(("plates", "expected"), [
    (["ab", "x", "cd"], ["ab", "cd"]), (("ab", "x", "cd"), ["ab", "cd"]), ("xA", ["A"]),
    (deque(["ab", "cd"]), ["ab", "cd"]), ({"ab": 1, "cd": 2}, ["ab", "cd"]),
    ({"ab": 1, "cd": 2}.keys(), ["ab", "cd"]), (frozenset(["ab"]), ["ab"]),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_whatever_can_be_walked(store, watch, plates, expected):
    watch("AB", "CD")
    copy = list(plates)
    assert detected(store, plates) == expected
    assert list(plates) == copy


def test_what_can_be_walked_only_once(store, watch):
    watch("AB")
    plates = iter(["ab", "x", "b"])
    assert detected(store, plates) == ["ab", "b"]
    assert list(plates) == []
    assert detected(store, (plate for plate in ["ab"])) == ["ab"]
    assert detected(store, map(str.lower, ["AB"])) == ["ab"]


def test_what_can_be_indexed_only(store, watch):
    class Indexed:
        def __getitem__(self, index):
            return ["ab", "b"][index]

    watch("AB")
    assert detected(store, Indexed()) == ["ab", "b"]


@pytest.mark.parametrize("kind", [list, tuple])
def test_an_own_walk_of_a_list_or_tuple_is_the_one_taken(store, watch, kind):
    watch("AB")
    own = type("Own", (kind,), {"__iter__": lambda self: iter(["b", "a"])})
    assert detected(store, own(["x"])) == ["b", "a"]


@pytest.mark.parametrize("plates", [5, True, 0.5, len], ids=repr)
def test_what_cannot_be_walked_fails_after_the_table_was_read(recorded, plates):
    store, log = recorded
    text = f"'{type(plates).__name__}' object is not iterable"
    assert type_and_text(error_of(store.check_watchlist, plates)) == (TypeError, text)
    assert steps(log) == READ
    assert log[-1] == ("exit", None)


def test_the_plates_are_walked_after_the_scope_has_ended(recorded):
    store, log = recorded

    class Plates:
        def __init__(self, *plates):
            self.plates = plates

        def __bool__(self):
            log.append(("truth",))
            return True

        def __iter__(self):
            for plate in self.plates:
                log.append(("next",))
                yield plate
            if not self.plates:
                raise LookupError("no more plates")

    store.add_watchlist("AB")
    log.clear()
    assert len(store.check_watchlist(Plates("AB", "ab"))) == 2
    assert steps(log) == ["truth", *READ, "next", "next"]
    log.clear()
    assert exactly(store.check_watchlist(iter([]))) == exactly([])
    assert steps(log) == READ  # read also when no plate follows
    error = error_of(store.check_watchlist, Plates())
    assert type_and_text(error) == (LookupError, "no more plates")
    assert log[-1] == ("exit", None)


def test_a_length_that_says_nothing_is_believed(recorded):
    class Empty(list):
        def __len__(self):
            return 0

    store, log = recorded
    assert store.check_watchlist(Empty(["AB"])) == []
    assert log == []


def changing(text, change):
    """Does something when it is asked for its capitals."""

    def upper(self):
        change()
        return str.upper(self)

    return text_answering(text, upper=upper)


def test_plates_may_change_while_they_are_matched(store, watch):
    watch("AB", "B")
    # What is added is matched too.
    plates = ["ab"]
    plates.append(changing("b", lambda: plates.append("a")))
    assert detected(store, plates) == ["ab", "ab", "b", "b", "a"]
    # What is taken away is not, but for the plate that is being matched.
    plates = ["ab", "a", "b"]
    plates[0] = changing("ab", plates.clear)
    assert detected(store, plates) == ["ab", "ab"]
    assert plates == []
    # The walk goes on with the second place of what is left, or with what was put there.
    plates = [changing("a", lambda: plates.pop(0)), "xx", "a"]
    assert detected(store, plates) == ["a", "a"]
    plates = [changing("a", lambda: plates.__setitem__(slice(1, 2), ["a", "x", "a"])), "zz"]
    assert detected(store, plates) == ["a", "a", "a"]


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
