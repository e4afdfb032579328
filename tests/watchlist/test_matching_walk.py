"""What may stand for the list of plates, and what happens when it changes while it is matched."""

from __future__ import annotations

from collections import deque

import pytest

from support.recording import steps
from support.values import error_of, type_and_text


def detected(store, plates):
    return [match["detected_plate"] for match in store.check_watchlist(plates)]


@pytest.mark.parametrize(
    ("plates", "expected"),
    [
        (["ab", "x", "cd"], ["ab", "cd"]),
        (("ab", "x", "cd"), ["ab", "cd"]),
        ("xA", ["A"]),
        (deque(["ab", "cd"]), ["ab", "cd"]),
        ({"ab": 1, "cd": 2}, ["ab", "cd"]),
        ({"ab": 1, "cd": 2}.keys(), ["ab", "cd"]),
        (frozenset(["ab"]), ["ab"]),
    ],
    ids=lambda value: type(value).__name__,
)
def test_whatever_can_be_walked(store, watch, plates, expected):
    watch("AB", "CD")
    assert detected(store, plates) == expected


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


@pytest.mark.parametrize(
    ("plates", "kind"),
    [(5, "int"), (True, "bool"), (0.5, "float"), (len, "builtin_function_or_method")],
)
def test_what_cannot_be_walked_fails_after_the_table_was_read(recorded, plates, kind):
    store, log = recorded
    assert type_and_text(error_of(store.check_watchlist, plates)) == (
        TypeError,
        f"'{kind}' object is not iterable",
    )
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
    assert log[-1] == ("exit", None)


def test_a_walk_that_fails_ends_the_call_with_its_error(recorded):
    def failing():
        yield "AB"
        raise LookupError("no more plates")

    store, log = recorded
    assert type_and_text(error_of(store.check_watchlist, failing())) == (
        LookupError,
        "no more plates",
    )
    assert log[-1] == ("exit", None)


def test_a_length_that_says_nothing_is_believed(recorded):
    class Empty(list):
        def __len__(self):
            return 0

    store, log = recorded
    assert store.check_watchlist(Empty(["AB"])) == []
    assert log == []


def test_an_own_walk_of_a_list_is_the_one_taken(store, watch):
    class Own(list):
        def __iter__(self):
            return iter(["b", "a"])

    watch("AB")
    assert detected(store, Own(["x"])) == ["b", "a"]


def test_an_own_walk_of_a_tuple_is_the_one_taken(store, watch):
    class Own(tuple):
        __slots__ = ()

        def __iter__(self):
            return iter(["b", "a"])

    watch("AB")
    assert detected(store, Own(["x"])) == ["b", "a"]


class Changing(str):
    """Does something to the plates when it is asked for its capitals."""

    def upper(self):
        self.change()
        return str.upper(self)


def changing(text, change):
    plate = Changing(text)
    plate.change = change
    return plate


def test_plates_added_while_matching_are_matched_too(store, watch):
    watch("AB")
    plates = ["ab"]
    plates.append(changing("b", lambda: plates.append("a")))
    assert detected(store, plates) == ["ab", "b", "a"]


def test_plates_taken_away_while_matching_are_not_matched(store, watch):
    watch("AB", "B")
    plates = ["ab", "a", "b"]
    plates[0] = changing("ab", plates.clear)
    assert detected(store, plates) == ["ab", "ab"]
    assert plates == []


def test_a_plate_that_takes_itself_out_is_still_matched(store, watch):
    watch("AB")
    plates = ["", "ab", "b"]
    plates[0] = changing("a", lambda: plates.pop(0))
    # The walk goes on with the second place of what is left.
    assert detected(store, plates) == ["a", "b"]


def test_a_plate_may_put_others_into_places_to_come(store, watch):
    watch("AB")

    def fill():
        plates[1:] = ["b", "x", "ab"]

    plates = [changing("a", fill), "zz"]
    assert detected(store, plates) == ["a", "b", "ab"]


def test_an_entry_may_change_the_plates(store, entries):
    plates = ["ab", "a"]
    entries("AB", changing("A", plates.clear))
    assert [m["watchlist_id"] for m in store.check_watchlist(plates)] == [1, 2]


def test_a_plate_may_change_the_watchlist_of_the_next_call(store, watch):
    watch("AB")

    def remove():
        assert store.remove_watchlist(1) is True
        store.add_watchlist("CD")

    plates = [changing("ab", remove), "cd"]
    assert detected(store, plates) == ["ab"]
    plates[0].change = lambda: None
    assert detected(store, plates) == ["cd"]


def test_a_plate_may_match_others_meanwhile(store, watch):
    watch("AB")
    inner = []
    plates = [changing("ab", lambda: inner.extend(detected(store, ["b"]))), "a"]
    assert detected(store, plates) == ["ab", "a"]
    assert inner == ["b"]


def test_the_plates_are_not_changed(store, watch):
    watch("AB")
    plates = ["a-b", "x"]
    store.check_watchlist(plates)
    assert plates == ["a-b", "x"]


def test_they_may_be_given_by_keyword(store, watch):
    watch("AB")
    assert len(store.check_watchlist(plates=["ab"])) == 1
