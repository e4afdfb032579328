"""Plates and labels for the watchlist that are not exactly text: their own methods are asked."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.recording import executed, steps
from support.values import error_of, exactly, type_and_text


def stored(store, *arguments):
    entry_id = store.add_watchlist(*arguments)
    ((plate, label),) = database.query(
        store.db_path, "SELECT plate, label FROM watchlist WHERE id = ?", (entry_id,)
    )
    return plate, label


class Text(str):
    __slots__ = ()


def test_a_subclass_without_methods_of_its_own_is_text(store):
    assert exactly(stored(store, Text(" ab "), Text(" l "))) == exactly(("AB", "l"))


def test_a_subclass_is_asked_for_its_own_capitals_and_ends(store):
    class Plate(str):
        __slots__ = ()

        def upper(self):
            return Plate(f"upper({self})")

        def strip(self, *characters):
            return f"strip({self}){characters}"

    class Label(str):
        __slots__ = ()

        def strip(self, *characters):
            return f"label({self}){characters}"

    assert stored(store, Plate("a"), Label("b")) == ("strip(upper(a))()", "label(b)()")


def test_the_plate_is_asked_before_the_label_and_each_once(store, clock):
    asked = []

    class Traced:
        def __init__(self, name):
            self.name = name

        def upper(self):
            asked.append(f"{self.name}.upper")
            return self

        def strip(self):
            asked.append(f"{self.name}.strip at {clock.readings}")
            return self.name

    store.add_watchlist(Traced("plate"), Traced("label"))
    assert asked == ["plate.upper", "plate.strip at 0", "label.strip at 0"]
    assert clock.readings == 1


def test_what_the_methods_give_is_bound_as_it_is(recorded, clock):
    given = object()

    class Odd:
        def upper(self):
            return self

        def strip(self):
            return given

    store, log = recorded
    assert type_and_text(error_of(store.add_watchlist, Odd(), Odd())) == (
        sqlite3.ProgrammingError,
        "Error binding parameter 1: type 'object' is not supported",
    )
    _, parameters = executed(log)
    assert parameters[0] is given
    assert parameters[1] is given
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]


@pytest.mark.parametrize("kind", [bytes, bytearray])
def test_bytes_have_capitals_and_ends_too(store, kind):
    assert exactly(stored(store, kind(b" ab\x1c "), kind(b"\tl "))) == exactly((b"AB\x1c", b"l"))


NO_UPPER = {
    "None": (None, "NoneType"),
    "int": (5, "int"),
    "bool": (True, "bool"),
    "float": (0.5, "float"),
    "list": (["AB"], "list"),
    "tuple": (("AB",), "tuple"),
    "dict": ({}, "dict"),
    "object": (object(), "object"),
}


@pytest.mark.parametrize(("given", "kind"), NO_UPPER.values(), ids=NO_UPPER)
def test_what_is_no_text_fails_inside_the_scope_and_writes_nothing(recorded, db_path, given, kind):
    store, log = recorded
    before = database.contents(db_path)
    for arguments, name in (
        ((given,), "upper"),
        ((given, given), "upper"),
        (("AB", given), "strip"),
    ):
        log.clear()
        assert type_and_text(error_of(store.add_watchlist, *arguments)) == (
            AttributeError,
            f"'{kind}' object has no attribute '{name}'",
        )
        assert steps(log) == ["_get_conn", "enter", "exit"]
        assert log[-1] == ("exit", AttributeError)
    assert database.contents(db_path) == before
    assert store.add_watchlist("AB") == 1


def test_what_the_capitals_of_a_plate_lack_is_told(store):
    class Plate(str):
        __slots__ = ()

        def upper(self):
            return 5

    assert type_and_text(error_of(store.add_watchlist, Plate("a"))) == (
        AttributeError,
        "'int' object has no attribute 'strip'",
    )


def test_the_error_of_a_method_is_passed_on(recorded):
    class Failing(str):
        __slots__ = ()

        def strip(self):
            raise ArithmeticError("no ends")

    store, log = recorded
    assert type_and_text(error_of(store.add_watchlist, "AB", Failing("x"))) == (
        ArithmeticError,
        "no ends",
    )
    assert log[-1] == ("exit", ArithmeticError)


def test_the_clock_is_not_read_for_a_label_that_fails(store, clock):
    error_of(store.add_watchlist, "AB", None)
    assert clock.readings == 0


def test_methods_set_on_one_object_are_the_ones_asked(store):
    class Plate(str):
        pass

    plate = Plate("ab")
    plate.upper = lambda: "own capitals "
    assert stored(store, plate) == ("own capitals", "")


def test_a_text_that_has_no_encoding_is_not_stored(store, db_path):
    before = database.contents(db_path)
    expected = (
        "'utf-8' codec can't encode character '\\ud800' in position 1: surrogates not allowed"
    )
    for arguments in (("a\ud800",), ("a", "l\ud800")):
        error = error_of(store.add_watchlist, *arguments)
        assert type_and_text(error) == (UnicodeEncodeError, expected)
    assert database.contents(db_path) == before
