"""Valid documents give the values, types and shared objects that `json.loads` gives."""

from __future__ import annotations

import itertools
import json

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.json_cases import (
    VALID_DOCUMENTS,
    any_float,
    around_widths,
    assert_read_alike,
    floats_of_every_size,
    loads,
    random_run,
    writable,
)

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
def test_a_document_is_read_as_python_reads_it(document):
    json.loads(document)  # a case that has become invalid would compare errors only
    assert_read_alike(document)


@pytest.mark.parametrize("number", NUMBERS)
def test_a_number_is_read_to_the_last_bit(number):
    assert_read_alike(number, f" {number}\n", f"[{number}]", f'{{"n": {number}, "m":{number}}}')


@random_run(600)
@given(writable)
def test_what_python_writes_is_read_alike(value):
    assert_read_alike(json.dumps(value), json.dumps(value, ensure_ascii=False, indent=1))


@random_run(1000)
@given(any_float, st.sampled_from(("%.17g", "%.16e", "%.0f.0", "%.25E", "%.1f", "%.3g")))
def test_any_spelling_of_a_float_is_read_alike(value, spelling):
    assert_read_alike(spelling % value, f"[{value!r}]")


@random_run(600)
@given(st.integers(0, 2**53 - 1), st.integers(-1074, 900))
def test_halfway_between_two_floats_rounds_to_even(mantissa, exponent):
    # The exact decimal digits of a value halfway between two floats, and its close neighbours.
    halfway = 2 * mantissa + 1
    if exponent >= 0:
        digits, scale = str(halfway << exponent), 0
    else:
        digits, scale = str(halfway * 5**-exponent), exponent
    for last in ("", "0000000000001", "000000000000000000000000000000000000000000001"):
        document = f"{digits}{last}e{scale - len(last)}"
        assert_read_alike(document, f"-{document}")


def test_every_bit_pattern_written_by_repr_comes_back():
    texts = map(repr, floats_of_every_size(20_000))
    assert_read_alike(*(text.replace("nan", "NaN").replace("inf", "Infinity") for text in texts))


@random_run(700)
@given(
    st.from_regex(r"-?(0|[1-9][0-9]{0,40})(\.[0-9]{1,40})?([eE][+-]?[0-9]{1,4})?", fullmatch=True)
)
def test_any_number_of_the_grammar_is_read_alike(number):
    assert_read_alike(number)


def test_every_nan_is_the_one_object_that_python_gives():
    first, among = loads('[NaN, {"a": NaN}]')
    theirs = json.loads("NaN")
    for ours in (first, among["a"], loads("NaN"), loads(b"[NaN]")[0]):
        assert ours is theirs


def test_the_later_of_two_equal_keys_wins_at_the_place_of_the_first():
    document = '{"a": 1, "b": 2, "\\u0061": 3, "a": 4}'
    assert list(loads(document).items()) == [("a", 4), ("b", 2)]
    assert_read_alike(document)


def test_every_character_of_the_basic_plane_is_read_alike_escaped_and_not():
    assert_read_alike(*(f'"x\\u{code:04x}y\\u{code:04X}"' for code in range(0x10000)))
    assert_read_alike(*(f'["{chr(code)}", "a{chr(code)}"]' for code in range(0x10000)))


def test_surrogates_in_every_arrangement_are_read_alike():
    escaped = ("\\ud800", "\\udbff", "\\udc00", "\\udfff", "\\ud83d", "\\ude00", "\\u0041")
    units = (*escaped, "x", "\ud83d", "\ude00")
    assert_read_alike(*(f'"{"".join(four)}"' for four in itertools.product(units, repeat=4)))


def test_strings_around_every_internal_width_are_read_alike():
    plain = ("a", "\x7f", "\x80", "\xff", "\u0100", "\uffff", "\U00010000", "\U0010ffff")
    assert_read_alike(*(f'"{text}"' for text in around_widths((*plain, "\\n", "\\u00e9"))))
