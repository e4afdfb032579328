"""Plates and entries that are not exactly text: their own methods decide, and their errors get out.

What the store makes of them is what the rule makes of them: the matches or the error, and every
question asked on the way.
"""

from __future__ import annotations

from collections import UserString
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.fakes import Text, Undecided, steps, text_answering
from support.values import error_of, exactly, type_and_text
from watchlist.rule import rule


def noted(function, make):
    """Which plate met which entry, or the error; and what the objects were asked."""
    asked = []
    plates, entries = make(asked)
    try:
        matches = function(plates, entries)
    except Exception as error:
        return type_and_text(error), asked
    places = {id(plate): place for place, plate in enumerate(plates)}
    for match in matches:
        assert exactly(match["watchlist_plate"]) == exactly(entries[match["watchlist_id"] - 1])
    return [(places[id(m["detected_plate"])], m["watchlist_id"]) for m in matches], asked


def by_the_rule(plates, entries):
    return rule(plates, [(n, entry, "") for n, entry in enumerate(entries, 1)])


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
        self.asked.append(("==", str(self), str(other)))
        return str(self) == str(other)

    def __contains__(self, other):
        self.asked.append(("contains", str(self), str(other)))
        return str(other) in str(self)

    __hash__ = str.__hash__


class Bare:
    """Capitals that can be replaced in, and nothing more."""

    def upper(self, *arguments):
        return self

    def replace(self, *arguments):
        return self


class Walked(Bare):
    """Has no `in` of its own: its pieces are looked through."""

    def __iter__(self):
        return iter(["X", "AB"])


class Answering(Bare):
    """A text of its own kind: gives the answers it was made with."""

    def __init__(self, asked, equal=False, contains=False):
        self.asked, self.answers = asked, {"equal": equal, "contains": contains}

    def answer(self, name, other):
        self.asked.append((name, str(type(other))))
        if isinstance(self.answers[name], Exception):
            raise self.answers[name]
        return self.answers[name]

    def __eq__(self, other):
        return self.answer("equal", other)

    def __contains__(self, other):
        return self.answer("contains", other)

    __hash__ = None  # type: ignore[assignment]


def giving_upper(capitals):
    return text_answering("AB", upper=lambda self: capitals)


def unreadable(name):
    def get(self, wanted):
        if wanted == name:
            raise LookupError(f"no {name} today")
        return object.__getattribute__(self, wanted)

    return text_answering("AB", upper=lambda self: self, __getattribute__=get)


def with_own_upper(asked):
    plate = text_answering("AB")
    plate.upper = lambda: asked.append("own upper") or "X-Y"
    return ["AB", plate], ["XY", "AB"]


NEVER = dict.fromkeys(
    ("replace", "strip", "__eq__", "__contains__", "__getitem__", "__iter__"),
    AssertionError("never asked once the capitals are plain text"),
)
ANSWERS: list[Any] = [
    *((True,), ("yes",), ([0], KeyError()), (False, True), ("", [0]), (NotImplemented, 5)),
    *((LookupError("no =="),), (Undecided(),), (False, LookupError("no in")), ()),
    *((False, Undecided()), (False, []), (NotImplemented,)),
]
NO_TEXT: list[Any] = [
    None,
    5,
    True,
    0.5,
    object(),
    ["AB"],
    {"AB": 1},
    int,
    str,
    b"AB",
    b"",
    bytearray(b""),
]

# Name: plates and entries, made anew for each side.
CASES: dict[str, Any] = {
    "a subclass": lambda asked: ([Text("xab 123")], ["AB-123", "CD"]),
    "a subclass as entry": lambda asked: (["ASS"], [Text("a-ß"), "a-ß"]),
    "text-like": lambda asked: ([UserString("xab 1")], ["AB-1", "b", "1"]),
    "text-like, part": lambda asked: ([UserString("ab 1")], ["AB-123", "X", "12"]),
    "own capitals": lambda asked: (
        [giving_upper("C D"), giving_upper("c d"), "AB"],
        ["CD", "AB", "C D", "-"],
    ),
    "plain capitals": lambda asked: ([text_answering("a-b", **NEVER)], ["AB"]),
    "own method of one object": with_own_upper,
    "no upper to read": lambda asked: (["AB", unreadable("upper")], ["AB"]),
    "no replace to read": lambda asked: (["AB", unreadable("replace")], ["AB"]),
    "equal": lambda asked: ([Traced("a-b", asked)], ["AB"]),
    "containing": lambda asked: ([Traced("xab", asked)], ["A B"]),
    "contained": lambda asked: ([Traced("b", asked)], ["AB"]),
    "neither": lambda asked: ([Traced("c", asked)], ["AB"]),
    "many entries": lambda asked: ([Traced("a", asked)], ["AB", "CD", "A"]),
    "both traced": lambda asked: ([Traced("b", asked), "a"], [Traced("abc", asked)] * 2),
    # `==` asks the right-hand side first where it is a subclass of the left.
    "entry traced": lambda asked: (["ab", "c", "b"], [Traced("x", asked), Traced("b-A", asked)]),
    "walked through": lambda asked: ([giving_upper(Walked())], ["A-B"]),
    "walked through in vain": lambda asked: ([giving_upper(Walked())], ["A-B", "Y"]),
    "entry contains all": lambda asked: (["AB", "Y"], [Answering(asked, False, True)]),
    "entry fails after another": lambda asked: (["AB"], ["AB", 5, None]),
    "plate fails before the entry": lambda asked: ([["AB"]], [5]),
}
for _n, _answers in enumerate(ANSWERS):
    CASES[f"answers {_n}"] = lambda asked, a=_answers: ([Answering(asked, *a)], ["AB"])
    CASES[f"entry's answers {_n}"] = lambda asked, a=_answers: (["AB"], [Answering(asked, *a)])
