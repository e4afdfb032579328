"""The comparisons of a search with its least confidence are Python's own, of the very objects.

Whether the threshold is above 0 is asked before a connection is opened and again after the scope.
"""

from __future__ import annotations

from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st
from zentrope_anpr import zentrope_anpr_server_db as native

from support import database, twin
from support.fakes import Undecided, recording_class
from support.json_cases import outcome
from support.samples import add
from support.stored_rows import ids
from support.values import type_and_text


class Operand:
    """Writes down each comparison that it takes part in: itself, operator, the other and its type.

    Its answers are taken in turn, the last one ever again; an error among them is raised.
    """

    def __init__(self, name, log, *answers):
        self.name = name
        self.log = log
        self.answers = list(answers) or [True]

    def compared(self, operator, other):
        told = other.name if isinstance(other, Operand) else other
        self.log.append((self.name, operator, told, type(other)))
        answer = self.answers.pop(0) if len(self.answers) > 1 else self.answers[0]
        if isinstance(answer, Exception):
            raise answer
        return answer

    def __gt__(self, other):
        return self.compared(">", other)

    def __ge__(self, other):
        return self.compared(">=", other)

    def __lt__(self, other):
        return self.compared("<", other)

    def __le__(self, other):
        return self.compared("<=", other)


class Contrary(float):
    def __gt__(self, other):
        return not float(self) > other

    def __le__(self, other):
        return not float(self) <= other


class Unwilling(int):
    def __ge__(self, other):
        return False


def elements_of(log, *told):
    return [Operand(f"element {n}", log, *answers) for n, answers in enumerate(told)]


# Name: the elements of a record, or None for the numbers that are stored; and the threshold.
CASES: dict[str, Any] = {
    "threshold on numbers": lambda log: (None, Operand("least", log)),
    "elements": lambda log: (elements_of(log, [False], [], []), 0.5),
    "both": lambda log: (elements_of(log, [False], [], []), Operand("least", log)),
    "an element declines": lambda log: (elements_of(log, [NotImplemented]), Operand("least", log)),
    "both decline": lambda log: (
        elements_of(log, [NotImplemented]),
        Operand("least", log, True, True, NotImplemented),
    ),
    "contrary": lambda log: (None, Contrary(0.5)),
    "contrary below 0": lambda log: (None, Contrary(-0.5)),
    "unwilling": lambda log: ([Unwilling(5)], 0.5),
    "above 0 before": lambda log: (None, Operand("least", log, True, False)),
    "above 0 after": lambda log: (None, Operand("least", log, False, True, False)),
    "compares once": lambda log: (None, Operand("least", log, True, NotImplemented)),
    "refuses": lambda log: (None, Operand("least", log, LookupError("no comparison"))),
    "passes late": lambda log: (iter([0.1, 0.9, None, "x", 0.7]), 0.5),
    "tuple": lambda log: ((0.9,), 0.5),
    "mapping": lambda log: ({0.9: "key"}, 0.5),
    "range": lambda log: (range(1), 0.5),
    "set": lambda log: (frozenset([0.5]), 0.5),
}
for _answer in ("yes", [0], 1, "", [], 0, None, Undecided()):
    _name = repr(_answer)[:12]
    CASES |= {
        f"{_name} above 0": lambda log, a=_answer: (None, Operand("least", log, a)),
        f"{_name} above 0 after": lambda log, a=_answer: (None, Operand("least", log, True, a)),
        f"{_name} at last": lambda log, a=_answer: (None, Operand("least", log, True, True, a)),
        f"{_name} from an element": lambda log, a=_answer: (elements_of(log, [a]), 0.5),
    }
_NOT_ABOVE: tuple[Any, ...] = (None, "0.5", "", [], 0.5j)
for _least in _NOT_ABOVE:
    CASES[f"{_least!r} does not compare with 0"] = lambda log, least=_least: (None, least)


def noted(module, path, make):
    """What the call gave, each comparison and step on the way, and the elements not looked at."""
    log = []
    store = recording_class(module.ANPRDatabase, log)(path)
    add(store, confidences=[0.5, 0.7])
    add(store, confidences=[0.9], plates=[])
    log.clear()
    elements, least = make(log)
    if elements is not None:
        store._row_to_dict = lambda row: {"confidences": elements, "id": row["id"]}
    try:
        given = ids(store.search_plates(min_confidence=least))
    except Exception as error:
        given = type_and_text(error)
    left = list(elements) if hasattr(elements, "__next__") else None
    return given, log, left


@pytest.mark.parametrize("name", CASES)
def test_the_comparisons_are_those_of_python(tmp_path, name):
    ours, theirs = (
        noted(module, tmp_path / module.__name__, CASES[name]) for module in (native, twin)
    )
    assert ours == theirs


def test_the_cases_are_what_they_seem(tmp_path):
    def of(name):
        given, log, left = noted(twin, tmp_path / name, CASES[name])
        return given, [entry[:3] for entry in log if entry[0] not in ("execute", "enter")], left

    above = ("least", ">", 0)
    scope = [("_get_conn",), ("fetchall",), ("exit", None)]
    # A number does not know the threshold, which is then asked from its side.
    asked = [above, *scope, above, ("least", "<=", 0.5)]
    assert of("threshold on numbers") == ([1], asked, None)
    first, second = ("element 0", ">=", "least"), ("element 1", ">=", "least")
    assert of("both") == ([1], [above, *scope, above, first, second], None)
    assert of("passes late")[2] == [None, "x", 0.7]
    assert of("refuses") == ((LookupError, "no comparison"), [above], None)
    text = "'>' not supported between instances of 'Operand' and 'int'"
    assert of("compares once") == ((TypeError, text), [above, *scope, above], None)


exact_numbers = st.one_of(
    st.floats(), st.floats(0, 1), st.integers(), st.integers(-(10**400), 10**400), st.booleans()
)
thresholds = st.one_of(
    exact_numbers,
    st.fractions(0, 1),
    st.decimals(0, 1, allow_nan=False),
    st.sampled_from([2**53, 2**53 + 1, 2.0**53, 10**308, 2**1024]),
)
near = st.sampled_from([2**53, 2**53 + 1, 2.0**53, 0.5, 1, 1.0, 10**308, 1e308, 2**1024])


@given(pages=st.lists(st.lists(exact_numbers | near, max_size=4), max_size=4), least=thresholds)
def test_numbers_of_all_kinds_and_sizes_compare_as_in_python(store, db_path, pages, least):
    database.run_script(db_path, "DELETE FROM detections")
    added = {add(store, confidences=confidences): confidences for confidences in pages}

    def expected(least):
        return [
            detection_id
            for detection_id, confidences in added.items()
            if not least > 0 or any(element >= least for element in confidences)
        ]

    def found(least):
        return sorted(ids(store.search_plates(min_confidence=least)))

    assert outcome(found, least) == outcome(expected, least)
