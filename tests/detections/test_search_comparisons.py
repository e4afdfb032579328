"""The comparisons of a search with its least confidence are Python's own, of the very objects."""

from __future__ import annotations

from hypothesis import given
from hypothesis import strategies as st

from support import database
from support.json_cases import outcome
from support.samples import add
from support.stored_rows import ids


def add_with(store, *confidences: object) -> int:
    return add(store, confidences=list(confidences))


class Operand:
    """Writes down each comparison that it takes part in, as (itself, operator, the other).

    Its answers are taken in turn, the last one ever again.
    """

    def __init__(self, name, log, *answers):
        self.name = name
        self.log = log
        self.answers = list(answers) or [True]

    def compared(self, operator, other):
        self.log.append((self.name, operator, getattr(other, "name", other)))
        return self.answers.pop(0) if len(self.answers) > 1 else self.answers[0]

    def __gt__(self, other):
        return self.compared(">", other)

    def __ge__(self, other):
        return self.compared(">=", other)

    def __lt__(self, other):
        return self.compared("<", other)

    def __le__(self, other):
        return self.compared("<=", other)


def given_elements(store, *elements):
    store._row_to_dict = lambda row: {"confidences": elements, "id": 1}
    add(store)


def test_the_threshold_is_the_left_operand_before_and_after_the_scope(recorded):
    store, log = recorded
    add_with(store, 0.5, 0.7)
    add_with(store, 0.9)
    log.clear()
    found = store.search_plates(min_confidence=Operand("least", log))
    assert len(found) == 2
    asked = [entry for entry in log if entry[0] != "execute"]
    assert asked[:6] == [
        ("least", ">", 0),
        ("_get_conn",),
        ("enter",),
        ("fetchall",),
        ("exit", None),
        ("least", ">", 0),
    ]
    # A number does not know the threshold, which is then asked from its side.
    assert sorted(asked[6:]) == [("least", "<=", 0.5), ("least", "<=", 0.9)]
    assert all(type(entry[2]) is int for entry in asked if entry[1:2] == (">",))


def test_an_element_is_the_left_operand(store):
    log = []
    given_elements(
        store, Operand("first", log, False), Operand("second", log), Operand("third", log)
    )
    assert len(store.search_plates(min_confidence=0.5)) == 1
    assert log == [("first", ">=", 0.5), ("second", ">=", 0.5)]
    log.clear()
    assert len(store.search_plates(min_confidence=Operand("least", log))) == 1
    least = ("least", ">", 0)
    assert log == [least, least, ("first", ">=", "least"), ("second", ">=", "least")]


def test_an_element_that_declines_leaves_it_to_the_threshold(store):
    log = []
    given_elements(store, Operand("element", log, NotImplemented))
    assert len(store.search_plates(min_confidence=Operand("least", log))) == 1
    assert log[2:] == [("element", ">=", "least"), ("least", "<=", "element")]


def test_a_subclass_of_a_number_compares_in_its_own_way(store):
    class Contrary(float):
        def __gt__(self, other):
            return not float(self) > other

        def __le__(self, other):
            return not float(self) <= other

    class Unwilling(int):
        def __ge__(self, other):
            return False

    add_with(store, 0.9)
    assert ids(store.search_plates(min_confidence=Contrary(0.5))) == [1]  # not above 0, it says
    assert store.search_plates(min_confidence=Contrary(-0.5)) == []
    given_elements(store, Unwilling(5))
    assert store.search_plates(min_confidence=0.5) == []


def test_the_threshold_is_compared_with_0_both_times_anew(recorded):
    store, log = recorded
    add_with(store, 0.9)
    for answers, found in (((True, False), [1]), ((False, True, False), [])):
        log.clear()
        assert ids(store.search_plates(min_confidence=Operand("least", [], *answers))) == found
        assert ("num_plates > 0" in str(log)) == answers[0]


def test_an_answer_counts_by_its_truth(store):
    add_with(store, 0.9)
    for answer in ("yes", [0], 1, "", [], 0, None):  # none above 0 filters nothing
        assert len(store.search_plates(min_confidence=Operand("least", [], answer))) == 1
        answers = (True, True, answer)
        kept = len(store.search_plates(min_confidence=Operand("least", [], *answers)))
        assert kept == bool(answer)
        given_elements(store, Operand("element", [], answer))
        assert bool(store.search_plates(min_confidence=0.5)) == bool(answer)
        del store._row_to_dict
        store.cleanup_old(1)


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


@given(
    pages=st.lists(st.lists(exact_numbers | near, max_size=4), max_size=4),
    least=thresholds,
)
def test_numbers_of_all_kinds_and_sizes_compare_as_in_python(store, db_path, pages, least):
    database.run_script(db_path, "DELETE FROM detections")
    added = {add_with(store, *confidences): confidences for confidences in pages}

    def expected(least):
        return [
            detection_id
            for detection_id, confidences in added.items()
            if not least > 0 or any(element >= least for element in confidences)
        ]

    def found(least):
        return sorted(ids(store.search_plates(min_confidence=least)))

    assert outcome(found, least) == outcome(expected, least)
