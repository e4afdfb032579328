"""What counts as one plate, and which rows count in part or not at all."""

from __future__ import annotations

import json
import sys

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support import database
from support.stored_rows import put
from support.values import exactly


@pytest.fixture
def ranked(store, db_path):
    """The ranking of rows that hold these texts, the newest first."""

    def rank(*stored, limit=None):
        database.run_script(db_path, "DELETE FROM detections")
        for number, plates in enumerate(stored):
            put(db_path, f"{999 - number:03}", num_plates=1, plates=plates)
        return [(entry["plate"], entry["count"]) for entry in store.get_top_plates(limit)]

    return rank


def test_elements_count_together_by_equality_and_hash(ranked):
    assert exactly(ranked("[1, 1.0, true]")) == exactly([(1, 3)])
    assert exactly(ranked("[true, 1]", "[1.0]")) == exactly([(True, 3)])
    assert exactly(ranked("[1.0]", "[1]", "[true]")) == exactly([(1.0, 3)])
    assert exactly(ranked("[0, false, 0.0, -0.0]")) == exactly([(0, 4)])
    assert exactly(ranked("[-0.0, 0]")) == exactly([(-0.0, 2)])
    assert exactly(ranked("[9007199254740992, 9007199254740992.0, 9007199254740993]")) == exactly(
        [(2**53, 2), (2**53 + 1, 1)]
    )
    assert exactly(ranked("[1e400, Infinity, -Infinity, 1e999]")) == exactly(
        [(float("inf"), 3), (float("-inf"), 1)]
    )
    assert exactly(ranked('["1", 1, "1.0", null, null, "null"]')) == exactly(
        [(None, 2), ("1", 1), (1, 1), ("1.0", 1), ("null", 1)]
    )


def test_every_not_a_number_that_is_read_is_the_same(ranked):
    counted = ranked("[NaN, NaN]", '["A", "A", NaN]', "[NaN, 1]")
    assert exactly(counted) == exactly([(float("nan"), 4), ("A", 2), (1, 1)])


def test_numbers_of_any_size(ranked):
    assert exactly(ranked(f"[{10**400}, {10**400}, 1e22, {10**22}]")) == exactly(
        [(10**400, 2), (1e22, 2)]
    )


@pytest.mark.parametrize(("stored", "counted"), [
    # Nothing to count.
    ("broken", []), ("", []), ("null", []), ("5", []), ("0.5", []), ("true", []), ("NaN", []),
    (None, []), ("[]", []), ("{}", []), ('""', []), ('["A"', []), ('["A"] x', []), ('["A",]', []),
    ("['A']", []), ('["\t"]', []), ('\ufeff["A"]', []),
    # Not a list, but something that has elements.
    ('"AB12"', [("A", 1), ("B", 1), ("1", 1), ("2", 1)]), ('"ABBA"', [("A", 2), ("B", 2)]),
    ('{"AB12": 5, "CD34": null}', [("AB12", 1), ("CD34", 1)]), ('{"A": 1, "A": 2}', [("A", 1)]),
    ('{"A": {}, "B": []}', [("A", 1), ("B", 1)]), (' ["A"] ', [("A", 1)]),
    # An element that is no key ends its row; what was counted stays.
    ('["A", "B", ["C"], "D"]', [("A", 1), ("B", 1)]), ('["A", {}, "D"]', [("A", 1)]),
    ('[[], "D"]', []), ('["A", "A", [], "A"]', [("A", 2)]),
    # Bytes are text in one of the encodings of JSON.
    (b'["A", "\xc3\x84"]', [("A", 1), ("Ä", 1)]), ('["A"]'.encode("utf-16"), [("A", 1)]),
    ('["A"]'.encode("utf-32-be"), [("A", 1)]), (b'\xef\xbb\xbf["A"]', [("A", 1)]), (b"broken", []),
    (b"", []),
], ids=ascii)  # fmt: skip
def test_rows_that_count_wholly_in_part_or_not_at_all(ranked, stored, counted):
    assert exactly(ranked(stored)) == exactly(counted)
    # The other rows count whatever this one holds.
    around = ranked('["before"]', stored, '["after"]')
    assert exactly(around) == exactly(
        sorted([("before", 1), *counted, ("after", 1)], key=lambda entry: -entry[1])
    )


def test_counts_from_a_row_that_fails_half_way_add_up(ranked):
    assert ranked('["A", "B", []]', '["B", {}, "B"]', '["C", "B"]') == [
        ("B", 3),
        ("A", 1),
        ("C", 1),
    ]


def test_only_what_holds_before_a_syntax_error_is_not_counted(ranked):
    # A text is read whole before any of it counts.
    assert ranked('["A", "B", oops]', '["C"]') == [("C", 1)]


def test_nesting_is_read_as_deep_as_json_reads(ranked):
    # Not a key, so it counts for nothing, but it can be read.
    depth = sys.getrecursionlimit() // 4
    assert ranked('["A", ' + "[" * depth + "]" * depth + "]") == [("A", 1)]


def plainly(stored):
    """The rule, written down once more."""
    counts = {}
    for text in stored:
        try:
            for element in json.loads(text):
                counts[element] = counts.get(element, 0) + 1
        except (json.JSONDecodeError, TypeError):
            pass
    return sorted(counts.items(), key=lambda entry: entry[1], reverse=True)


elements = st.one_of(
    st.sampled_from(["AB12", "ab12", "CD34", "", "ÄÖ", "1", 1, 1.0, True, 0, -0.0, None]),
    st.text(max_size=3),
    st.floats(),
    st.integers(),
    st.sampled_from([[], {}, ["AB12"]]),
)
values = st.one_of(
    st.lists(elements, max_size=6),
    st.dictionaries(st.text(max_size=2), elements, max_size=4),
    elements,
)
texts = st.one_of(
    st.builds(json.dumps, values, ensure_ascii=st.booleans()),
    st.text('[]{}"\\,:1e.AnulN ', max_size=8),
).filter(lambda text: not any("\ud800" <= letter <= "\udfff" for letter in text))


@given(stored=st.lists(texts, max_size=5), limit=st.none() | st.integers(-4, 8))
def test_any_stored_texts_are_ranked_by_the_rule(ranked, stored, limit):
    assert exactly(ranked(*stored, limit=limit)) == exactly(plainly(stored)[:limit])
