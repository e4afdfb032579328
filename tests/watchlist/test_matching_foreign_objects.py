"""Plates to match that are not exactly text: their own methods decide, and their errors get out."""

from __future__ import annotations

from collections import UserString

import pytest

from support.fakes import Text, Undecided, steps, text_answering
from support.values import error_of, exactly, type_and_text

BYTES_ERROR = (TypeError, "a bytes-like object is required, not 'str'")


def hits(store, *plates):
    return [match["watchlist_id"] for match in store.check_watchlist(list(plates))]


def failure(store, *plates):
    return type_and_text(error_of(store.check_watchlist, list(plates)))


def no_part(kind):
    return TypeError, f"'in <string>' requires string as left operand, not {kind}"


def no_attribute(kind, name="upper"):
    return AttributeError, f"'{kind}' object has no attribute '{name}'"


def test_a_subclass_without_methods_of_its_own_is_matched_as_text(store, watch):
    watch("AB-123", "CD")
    plate = Text("xab 123")
    (match,) = store.check_watchlist([plate])
    assert match["detected_plate"] is plate


@pytest.mark.parametrize(("plate", "expected"), [
    *((value, no_attribute(type(value).__name__)) for value in (None, 5, True, 0.5, object())),
    (["AB"], no_attribute("list")), ({"AB": 1}, no_attribute("dict")),
    (int, (AttributeError, "type object 'int' has no attribute 'upper'")),
    (str, (TypeError, "unbound method str.upper() needs an argument")),
    *((value, BYTES_ERROR) for value in (b"AB", b"", bytearray(b""))),
], ids=lambda value: type(value).__name__)  # fmt: skip
def test_what_is_no_text_cannot_be_matched(recorded, plate, expected):
    store, log = recorded
    for _ in range(2):
        for plates in ([plate], ["AB", plate], (plate, "AB")):
            log.clear()
            assert type_and_text(error_of(store.check_watchlist, plates)) == expected
            # The scope had ended well before.
            assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
            assert log[-1] == ("exit", None)
        store.add_watchlist("AB")
    assert exactly(store.check_watchlist([])) == exactly([])
    assert hits(store, "AB") == [1, 2]


def test_a_text_like_object_is_compared_by_its_own_operators(store, watch):
    watch("AB-1", "b", "1")
    plate = UserString("xab 1")
    records = store.check_watchlist([plate])
    assert [record["watchlist_id"] for record in records] == [1, 2, 3]
    assert all(record["detected_plate"] is plate for record in records)
    watch("X")
    # Its own `==` and `in` find an entry's text; as the part of a plain text it is no text.
    assert failure(store, UserString("ab 1")) == no_part("UserString")
    assert hits(store, "AB1") == [1, 2, 3]


def giving_upper(capitals):
    return text_answering("AB", upper=lambda self: capitals)


def test_own_capitals_are_taken(store, watch):
    watch("CD", "AB", "C D", "-")
    plates = (giving_upper("C D"), giving_upper("c d"), "AB")
    assert hits(store, *plates) == [1, 3, 4, 4, 2, 4]


def test_nothing_else_is_asked_once_the_capitals_are_plain_text(store, watch):
    asked = AssertionError("never asked")
    names = ("replace", "strip", "__eq__", "__contains__", "__getitem__", "__iter__")
    watch("AB")
    assert hits(store, text_answering("a-b", **dict.fromkeys(names, asked))) == [1]


class Traced(str):
    """Writes down what it is asked; what it gives is as traced as itself."""

    __slots__ = ("asked",)

    def __new__(cls, text, asked):
        made = super().__new__(cls, text)
        made.asked = asked
        return made

    def upper(self):
        self.asked.append("upper")
        return Traced(str(self).upper(), self.asked)

    def replace(self, *arguments):
        self.asked.append(("replace", *arguments))
        return Traced(str(self).replace(*arguments), self.asked)

    def strip(self, *arguments):
        raise AssertionError("nothing is stripped")

    def __eq__(self, other):
        self.asked.append(("==", str(other)))
        return str(self) == str(other)

    def __contains__(self, other):
        self.asked.append(("contains", str(other)))
        return str(other) in str(self)

    __hash__ = str.__hash__


NORMALIZING = ["upper", ("replace", " ", ""), ("replace", "-", "")]
BOTH = [("==", "AB"), ("contains", "AB")]


@pytest.mark.parametrize(
    ("plate", "watched", "asked"),
    [("a-b", "AB", BOTH[:1]), ("xab", "A B", BOTH), ("b", "AB", BOTH), ("c", "AB", BOTH)],
)
def test_equality_is_asked_first_then_whether_the_plate_contains_the_entry(
    store, watch, plate, watched, asked
):
    watch(watched)
    seen = []
    hits(store, Traced(plate, seen))
    assert seen == NORMALIZING + asked


