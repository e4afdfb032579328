"""The interpreter's limit on the digits of an integer holds for the reader and the writer."""

from __future__ import annotations

import json
import sys

import pytest

from support.json_cases import assert_read_alike, assert_written_alike, loads
from support.values import error_of


@pytest.fixture(params=[4300, 640, 1000, 10_000, 0])
def lengths(request):
    """Numbers of digits around a limit that holds meanwhile."""
    before = sys.get_int_max_str_digits()
    sys.set_int_max_str_digits(request.param)
    yield 1, 20, 639, 640, 641, 4299, 4300, 4301, request.param + 1, 20_000
    sys.set_int_max_str_digits(before)


def test_long_integers_are_read_as_in_python(lengths):
    for n in lengths:
        documents = "1" * n, "-" + "9" * n, "[" + "7" * n + "]", '{"n": ' + "3" * n
        assert_read_alike(*documents, *(document.encode("utf-16") for document in documents))


def test_long_fractions_have_no_limit(lengths):
    for n in lengths:
        assert_read_alike("1" * n + ".0", "0." + "1" * n, "1" * n + "e-5")


def test_long_integers_are_written_as_in_python(lengths):
    for n in lengths:
        value = 10**n - 1
        assert_written_alike(value, -value, [value], {value: 1}, {"n": -value})


def test_the_error_is_no_syntax_error():
    error = error_of(loads, "[" + "1" * 5000 + "]")
    assert isinstance(error, ValueError)
    assert not isinstance(error, json.JSONDecodeError)
    assert str(error) == (
        "Exceeds the limit (4300 digits) for integer string conversion: value has 5000 digits; "
        "use sys.set_int_max_str_digits() to increase the limit"
    )


def test_a_number_too_long_that_ends_wrongly_gives_what_python_gives():
    n = "1" * 5000
    assert_read_alike(f"{n}x", f"[{n}", f"[{n},", f"{n}.", f"{n}e", f"{n} {n}")
