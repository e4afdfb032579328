"""Broken documents fail with the error of `json.loads`: class, message, line and column."""

from __future__ import annotations

import json

import pytest
from anpr_test_modules import store_internals
from hypothesis import given, settings
from hypothesis import strategies as st

from support.json_cases import VALID_DOCUMENTS, assert_read_alike, differing, mutated, pieces, soup

loads = store_internals.loads

# fmt: off
BROKEN = (
    "", " ", "\n\n", "]", "}", ",", ":", "[", "{", '"', "'", "-", "+", ".", "\\", "//", "/* */ 1",
    "#", "[1", "[1,", "[1,]", "[,1]", "[1,,2]", "[1 2]", "[1}", "[1]]", "[1],", '["a": 1]',
    "[1:2]", "[[]", "[[],", "{a: 1}", "{1: 2}", '{"a"}', '{"a" 1}', '{"a":}', '{"a":1,}',
    '{"a":1 "b":2}', '{"a"::1}', '{"a":1]', "{,}", '{"a":1', '{"a":', '{"a"', '{"a', '{"a":1,',
    '{"a":1, ', '{"a":1, b', '{"a", 1}', "{'a': 1}", "{null: 1}", '"a', '"a\\', '"a\\"', '"\\q"',
    '"\\u"', '"\\u1"', '"\\u12"', '"\\u123"', '"\\u123g"', '"\\uD834\\u"', '"\\uD834\\',
    '"\\uD834\\uDD1', '"\\u 123"', '"\\u+123"', '"\\u0x12"', '"\\u-123"', '"\\u12 3"', '"\\x41"',
    '"a\nb"', '"a\tb"', '"a\x00b"', '"a\x1fb"', '"\\\nb"', '["x\r"]', '{"a\nb": 1}', '"a" "b"',
    '"a"b', '"a",', "nul", "nulll", "tru", "truee", "True", "fals", "None", "nan", "NAN", "Na",
    "NaNN", "NaN1", "Infinit", "infinity", "-Infinit", "-infinity", "- Infinity", "-NaN", "+NaN",
    "+Infinity", "--Infinity", "Infinityy", "01", "00", "-01", "-00", "1.", "-1.", ".1", "-.1",
    "1.e1", "1e", "1e+", "1e-", "1e+-1", "1.5e", "1.5e+", "0x10", "1_000", "1,000", "1L", "1f",
    "0b1", "0o7", "1 1", "-", "- 1", "+1", "1-", "1+1", "1..2", "1.2.3", "٣", "1٣", "-٣", "1.٣",
    "1e٣", "１", "½", "²", "1\u00a0", "\u00a01", "\u20281", "\x0b1", "\x0c1", "1\x85", "\ufeff",
    "\ufeff[]", " \ufeff[]", "[\ufeff]", "[]\ufeff", "\ufffe[]", "\ud800", "[\udfff]", "\x00",
    "[1]\x00", "[\x001]", "1\x00", '"a"\x00', "alert()", "[truth]", "{'single'}", "[\\naked]",
)
# fmt: on


@pytest.mark.parametrize("document", BROKEN, ids=ascii)
def test_a_broken_document_fails_as_in_python(document: str) -> None:
    with pytest.raises(json.JSONDecodeError):
        json.loads(document)
    for framed in (
        document,
        f" {document}",
        f"\n\n  {document}",
        f"{document}\n",
        f"[\n1, {document}",
    ):
        assert_read_alike(loads, framed)


@pytest.mark.parametrize("document", VALID_DOCUMENTS, ids=ascii)
def test_every_beginning_of_a_document_fails_as_in_python(document: str) -> None:
    beginnings = (document[:length] for length in range(len(document)))
    assert differing(loads, json.loads, beginnings) == []


@pytest.mark.parametrize("document", VALID_DOCUMENTS, ids=ascii)
def test_every_dropped_or_doubled_character_gives_what_python_gives(document: str) -> None:
    edited = (
        text
        for place in range(len(document))
        for text in (
            document[:place] + document[place + 1 :],
            document[:place] + document[place] + document[place:],
            document[:place] + "\n" + document[place:],
            document[:place] + "☃" + document[place:],
        )
    )
    assert differing(loads, json.loads, edited) == []


@pytest.mark.parametrize("seed", range(4))
def test_mutated_documents_give_what_python_gives(seed: int) -> None:
    assert differing(loads, json.loads, mutated(seed, 5_000)) == []


@pytest.mark.parametrize("seed", range(4))
def test_fragments_in_no_order_give_what_python_gives(seed: int) -> None:
    assert differing(loads, json.loads, soup(seed, 5_000)) == []


@given(pieces)
@settings(max_examples=1500, deadline=None)
def test_any_row_of_fragments_gives_what_python_gives(document: str) -> None:
    assert_read_alike(loads, document)


@given(st.sampled_from(VALID_DOCUMENTS), st.data())
@settings(max_examples=1000, deadline=None)
def test_a_fragment_put_anywhere_gives_what_python_gives(
    document: str, data: st.DataObject
) -> None:
    start = data.draw(st.integers(0, len(document)))
    end = data.draw(st.integers(start, min(len(document), start + 4)))
    assert_read_alike(loads, document[:start] + data.draw(pieces) + document[end:])


@given(st.text(st.characters(exclude_categories=()), max_size=12))
@settings(max_examples=1000, deadline=None)
def test_any_text_gives_what_python_gives(document: str) -> None:
    assert_read_alike(loads, document)
    assert_read_alike(loads, f'"{document}"')
    assert_read_alike(loads, f'{{"{document}": 1')


def test_the_error_keeps_the_document_itself() -> None:
    document = '["a",\n "b" x]'
    with pytest.raises(json.JSONDecodeError) as caught:
        loads(document)
    assert caught.value.doc is document
    assert (caught.value.msg, caught.value.pos) == ("Expecting ',' delimiter", 11)
    assert (caught.value.lineno, caught.value.colno) == (2, 6)
    assert str(caught.value) == "Expecting ',' delimiter: line 2 column 6 (char 11)"


@pytest.mark.parametrize("document", ["", "[1,]", '{"a"}', '"\\q"', "nul", "1 1"])
def test_an_error_shows_no_other_error_behind_it(document: str) -> None:
    with pytest.raises(json.JSONDecodeError) as caught:
        loads(document)
    assert caught.value.__cause__ is None
    assert caught.value.__context__ is None or caught.value.__suppress_context__