def test_a_plate_is_normalized_once_and_compared_with_every_entry(store, watch):
    watch("AB", "CD", "A")
    asked = []
    assert hits(store, Traced("a", asked)) == [1, 3]
    assert asked[:3] == NORMALIZING
    assert [step[1] for step in asked[3:] if step[0] == "=="] == ["AB", "CD", "A"]


def test_whether_the_entry_contains_the_plate_is_asked_last(store, entries):
    asked = []
    entries(Traced("abc", asked))
    assert hits(store, Traced("b", asked)) == [1]
    compared = [("==", "ABC"), ("contains", "ABC"), ("contains", "B")]
    assert asked == [*NORMALIZING, *NORMALIZING, *compared]


def test_a_subclass_of_the_capitals_is_asked_before_plain_text(store, entries):
    # `==` asks the right-hand side first where it is a subclass of the left.
    asked = []
    entries(Traced("x", asked))
    assert hits(store, "ab") == []
    assert asked == [*NORMALIZING, *BOTH]


class Answering:
    """A text of its own kind: gives the answers it was made with."""

    def __init__(self, equal=False, contains=False):
        self.answers = {"equal": equal, "contains": contains}

    def upper(self):
        return self

    def replace(self, old, new):
        return self

    def answer(self, name):
        if isinstance(self.answers[name], Exception):
            raise self.answers[name]
        return self.answers[name]

    def __eq__(self, other):
        return self.answer("equal")

    def __contains__(self, other):
        return self.answer("contains")

    __hash__ = None  # type: ignore[assignment]


@pytest.mark.parametrize("answers", [
    (True,), ("yes",), ([0], KeyError()), (False, True), ("", [0]), (NotImplemented, 5),
], ids=range(6))  # fmt: skip
def test_answers_are_taken_by_their_truth(store, watch, answers):
    watch("AB")
    assert hits(store, Answering(*answers)) == [1]


@pytest.mark.parametrize(("answers", "expected"), [
    ((LookupError("no =="),), (LookupError, "no ==")),
    ((Undecided(),), (ArithmeticError, "undecided")),
    ((False, LookupError("no in")), (LookupError, "no in")),
    ((False, Undecided()), (ArithmeticError, "undecided")), ((), no_part("Answering")),
    ((False, []), no_part("Answering")),
], ids=range(6))  # fmt: skip
def test_the_error_of_an_answer_is_passed_on(store, watch, answers, expected):
    watch("AB")
    assert failure(store, Answering(*answers)) == expected


def test_an_entry_may_answer_for_a_plain_plate(store, entries):
    # A text does not know how to compare itself with a foreign object, so that one is asked.
    entries(Answering(equal=True), Answering(equal=NotImplemented))
    assert failure(store, "AB") == no_part("Answering")
    entries(Answering(equal=True))
    assert hits(store, "AB") == [1]


class Bare:
    """Capitals that can be replaced in, and nothing more."""

    def replace(self, old, new):
        return self


class Walked(Bare):
    """Has no `in` of its own: its pieces are looked through."""

    def __iter__(self):
        return iter(["X", "AB"])


@pytest.mark.parametrize(("capitals", "expected"), [
    *((value, no_attribute(type(value).__name__, "replace")) for value in (None, 5, ["AB"])),
    (b"AB", BYTES_ERROR), (Bare(), (TypeError, "argument of type 'Bare' is not iterable")),
], ids=["None", "int", "list", "bytes", "bare"])  # fmt: skip
def test_capitals_that_are_no_text(store, watch, capitals, expected):
    watch("AB")
    assert failure(store, giving_upper(capitals)) == expected


def test_capitals_that_can_only_be_walked_through(store, watch):
    watch("A-B")
    assert hits(store, giving_upper(Walked())) == [1]
    watch("Y")
    assert failure(store, giving_upper(Walked())) == no_part("Walked")


@pytest.mark.parametrize("name", ["upper", "replace"])
def test_an_attribute_that_cannot_be_read_ends_the_call(store, watch, name):
    def get(self, wanted):
        if wanted == name:
            raise LookupError(f"no {name} today")
        return object.__getattribute__(self, wanted)

    watch("AB")
    plate = text_answering("AB", upper=lambda self: self, __getattribute__=get)
    assert failure(store, "AB", plate) == (LookupError, f"no {name} today")


def test_methods_set_on_one_object_are_the_ones_asked(store, watch):
    watch("XY")
    plate = text_answering("AB")
    plate.upper = lambda: "X-Y"
    (match,) = store.check_watchlist(["AB", plate])
    assert match["detected_plate"] is plate


def test_no_match_is_given_when_a_later_plate_fails(store, watch):
    watch("AB")
    assert failure(store, "AB", None) == no_attribute("NoneType")
