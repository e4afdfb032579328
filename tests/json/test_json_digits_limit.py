"""The interpreter's limit on the digits of an integer holds for the reader and the writer."""

from __future__ import annotations

import json
import sys
from collections.abc import Iterator

import pytest
from anpr_test_modules import store_internals

from support.json_cases import assert_read_alike, assert_written_alike


@pytest.fixture(params=[4300, 640, 1000, 10_000, 0])
def limit(request: pytest.FixtureRequest) -> Iterator[int]:
    before = sys.get_int_max_str_digits()
    sys.set_int_max_str_digits(request.param)
    yield request.param
    sys.set_int_max_str_digits(before)


def lengths_around(limit: int) -> list[int]:
    return [1, 20, 639, 640, 641, 4299, 4300, 4301, limit + 1, 20_000]


def test_long_integers_are_read_as_in_python(limit: int) -> None:
    for length in lengths_around(limit):
        for document in (
            "1" * length,
            "-" + "9" * length,
            "[" + "7" * length + "]",
            '{"n": ' + "3" * length,
        ):
            assert_read_alike(store_internals.loads, document)
            assert_read_alike(store_internals.loads, document.encode("utf-16"))


def test_long_fractions_have_no_limit(limit: int) -> None:
    for length in lengths_around(limit):
        for document in ("1" * length + ".0", "0." + "1" * length, "1" * length + "e-5"):
            assert_read_alike(store_internals.loads, document)


def test_long_integers_are_written_as_in_python(limit: int) -> None:
    for length in lengths_around(limit):
        value = 10**length - 1
        for written in (value, -value, [value], {value: 1}, {"n": -value}):
            assert_written_alike(store_internals.dumps, written)


def test_the_error_is_no_syntax_error() -> None:
    with pytest.raises(ValueError) as caught:
        store_internals.loads("[" + "1" * 5000 + "]")
    assert not isinstance(caught.value, json.JSONDecodeError)
    assert str(caught.value) == (
        "Exceeds the limit (4300 digits) for integer string conversion: value has 5000 digits; "
        "use sys.set_int_max_str_digits() to increase the limit"
    )


def test_a_number_too_long_that_ends_wrongly_gives_what_python_gives() -> None:
    digits = "1" * 5000
    for document in (
        f"{digits}x",
        f"[{digits}",
        f"[{digits},",
        f"{digits}.",
        f"{digits}e",
        f"{digits} {digits}",
    ):
        assert_read_alike(store_internals.loads, document)
