"""Plain values are written character for character as `json.dumps` writes them."""

from __future__ import annotations

import json
import struct
import sys

import pytest
from anpr_test_modules import store_internals
from hypothesis import given, settings
from hypothesis import strategies as st

from support.json_cases import (
    any_float,
    any_key,
    any_text,
    assert_written_alike,
    differing,
    writable,
)

dumps = store_internals.dumps


@given(writable)
@settings(max_examples=600, deadline=None)
def test_any_value_is_written_alike(value: object) -> None:
    assert_written_alike(dumps, value)


@given(any_float)
@settings(max_examples=600, deadline=None)
def test_any_float_is_written_alike(value: float) -> None:
    assert_written_alike(dumps, value)
    assert_written_alike(dumps, [value, {"c": value, value: 1}])


def test_floats_of_every_size_are_written_alike() -> None:
    step = 0x9E3779B97F4A7C15
    patterns = (step * n % 2**64 for n in range(30_000))
    values = (struct.unpack("<d", struct.pack("<Q", bits))[0] for bits in patterns)
    assert differing(dumps, json.dumps, values) == []


def test_powers_and_their_neighbours_are_written_alike() -> None:
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

    assert differing(dumps, json.dumps, values()) == []


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
def test_the_text_is_known(value: object, text: str) -> None:
    assert dumps(value) == json.dumps(value) == text


def test_every_character_of_the_basic_plane_is_written_alike() -> None:
    assert differing(dumps, json.dumps, (f"x{chr(code)}y" for code in range(0x10000))) == []
    assert differing(dumps, json.dumps, ({chr(code): chr(code)} for code in range(0x10000))) == []


def test_characters_above_the_basic_plane_are_written_alike() -> None:
    assert (
        differing(dumps, json.dumps, (chr(code) for code in range(0x10000, 0x110000, 0x101))) == []
    )


def test_texts_around_every_internal_width_are_written_alike() -> None:
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
    values = (
        first * count + second + first * tail
        for first in letters
        for second in letters
        for count in (0, 1, 15, 16, 17, 63, 64, 65)
        for tail in (0, 1, 31, 33)
    )
    assert differing(dumps, json.dumps, values) == []


@given(st.lists(any_text, max_size=3), st.dictionaries(any_key, any_text, max_size=5))
@settings(max_examples=800, deadline=None)
def test_texts_and_keys_are_written_alike(texts: list[str], mapping: dict) -> None:
    assert_written_alike(dumps, texts)
    assert_written_alike(dumps, mapping)


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
def test_keys_that_are_equal_or_spelled_alike_are_written_alike(mapping: dict) -> None:
    assert_written_alike(dumps, mapping)
    assert_written_alike(dumps, [mapping, {"inner": mapping}])


@pytest.mark.parametrize("size", [0, 1, 2, 7, 100, 1000, 20_000])
def test_containers_of_any_size_are_written_alike(size: int) -> None:
    for value in (
        list(range(size)),
        tuple("é" * (n % 3) for n in range(size)),
        {str(n): n for n in range(size)},
        ["x" * size, "☃" * size, {"k" * size: None}],
    ):
        assert_written_alike(dumps, value)


def test_what_is_written_is_read_back() -> None:
    value = {
        "plates": ["ŠK-1", "京A12345"],
        "n": [1, 2.5, None, True, 10**30, 1e-320],
        "e": [{}, []],
    }
    assert store_internals.loads(dumps(value)) == value
