"""Valid documents give the values, types and shared objects that `json.loads` gives."""

from __future__ import annotations

import json
import struct

import pytest
from anpr_test_modules import store_internals
from hypothesis import given, settings
from hypothesis import strategies as st

from support.json_cases import (
    VALID_DOCUMENTS,
    any_float,
    assert_read_alike,
    differing,
    writable,
)

loads = store_internals.loads

# fmt: off
NUMBERS = (
    "0", "-0", "1", "-1", "10", "9007199254740993", "-9223372036854775808", "18446744073709551616",
    "0.0", "-0.0", "0e0", "-0e0", "0E5", "1E5", "1e+5", "1e-5", "1E-05", "1.5e3", "123.456e-7",
    "1e308", "1.7976931348623157e308", "1.7976931348623159e308", "1e309", "-1e400", "1e99999",
    "5e-324", "2e-324", "2.4703282292062327e-324", "2.4703282292062328e-324", "1e-400", "-1e-400",
    "2.2250738585072011e-308", "2.2250738585072014e-308", "0.1", "0.2", "0.30000000000000004",
    "9007199254740992.5", "9007199254740993.0", "9007199254740993.00000000000000000000000000001",
    "0.500000000000000166533453693773481063544750213623046875",
    "1.00000000000000011102230246251565", "1e23", "8.5e22", "6.02214076e23",
    "100000000000000000000000.0", "3.141592653589793238462643383279", "1" * 400 + ".5",
    "0." + "0" * 400 + "1", "1" + "0" * 330 + "e-330", "0." + "3" * 1000 + "e10",
    "1e0000000000000000000005", "1e-0000000000000000000005", "1" * 800 + "e-790",
    "1e18446744073709551616", "1e-18446744073709551616", "0e18446744073709551616",
)
# fmt: on


@pytest.mark.parametrize("document", VALID_DOCUMENTS)
def test_a_document_is_read_as_python_reads_it(document: str) -> None:
    json.loads(document)  # a case that has become invalid would compare errors only
    assert_read_alike(loads, document)


@pytest.mark.parametrize("number", NUMBERS)
def test_a_number_is_read_to_the_last_bit(number: str) -> None:
    for document in (number, f" {number}\n", f"[{number}]", f'{{"n": {number}, "m":{number}}}'):
        assert_read_alike(loads, document)


@given(writable)
@settings(max_examples=600, deadline=None)
def test_what_python_writes_is_read_alike(value: object) -> None:
    assert_read_alike(loads, json.dumps(value))
    assert_read_alike(loads, json.dumps(value, ensure_ascii=False, indent=1))


@given(any_float, st.sampled_from(("%.17g", "%.16e", "%.0f.0", "%.25E", "%.1f", "%.3g")))
@settings(max_examples=1000, deadline=None)
def test_any_spelling_of_a_float_is_read_alike(value: float, spelling: str) -> None:
    assert_read_alike(loads, spelling % value)
    assert_read_alike(loads, f"[{value!r}]")


@given(st.integers(0, 2**53 - 1), st.integers(-1074, 900))
@settings(max_examples=600, deadline=None)
def test_halfway_between_two_floats_rounds_to_even(mantissa: int, exponent: int) -> None:
    # The exact decimal digits of a value halfway between two floats, and its close neighbours.
    halfway = 2 * mantissa + 1
    if exponent >= 0:
        digits, scale = str(halfway << exponent), 0
    else:
        digits, scale = str(halfway * 5**-exponent), exponent
    for last in ("", "0000000000001", "000000000000000000000000000000000000000000001"):
        document = f"{digits}{last}e{scale - len(last)}"
        assert_read_alike(loads, document)
        assert_read_alike(loads, f"-{document}")


def test_every_bit_pattern_written_by_repr_comes_back() -> None:
    step = 0x9E3779B97F4A7C15
    patterns = (step * n % 2**64 for n in range(20_000))
    texts = (repr(struct.unpack("<d", struct.pack("<Q", bits))[0]) for bits in patterns)
    documents = (text.replace("nan", "NaN").replace("inf", "Infinity") for text in texts)
    assert differing(loads, json.loads, documents) == []


@given(
    st.from_regex(r"-?(0|[1-9][0-9]{0,40})(\.[0-9]{1,40})?([eE][+-]?[0-9]{1,4})?", fullmatch=True)
)
@settings(max_examples=700, deadline=None)
def test_any_number_of_the_grammar_is_read_alike(number: str) -> None:
    assert_read_alike(loads, number)


def test_every_nan_is_the_one_object_that_python_gives() -> None:
    ours = loads('[NaN, {"a": NaN}, NaN]')
    theirs = json.loads("NaN")
    assert ours[0] is theirs
    assert ours[1]["a"] is theirs
    assert ours[2] is theirs
    assert loads("NaN") is theirs
    assert loads(b"[NaN]")[0] is theirs


def test_the_later_of_two_equal_keys_wins_at_the_place_of_the_first() -> None:
    document = '{"a": 1, "b": 2, "\\u0061": 3, "a": 4}'
    assert list(loads(document).items()) == [("a", 4), ("b", 2)]
    assert_read_alike(loads, document)


def test_every_escape_of_the_basic_plane_is_read_alike() -> None:
    documents = (f'"x\\u{code:04x}y\\u{code:04X}"' for code in range(0x10000))
    assert differing(loads, json.loads, documents) == []


def test_every_character_of_the_basic_plane_is_read_alike_unescaped() -> None:
    documents = (f'["{chr(code)}", "a{chr(code)}"]' for code in range(0x10000))
    assert differing(loads, json.loads, documents) == []


def test_surrogates_in_every_arrangement_are_read_alike() -> None:
    units = (
        "\\ud800",
        "\\udbff",
        "\\udc00",
        "\\udfff",
        "\\ud83d",
        "\\ude00",
        "x",
        "\ud83d",
        "\ude00",
        "\\u0041",
    )
    documents = (f'"{a}{b}{c}{d}"' for a in units for b in units for c in units for d in units)
    assert differing(loads, json.loads, documents) == []


def test_strings_around_every_internal_width_are_read_alike() -> None:
    letters = (
        "a",
        "\x7f",
        "\x80",
        "\xff",
        "\u0100",
        "\uffff",
        "\U00010000",
        "\U0010ffff",
        "\\n",
        "\\u00e9",
    )
    documents = (
        '"' + first * count + second + first * tail + '"'
        for first in letters
        for second in letters
        for count in (0, 1, 15, 16, 17, 63, 64, 65)
        for tail in (0, 1, 31, 33)
    )
    assert differing(loads, json.loads, documents) == []
