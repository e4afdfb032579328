"""Plates to match that are not exactly text: their own methods decide, and their errors get out."""

from __future__ import annotations

from collections import UserString

import pytest

from support.recording import steps
from support.values import error_of, exactly, type_and_text


class Text(str):
    """A subclass without methods of its own."""

    __slots__ = ()


def hits(store, *plates):
    return [match["watchlist_id"] for match in store.check_watchlist(list(plates))]


def test_a_subclass_without_methods_of_its_own_is_matched_as_text(store, watch):
    watch("AB-123", "CD")
    plate = Text("xab 123")
    (match,) = store.check_watchlist([plate])
    assert match["detected_plate"] is plate


NO_TEXT = {
    "None": (None, "'NoneType' object has no attribute 'upper'"),
    "int": (5, "'int' object has no attribute 'upper'"),
    "bool": (True, "'bool' object has no attribute 'upper'"),
    "float": (0.5, "'float' object has no attribute 'upper'"),
    "list": (["AB"], "'list' object has no attribute 'upper'"),
    "dict": ({"AB": 1}, "'dict' object has no attribute 'upper'"),
    "object": (object(), "'object' object has no attribute 'upper'"),
    "class": (int, "type object 'int' has no attribute 'upper'"),
}


@pytest.mark.parametrize(("plate", "text"), NO_TEXT.values(), ids=NO_TEXT)
def test_what_is_no_text_has_no_capitals(recorded, plate, text):
    store, log = recorded
    for entries in (0, 1):
        for plates in ([plate], ["AB", plate], (plate, "AB")):
            log.clear()
            error = error_of(store.check_watchlist, plates)
            assert type_and_text(error) == (AttributeError, text), entries
            # The scope had ended well before.
            assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
            assert log[-1] == ("exit", None)
        store.add_watchlist("AB")


@pytest.mark.parametrize("plate", [b"AB", bytearray(b""), b""], ids=repr)
def test_bytes_cannot_lose_a_blank_that_is_text(store, plate):
    assert type_and_text(error_of(store.check_watchlist, [plate])) == (
        TypeError,
        "a bytes-like object is required, not 'str'",
    )


def test_a_class_of_texts_has_capitals_that_want_an_object(store):
    assert type_and_text(error_of(store.check_watchlist, [str])) == (
        TypeError,
        "unbound method str.upper() needs an argument",
    )


def test_a_text_like_object_is_compared_by_its_own_operators(store, watch):
    watch("AB-123", "X", "12")
    plate = UserString("ab 1")
    # Its own `==` and `in` find the entry's text; as the part of a plain text it is no text.
    assert type_and_text(error_of(store.check_watchlist, [plate])) == (
        TypeError,
        "'in <string>' requires string as left operand, not UserString",
    )
    assert hits(store, "AB123") == [1, 3]


def test_a_text_like_object_that_contains_every_entry_matches(store, watch):
    watch("AB-1", "b", "1")
    plate = UserString("xab 1")
    records = store.check_watchlist([plate])
    assert [record["watchlist_id"] for record in records] == [1, 2, 3]
    assert all(record["detected_plate"] is plate for record in records)


def test_own_capitals_are_taken(store, watch):
    watch("CD", "AB", "C D", "-")
    assert hits(store, giving(upper="C D"), giving(upper="c d"), "AB") == [1, 3, 4, 4, 2, 4]


def test_an_own_replace_is_not_asked_once_the_capitals_are_plain_text(store, watch):
    class Plate(str):
        __slots__ = ()

        def replace(self, *arguments):
            raise AssertionError("never asked")

        def __eq__(self, other):
            raise AssertionError("never asked")

        def __contains__(self, other):
            raise AssertionError("never asked")

        __hash__ = str.__hash__

    watch("AB")
    assert hits(store, Plate("a-b")) == [1]


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


