"""Plain values are written character for character as `json.dumps` writes them."""

from __future__ import annotations

import json
import struct
import sys

import pytest
from hypothesis import given
from hypothesis import strategies as st

from support.json_cases import (
    any_float,
    any_key,
    any_text,
    around_widths,
    assert_written_alike,
    dumps,
    floats_of_every_size,
    loads,
    random_run,
    writable,
)


@random_run(600)
@given(writable)
def test_any_value_is_written_alike(value):
    assert_written_alike(value)


@random_run(600)
@given(any_float)
def test_any_float_is_written_alike(value):
    assert_written_alike(value, [value, {"c": value, value: 1}])


def test_floats_of_every_size_are_written_alike():
    assert_written_alike(*floats_of_every_size(30_000))


def test_powers_and_their_neighbours_are_written_alike():
    def values():
        for base in (2.0, 10.0):
            for exponent in range(-330, 310):
                try:
                    power = base**exponent
                except OverflowError:
                    continue
                bits = struct.unpack("<q", struct.pack("<d", power))[0]
                for near in range(max(0, bits - 2), bits + 3):
                    yield struct.unpack("<d", struct.pack("<q", near))[0]

    assert_written_alike(*values())


@pytest.mark.parametrize(
    ("value", "text"),
    [
        (0.1, "0.1"),
        (100.0, "100.0"),
        (1e-05, "1e-05"),
        (0.0001, "0.0001"),
        (1e16, "1e+16"),
        (9999999999999998.0, "9999999999999998.0"),
        (123456789012345680.0, "1.2345678901234568e+17"),
        (-0.0, "-0.0"),
        (5e-324, "5e-324"),
        (sys.float_info.max, "1.7976931348623157e+308"),
        (float("nan"), "NaN"),
        (float("inf"), "Infinity"),
        (float("-inf"), "-Infinity"),
        (-(2**200), "-1606938044258990275541962092341162602522202993782792835301376"),
        (True, "true"),
        (None, "null"),
        ([], "[]"),
        ({}, "{}"),
        ((), "[]"),
        ([[10, 20, 110, 60]], "[[10, 20, 110, 60]]"),
        (["AB123", "XY-9"], '["AB123", "XY-9"]'),
        (
            {"mmc_color": "white", "mmc_type": "sedan"},
            '{"mmc_color": "white", "mmc_type": "sedan"}',
        ),
        ('a/b"c\\d', '"a/b\\"c\\\\d"'),
        ("\b\f\n\r\t\x00\x1f ~\x7f", '"\\b\\f\\n\\r\\t\\u0000\\u001f ~\\u007f"'),
        ("é☃\U0001f600\ud800", '"\\u00e9\\u2603\\ud83d\\ude00\\ud800"'),
    ],
)
def test_the_text_is_known(value, text):
    assert dumps(value) == json.dumps(value) == text


def test_every_character_of_the_basic_plane_is_written_alike():
    assert_written_alike(*(f"x{chr(code)}y" for code in range(0x10000)))
    assert_written_alike(*({chr(code): chr(code)} for code in range(0x10000)))


def test_characters_above_the_basic_plane_are_written_alike():
    assert_written_alike(*(chr(code) for code in range(0x10000, 0x110000, 0x101)))


def test_texts_around_every_internal_width_are_written_alike():
    letters = (
        "a",
        '"',
        "\\",
        "\n",
        "\x00",
        "\x7f",
        "\x80",
        "\xff",
        "\u0100",
        "\ud800",
        "\U00010000",
    )
    assert_written_alike(*around_widths(letters))


@random_run(800)
@given(st.lists(any_text, max_size=3), st.dictionaries(any_key, any_text, max_size=5))
def test_texts_and_keys_are_written_alike(texts, mapping):
    assert_written_alike(texts, mapping)


@pytest.mark.parametrize(
    "mapping",
    [
        {1: "a", "1": "b"},
        {1.0: "a", "1.0": "b"},
        {True: "a", "true": "b"},
        {None: "a", "null": "b"},
        {1: "a", True: "b", 1.0: "c"},
        {0: "a", -0.0: "b", False: "c", "0": "d"},
        {float("nan"): 1, "NaN": 2, float("inf"): 3, float("-inf"): 4},
        {2**70: 1, -(2**70): 2, 1e300: 3},
        {"": 0, "\ud800": 1, "é": 2, "\x00": 3},
    ],
    ids=ascii,
)
def test_keys_that_are_equal_or_spelled_alike_are_written_alike(mapping):
    assert_written_alike(mapping, [mapping, {"inner": mapping}])


@pytest.mark.parametrize("size", [0, 1, 2, 7, 100, 1000, 20_000])
def test_containers_of_any_size_are_written_alike(size):
    assert_written_alike(
        list(range(size)),
        tuple("é" * (n % 3) for n in range(size)),
        {str(n): n for n in range(size)},
        ["x" * size, "☃" * size, {"k" * size: None}],
    )


def test_what_is_written_is_read_back():
    value = {
        "plates": ["ŠK-1", "京A12345"],
        "n": [1, 2.5, None, True, 10**30, 1e-320],
        "e": [{}, []],
    }
    assert loads(dumps(value)) == value
