"""What the reader takes besides text: bytes in five encodings, subclasses, and what it refuses."""

from __future__ import annotations

import array
import codecs
import json
import random

import pytest
from anpr_test_modules import store_internals
from hypothesis import given, settings
from hypothesis import strategies as st

from support.json_cases import VALID_DOCUMENTS, assert_read_alike, differing, writable

loads = store_internals.loads

ENCODINGS = (
    "utf-8",
    "utf-8-sig",
    "utf-16",
    "utf-16-le",
    "utf-16-be",
    "utf-32",
    "utf-32-le",
    "utf-32-be",
)
MARKS = (
    codecs.BOM_UTF8,
    codecs.BOM_UTF16_LE,
    codecs.BOM_UTF16_BE,
    codecs.BOM_UTF32_LE,
    codecs.BOM_UTF32_BE,
)


@pytest.mark.parametrize("encoding", ENCODINGS)
@pytest.mark.parametrize(
    "document", [*VALID_DOCUMENTS, "1", "12", "[]", '""', '"é"', "", " "], ids=ascii
)
def test_an_encoded_document_is_read_alike(document: str, encoding: str) -> None:
    encoded = document.encode(encoding, "surrogatepass")
    assert_read_alike(loads, encoded)
    assert_read_alike(loads, bytearray(encoded))


@pytest.mark.parametrize("mark", MARKS)
@pytest.mark.parametrize("encoding", ENCODINGS)
def test_a_byte_order_mark_before_any_encoding_gives_what_python_gives(
    mark: bytes, encoding: str
) -> None:
    for document in ("", "1", "[1]", '{"a": "é"}', "[1", "\ufeff[1]"):
        encoded = document.encode(encoding)
        assert_read_alike(loads, mark + encoded)
        assert_read_alike(loads, mark + mark + encoded)
        assert_read_alike(loads, encoded + mark)


def test_every_beginning_of_encoded_documents_gives_what_python_gives() -> None:
    documents = [
        text.encode(encoding) for text in ('["é☃\U0001f600"]', "-1.5") for encoding in ENCODINGS
    ]
    beginnings = (document[:length] for document in documents for length in range(len(document)))
    assert differing(loads, json.loads, beginnings) == []


def test_every_short_run_of_zero_and_other_bytes_gives_what_python_gives() -> None:
    # The encoding is guessed from where the zero bytes of the first four are.
    alphabet = (b"\x00", b"1", b"[", b"]", b"\xef", b"\xbb", b"\xbf", b"\xff", b"\xfe")
    runs = {b""}
    for _ in range(4):
        runs |= {run + byte for run in runs for byte in alphabet}
    assert differing(loads, json.loads, iter(sorted(runs))) == []


@pytest.mark.parametrize("seed", range(2))
def test_random_bytes_give_what_python_gives(seed: int) -> None:
    dice = random.Random(seed)
    runs = (
        b'["' + dice.randbytes(dice.randint(0, 6)) + dice.choice((b'"]', b"", b'", 1]'))
        for _ in range(10_000)
    )
    assert differing(loads, json.loads, runs) == []


@given(writable, st.sampled_from(ENCODINGS), st.booleans())
@settings(max_examples=600, deadline=None)
def test_what_python_writes_is_read_alike_in_any_encoding(
    value: object, encoding: str, plain: bool
) -> None:
    encoded = json.dumps(value, ensure_ascii=plain).encode(encoding, "surrogatepass")
    assert_read_alike(loads, encoded)


@given(st.binary(max_size=16))
@settings(max_examples=1000, deadline=None)
def test_any_bytes_give_what_python_gives(encoded: bytes) -> None:
    assert_read_alike(loads, encoded)


@pytest.mark.parametrize(
    "encoded",
    [
        b"\xff",
        b'"\xc3"',
        b'"\xc3\x28"',
        b'"\xe2\x82"',
        b'"\xf0\x9f\x98"',
        b'"\xf8\x88\x80\x80\x80"',
        b'"\xc0\x80"',
        b'"\xed\xa0\x80"',
        b'"\xed\xa0\x80\xed\xb0\x80"',
        b'"\xf4\x90\x80\x80"',
        b"\xff\xfe\x00",
        b"\xff\xfe\x00\xd8",
        b"\x00\x00\x00\x11\x00\x00\x00\x00",
        b"\xff\xfe\x00\x00\x00\x00\x11\x00",
    ],
)
def test_bytes_that_are_no_text_fail_as_in_python(encoded: bytes) -> None:
    assert_read_alike(loads, encoded)


def test_bytes_that_are_no_text_are_not_a_syntax_error() -> None:
    with pytest.raises(UnicodeDecodeError) as caught:
        loads(b'["\xff"]')
    assert (
        str(caught.value)
        == "'utf-8' codec can't decode byte 0xff in position 2: invalid start byte"
    )
    assert not isinstance(caught.value, json.JSONDecodeError)


def test_a_mark_before_text_is_named_in_the_error() -> None:
    with pytest.raises(json.JSONDecodeError) as caught:
        loads("\ufeff[1]")
    assert caught.value.msg == "Unexpected UTF-8 BOM (decode using utf-8-sig)"
    assert caught.value.pos == 0


@pytest.mark.parametrize(
    "refused",
    [
        None,
        True,
        0,
        1.5,
        [],
        ["[]"],
        {},
        (),
        set(),
        object,
        memoryview(b"[]"),
        array.array("b", b"[]"),
        1j,
        Ellipsis,
    ],
    ids=lambda value: type(value).__name__,
)
def test_anything_but_text_and_bytes_is_refused_as_in_python(refused: object) -> None:
    with pytest.raises(TypeError):
        json.loads(refused)  # type: ignore[arg-type]
    assert_read_alike(loads, refused)


def test_the_refusal_names_the_type() -> None:
    with pytest.raises(TypeError) as caught:
        loads(memoryview(b"[]"))
    assert str(caught.value) == "the JSON object must be str, bytes or bytearray, not memoryview"
