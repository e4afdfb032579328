"""Broken documents fail with the error of `json.loads`: class, message, line and column."""

from __future__ import annotations

import json

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.json_cases import (
    VALID_DOCUMENTS,
    assert_read_alike,
    loads,
    mutated,
    pieces,
    random_run,
    soup,
)
from support.values import error_of

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
def test_a_broken_document_fails_as_in_python(document):
    with pytest.raises(json.JSONDecodeError):
        json.loads(document)
    assert_read_alike(
        document, f" {document}", f"\n\n  {document}", f"{document}\n", f"[\n1, {document}"
    )


@pytest.mark.parametrize("document", VALID_DOCUMENTS, ids=ascii)
def test_every_beginning_and_every_small_edit_gives_what_python_gives(document):
    for place, letter in enumerate(document):
        before, after = document[:place], document[place:]
        edits = (before + between + after for between in (letter, "\n", "☃"))
        assert_read_alike(before, before + after[1:], *edits)


@pytest.mark.slow
@pytest.mark.parametrize("seed", range(4))
def test_mutated_documents_and_fragments_in_no_order_give_what_python_gives(seed):
    assert_read_alike(*mutated(seed, 5_000), *soup(seed, 5_000))


@random_run(1500)
@given(pieces)
def test_any_row_of_fragments_gives_what_python_gives(document):
    assert_read_alike(document)


@random_run(1000)
@given(st.sampled_from(VALID_DOCUMENTS), st.data())
def test_a_fragment_put_anywhere_gives_what_python_gives(document, data):
    start = data.draw(st.integers(0, len(document)))
    end = data.draw(st.integers(start, min(len(document), start + 4)))
    assert_read_alike(document[:start] + data.draw(pieces) + document[end:])


@random_run(1000)
@given(st.text(st.characters(exclude_categories=()), max_size=12))
def test_any_text_gives_what_python_gives(document):
    assert_read_alike(document, f'"{document}"', f'{{"{document}": 1')


def test_the_error_keeps_the_document_itself():
    document = '["a",\n "b" x]'
    error = error_of(loads, document)
    assert type(error) is json.JSONDecodeError
    assert error.doc is document
    assert (error.msg, error.pos) == ("Expecting ',' delimiter", 11)
    assert (error.lineno, error.colno) == (2, 6)
    assert str(error) == "Expecting ',' delimiter: line 2 column 6 (char 11)"


@pytest.mark.parametrize("document", ["", "[1,]", '{"a"}', '"\\q"', "nul", "1 1"])
def test_an_error_shows_no_other_error_behind_it(document):
    error = error_of(loads, document)
    assert error.__cause__ is None
    assert error.__context__ is None or error.__suppress_context__
