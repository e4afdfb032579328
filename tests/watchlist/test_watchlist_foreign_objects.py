"""Plates and labels for the watchlist that are not exactly text: their own methods are asked."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.fakes import Text, executed, steps, text_answering
from support.values import error_of, exactly, type_and_text


def stored(store, *arguments):
    entry_id = store.add_watchlist(*arguments)
    ((plate, label),) = database.query(
        store.db_path, "SELECT plate, label FROM watchlist WHERE id = ?", (entry_id,)
    )
    return plate, label


def test_a_subclass_without_methods_of_its_own_is_text(store):
    assert exactly(stored(store, Text(" ab "), Text(" l "))) == exactly(("AB", "l"))


def test_a_subclass_is_asked_for_its_own_capitals_and_ends(store):
    def strip(self, *characters):
        return f"strip({self}){characters}"

    def upper(self):
        return text_answering(f"upper({self})", strip=strip)

    plate, label = text_answering("a", upper=upper), text_answering("b", strip=strip)
    assert stored(store, plate, label) == ("strip(upper(a))()", "strip(b)()")


class Own(str):
    pass


def test_methods_set_on_one_object_are_the_ones_asked(store):
    plate = Own("ab")
    plate.upper = lambda: "own capitals "
    assert stored(store, plate) == ("own capitals", "")


class Foreign:
    """No text, but has the methods; writes down when they are asked, and gives what it was told."""

    def __init__(self, name, log, given):
        self.name, self.log, self.given = name, log, given

    def upper(self):
        self.log.append((f"{self.name}.upper",))
        return self

    def strip(self):
        self.log.append((f"{self.name}.strip",))
        return self.given


def test_the_plate_is_asked_before_the_label_and_each_once_before_the_clock(recorded, clock):
    store, log = recorded
    clock.type.now = lambda: log.append(("now",)) or clock.moment
    store.add_watchlist(Foreign("plate", log, "P"), Foreign("label", log, "L"))
    asked = ["plate.upper", "plate.strip", "label.strip", "now", "execute"]
    assert steps(log)[:7] == ["_get_conn", "enter", *asked]
    assert list(executed(log)[1])[:2] == ["P", "L"]


def test_what_the_methods_give_is_bound_as_it_is(recorded):
    store, log = recorded
    given = object()
    foreign = Foreign("text", [], given)
    assert type_and_text(error_of(store.add_watchlist, foreign, foreign)) == (
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


@pytest.mark.parametrize(
    "given", [None, 5, True, 0.5, ["AB"], ("AB",), {}, object()], ids=lambda g: type(g).__name__
)
def test_what_is_no_text_fails_inside_the_scope_and_writes_nothing(recorded, db_path, given):
    store, log = recorded
    before = database.contents(db_path)
    for arguments, name in (
        ((given,), "upper"),
        ((given, given), "upper"),
        (("AB", given), "strip"),
        ((text_answering("a", upper=given),), "strip"),
    ):
        log.clear()
        assert type_and_text(error_of(store.add_watchlist, *arguments)) == (
            AttributeError,
            f"'{type(given).__name__}' object has no attribute '{name}'",
        )
        assert steps(log) == ["_get_conn", "enter", "exit"]
        assert log[-1] == ("exit", AttributeError)
    assert database.contents(db_path) == before
    assert store.add_watchlist("AB") == 1


def test_the_error_of_a_method_is_passed_on(recorded):
    store, log = recorded
    failing = text_answering("x", strip=ArithmeticError("no ends"))
    assert type_and_text(error_of(store.add_watchlist, "AB", failing)) == (
        ArithmeticError,
        "no ends",
    )
    assert log[-1] == ("exit", ArithmeticError)
