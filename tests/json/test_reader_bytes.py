"""What the reader takes besides text: bytes in five encodings; and what it refuses."""

from __future__ import annotations

import array
import codecs
import itertools
import json
import random

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.json_cases import VALID_DOCUMENTS, assert_read_alike, loads, random_run, writable
from support.values import error_of, type_and_text

# fmt: off
ENCODINGS = (
    "utf-8", "utf-8-sig", "utf-16", "utf-16-le", "utf-16-be", "utf-32", "utf-32-le", "utf-32-be",
)
MARKS = (
    codecs.BOM_UTF8, codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE, codecs.BOM_UTF32_LE,
    codecs.BOM_UTF32_BE,
)
NO_TEXT = (
    b"\xff", b'"\xc3"', b'"\xc3\x28"', b'"\xe2\x82"', b'"\xf0\x9f\x98"',
    b'"\xf8\x88\x80\x80\x80"', b'"\xc0\x80"', b'"\xed\xa0\x80"', b'"\xed\xa0\x80\xed\xb0\x80"',
    b'"\xf4\x90\x80\x80"', b"\xff\xfe\x00", b"\xff\xfe\x00\xd8",
    b"\x00\x00\x00\x11\x00\x00\x00\x00", b"\xff\xfe\x00\x00\x00\x00\x11\x00",
)
# fmt: on


@pytest.mark.parametrize("encoding", ENCODINGS)
def test_an_encoded_document_is_read_alike(encoding):
    for document in (*VALID_DOCUMENTS, "1", "12", "[]", '""', '"é"', "", " "):
        encoded = document.encode(encoding, "surrogatepass")
        assert_read_alike(encoded, bytearray(encoded))


@pytest.mark.parametrize("mark", MARKS)
@pytest.mark.parametrize("encoding", ENCODINGS)
def test_a_byte_order_mark_before_any_encoding_gives_what_python_gives(mark, encoding):
    for document in ("", "1", "[1]", '{"a": "é"}', "[1", "\ufeff[1]"):
        encoded = document.encode(encoding)
        assert_read_alike(mark + encoded, mark + mark + encoded, encoded + mark)


def test_every_beginning_of_encoded_documents_gives_what_python_gives():
    for text, encoding in itertools.product(('["é☃\U0001f600"]', "-1.5"), ENCODINGS):
        encoded = text.encode(encoding)
        assert_read_alike(*(encoded[:length] for length in range(len(encoded))))


def test_every_short_run_of_zero_and_other_bytes_gives_what_python_gives():
    # The encoding is guessed from where the zero bytes of the first four are.
    alphabet = (b"\x00", b"1", b"[", b"]", b"\xef", b"\xbb", b"\xbf", b"\xff", b"\xfe")
    for length in range(5):
        assert_read_alike(*map(b"".join, itertools.product(alphabet, repeat=length)))


@pytest.mark.parametrize("seed", range(2))
def test_random_bytes_give_what_python_gives(seed):
    dice = random.Random(seed)
    runs = (
        b'["' + dice.randbytes(dice.randint(0, 6)) + dice.choice((b'"]', b"", b'", 1]'))
        for _ in range(10_000)
    )
    assert_read_alike(*runs)


@random_run(600)
@given(writable, st.sampled_from(ENCODINGS), st.booleans())
def test_what_python_writes_is_read_alike_in_any_encoding(value, encoding, plain):
    encoded = json.dumps(value, ensure_ascii=plain).encode(encoding, "surrogatepass")
    assert_read_alike(encoded)


@random_run(1000)
@given(st.binary(max_size=16))
def test_any_bytes_give_what_python_gives(encoded):
    assert_read_alike(encoded)


@pytest.mark.parametrize("encoded", NO_TEXT)
def test_bytes_that_are_no_text_fail_as_in_python(encoded):
    assert_read_alike(encoded)


def test_bytes_that_are_no_text_are_not_a_syntax_error():
    assert type_and_text(error_of(loads, b'["\xff"]')) == (
        UnicodeDecodeError,
        "'utf-8' codec can't decode byte 0xff in position 2: invalid start byte",
    )


def test_a_mark_before_text_is_named_in_the_error():
    error = error_of(loads, "\ufeff[1]")
    assert type(error) is json.JSONDecodeError
    assert (error.msg, error.pos) == ("Unexpected UTF-8 BOM (decode using utf-8-sig)", 0)


REFUSED: list[object] = [None, True, 0, 1.5, [], ["[]"], {}, (), set(), object, 1j, ...]
REFUSED += [memoryview(b"[]"), array.array("b", b"[]")]


@pytest.mark.parametrize("refused", REFUSED, ids=lambda value: type(value).__name__)
def test_anything_but_text_and_bytes_is_refused_as_in_python(refused):
    assert_read_alike(refused)
    assert type_and_text(error_of(loads, refused)) == (
        TypeError,
        f"the JSON object must be str, bytes or bytearray, not {type(refused).__name__}",
    )