@pytest.mark.parametrize(
    ("plate", "watched", "asked"),
    [
        ("a-b", "AB", [("==", "AB")]),
        ("xab", "A B", [("==", "AB"), ("contains", "AB")]),
        ("b", "AB", [("==", "AB"), ("contains", "AB")]),
        ("c", "AB", [("==", "AB"), ("contains", "AB")]),
    ],
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
    watched = Traced("abc", asked)
    entries(watched)
    plate = Traced("b", asked)
    assert hits(store, plate) == [1]
    assert asked == [
        *NORMALIZING,
        *NORMALIZING,
        ("==", "ABC"),
        ("contains", "ABC"),
        ("contains", "B"),
    ]


class Answering:
    """A text of its own kind: gives the answers it was made with."""

    def __init__(self, equal=False, contains=False):
        self.equal, self.contains = equal, contains

    def upper(self):
        return self

    def replace(self, old, new):
        return self

    def __eq__(self, other):
        if isinstance(self.equal, Exception):
            raise self.equal
        return self.equal

    def __contains__(self, other):
        if isinstance(self.contains, Exception):
            raise self.contains
        return self.contains

    __hash__ = None  # type: ignore[assignment]


class Undecided:
    def __bool__(self):
        raise ArithmeticError("undecided")


@pytest.mark.parametrize(
    ("plate", "expected"),
    [
        (Answering(equal=True), [1]),
        (Answering(equal="yes"), [1]),
        (Answering(equal=[0], contains=KeyError()), [1]),
        (Answering(contains=True), [1]),
        (Answering(equal="", contains=[0]), [1]),
        (Answering(equal=NotImplemented, contains=5), [1]),
    ],
    ids=range(6),
)
def test_answers_are_taken_by_their_truth(store, watch, plate, expected):
    watch("AB")
    assert hits(store, plate) == expected


@pytest.mark.parametrize(
    ("plate", "error", "text"),
    [
        (Answering(equal=LookupError("no ==")), LookupError, "no =="),
        (Answering(equal=Undecided()), ArithmeticError, "undecided"),
        (Answering(contains=LookupError("no in")), LookupError, "no in"),
        (Answering(contains=Undecided()), ArithmeticError, "undecided"),
        (
            Answering(),
            TypeError,
            "'in <string>' requires string as left operand, not Answering",
        ),
        (
            Answering(contains=[]),
            TypeError,
            "'in <string>' requires string as left operand, not Answering",
        ),
    ],
    ids=range(6),
)
def test_the_error_of_an_answer_is_passed_on(store, watch, plate, error, text):
    watch("AB")
    assert type_and_text(error_of(store.check_watchlist, [plate])) == (error, text)


def giving(**methods):
    """A text whose methods give just these."""
    return type("Giving", (str,), {name: lambda *_, v=v: v for name, v in methods.items()})("AB")


class Bare:
    """Capitals that can be replaced in, and nothing more."""

    def replace(self, old, new):
        return self


class Walked(Bare):
    """Has no `in` of its own: its pieces are looked through."""

    def __iter__(self):
        return iter(["X", "AB"])


@pytest.mark.parametrize(
    ("capitals", "error", "text"),
    [
        (None, AttributeError, "'NoneType' object has no attribute 'replace'"),
        (5, AttributeError, "'int' object has no attribute 'replace'"),
        (["AB"], AttributeError, "'list' object has no attribute 'replace'"),
        (b"AB", TypeError, "a bytes-like object is required, not 'str'"),
        (Bare(), TypeError, "argument of type 'Bare' is not iterable"),
    ],
    ids=["None", "int", "list", "bytes", "bare"],
)
def test_capitals_that_are_no_text(store, watch, capitals, error, text):
    watch("AB")
    plate = giving(upper=capitals)
    assert type_and_text(error_of(store.check_watchlist, [plate])) == (error, text)


def test_capitals_that_can_only_be_walked_through(store, watch):
    watch("A-B")
    assert hits(store, giving(upper=Walked())) == [1]
    watch("Y")
    assert type_and_text(error_of(store.check_watchlist, [giving(upper=Walked())])) == (
        TypeError,
        "'in <string>' requires string as left operand, not Walked",
    )


def test_an_entry_may_answer_for_a_plain_plate(store, entries):
    # A text does not know how to compare itself with a stranger, so the stranger is asked.
    entries(Answering(equal=True), Answering(equal=NotImplemented))
    assert type_and_text(error_of(store.check_watchlist, ["AB"])) == (
        TypeError,
        "'in <string>' requires string as left operand, not Answering",
    )
    entries(Answering(equal=True))
    assert hits(store, "AB") == [1]


def test_a_subclass_of_the_capitals_is_asked_before_plain_text(store, entries):
    # `==` asks the right-hand side first where it is a subclass of the left.
    asked = []
    entries(Traced("x", asked))
    assert hits(store, "ab") == []
    assert asked == [*NORMALIZING, ("==", "AB"), ("contains", "AB")]


@pytest.mark.parametrize("name", ["upper", "replace"])
def test_an_attribute_that_cannot_be_read_ends_the_call(store, watch, name):
    class Plate(str):
        __slots__ = ()

        def upper(self):
            return self

        def __getattribute__(self, wanted):
            if wanted == name:
                raise LookupError(f"no {name} today")
            return super().__getattribute__(wanted)

    watch("AB")
    assert type_and_text(error_of(store.check_watchlist, ["AB", Plate("AB")])) == (
        LookupError,
        f"no {name} today",
    )


def test_methods_set_on_one_object_are_the_ones_asked(store, watch):
    class Plate(str):
        pass

    watch("XY")
    plate = Plate("AB")
    plate.upper = lambda: "X-Y"
    (match,) = store.check_watchlist(["AB", plate])
    assert match["detected_plate"] is plate


def test_no_match_is_given_when_a_later_plate_fails(store, watch):
    watch("AB")
    assert type_and_text(error_of(store.check_watchlist, ["AB", None])) == (
        AttributeError,
        "'NoneType' object has no attribute 'upper'",
    )
    assert exactly(store.check_watchlist([])) == exactly([])
    assert hits(store, "AB") == [1]