for _n, _value in enumerate(NO_TEXT):
    CASES[f"no text {_n}"] = lambda asked, v=_value: (["AB", v], ["AB"])
    CASES[f"no text as entry {_n}"] = lambda asked, v=_value: (["AB"], ["AB", v])
    CASES[f"no capitals {_n}"] = lambda asked, v=_value: ([giving_upper(v)], ["AB"])
CASES["bare capitals"] = lambda asked: ([giving_upper(Bare())], ["AB"])


@pytest.mark.parametrize("name", CASES)
def test_foreign_objects_match_by_the_rule(store, watch, entries, name):
    def watching(put):
        return lambda plates, watched: (put(*watched), store.check_watchlist(plates))[1]

    expected = noted(by_the_rule, CASES[name])
    if all(type(entry) is str for entry in CASES[name]([])[1]):
        assert noted(watching(watch), CASES[name]) == expected
    assert noted(watching(entries), CASES[name]) == expected


def test_the_cases_are_what_they_seem():
    outcomes = [noted(by_the_rule, make)[0] for make in CASES.values()]
    matching = [outcome for outcome in outcomes if isinstance(outcome, list) and outcome]
    failing = {outcome for outcome in outcomes if isinstance(outcome, tuple)}
    assert len(matching) > 20
    assert {
        (AttributeError, "'NoneType' object has no attribute 'upper'"),
        (AttributeError, "'NoneType' object has no attribute 'replace'"),
        (AttributeError, "type object 'int' has no attribute 'upper'"),
        (TypeError, "unbound method str.upper() needs an argument"),
        (TypeError, "a bytes-like object is required, not 'str'"),
        (TypeError, "'in <string>' requires string as left operand, not Answering"),
        (TypeError, "argument of type 'Bare' is not iterable"),
        (LookupError, "no replace today"),
    } < failing


@pytest.mark.parametrize("plate", NO_TEXT, ids=lambda value: type(value).__name__)
def test_a_plate_that_fails_fails_after_the_scope_and_gives_no_match(recorded, plate):
    store, log = recorded
    for _ in range(2):
        for plates in ([plate], ["AB", plate], (plate, "AB")):
            log.clear()
            expected = type_and_text(error_of(rule, [plate], []))
            assert type_and_text(error_of(store.check_watchlist, plates)) == expected
            assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
            assert log[-1] == ("exit", None)
        store.add_watchlist("AB")
    assert len(store.check_watchlist(["AB"])) == 2


class Own(str):
    """Capitals and pieces of its own kind, equal to what it likes."""

    __slots__ = ()

    def upper(self):
        return Own(str.upper(self))

    def replace(self, old, new):
        return Own(str.replace(self, old, new))

    def __eq__(self, other):
        return len(self) == len(other)

    def __contains__(self, part):
        return str.__contains__(self, part[:1])

    __hash__ = str.__hash__


def outcome(function, *arguments):
    try:
        return exactly(function(*arguments))
    except (AttributeError, TypeError) as error:
        return type_and_text(error)


texts = st.text("aB-ßé車\U00010428", max_size=4)
few_odd = st.integers(0, 24).map(lambda n: [b"ab", None, 5][n] if n < 3 else "AB")
odd = st.one_of(texts, texts, texts.map(Own), texts.map(Own), few_odd)


@given(plates=st.lists(odd, min_size=1, max_size=4), watched=st.lists(odd, max_size=4))
def test_any_mixture_gives_what_the_rule_gives(store, entries, plates, watched):
    entries(*watched)
    rows = [(n, plate, "") for n, plate in enumerate(watched, 1)]
    assert outcome(store.check_watchlist, plates) == outcome(rule, plates, rows)
