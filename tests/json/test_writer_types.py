"""Subclasses and enums are written as `json.dumps` writes them; other types fail with its error."""

from __future__ import annotations

import array
import collections
import dataclasses
import datetime
import decimal
import enum
import fractions
import json
import math
import pathlib
import sys
import types
import uuid
from typing import Any, NamedTuple

import pytest

from support.json_cases import assert_written_alike, dumps
from support.values import error_of, type_and_text


def spelled(base: type, **methods: Any) -> type:
    """A subclass that spells and counts itself otherwise."""
    told = dict.fromkeys(("__repr__", "__str__"), lambda self: "spelled")
    return type(f"Spelled{base.__name__}", (base,), {**told, **methods})


PlainInt, PlainFloat, PlainList, PlainTuple, PlainDict = (
    type(f"Plain{base.__name__}", (base,), {}) for base in (int, float, list, tuple, dict)
)
SpelledInt = spelled(int, __int__=lambda self: 99, __index__=lambda self: 99)
SpelledFloat = spelled(float, __float__=lambda self: 99.0)
SpelledText = spelled(
    str,
    encode=lambda *given: b"spelled",
    __len__=lambda self: 1,
    __iter__=lambda self: iter("spelled"),
)


class Point(NamedTuple):
    x: int
    y: float


class Colour(enum.Enum):
    RED = "red"


class Side(enum.IntEnum):
    FRONT = 1
    HUGE = 1 << 96


class Mode(enum.StrEnum):
    DAY = "día"


class Bits(enum.Flag):
    A = 1
    B = 2


class IntBits(enum.IntFlag):
    A = 1
    B = 2


class Real(float, enum.Enum):
    PI = math.pi
    NAN = math.nan
    INFINITY = math.inf
    MINUS_INFINITY = -math.inf


class Word(str, enum.Enum):  # noqa: UP042
    HELLO = "hello"


class Pair(tuple, enum.Enum):
    ONE = (1, 2)


@dataclasses.dataclass
class Record:
    plate: str = "AB123"


class WithIndex:
    def __index__(self) -> int:
        return 1

    def __float__(self) -> float:
        return 1.0

    def __iter__(self) -> Any:
        return iter(())


# fmt: off
SUBCLASSES = [
    PlainInt(7), PlainInt(-(2**80)), SpelledInt(7), PlainFloat(0.1), PlainFloat("nan"),
    PlainFloat("-inf"), SpelledFloat(2.5), SpelledText('plain "é"'), PlainList([1, [2]]),
    PlainList(), PlainTuple((1, (2,))), PlainTuple(), PlainDict(a=1, b={}), PlainDict(),
    Point(1, 2.0), collections.OrderedDict([("b", 1), ("a", 2)]),
    collections.defaultdict(list, {"a": []}), collections.Counter("abca"), Side.FRONT, Side.HUGE,
    Mode.DAY, IntBits.A | IntBits.B, IntBits(0), *Real, Word.HELLO, Pair.ONE, sys.float_info,
    sys.version_info,
]
REFUSED = [
    {1, 2}, frozenset(), b"bytes", bytearray(b"x"), memoryview(b"x"), array.array("i", [1]), 1j,
    object(), int, len, sys, ..., NotImplemented, range(3), iter([]), map(str, []), {}.keys(),
    {}.items(), types.MappingProxyType({}), types.SimpleNamespace(), collections.deque(),
    collections.ChainMap(), collections.UserDict(), collections.UserList(),
    collections.UserString("x"), decimal.Decimal("1.5"), fractions.Fraction(1, 2),
    datetime.datetime(2024, 5, 1), pathlib.PurePosixPath("x"), uuid.UUID(int=1), Colour.RED,
    Bits.A, Record(), WithIndex(), lambda: None,
]
# fmt: on


def name_of(value: object) -> str:
    return type(value).__name__


@pytest.mark.parametrize("value", SUBCLASSES, ids=name_of)
def test_a_subclass_is_written_alike(value):
    json.dumps(value)  # a case that has become an error would compare errors only
    assert_written_alike(value, [value], (value, value), {"key": value}, [[{"a": (value,)}]])


@pytest.mark.parametrize("value", REFUSED, ids=name_of)
def test_another_type_fails_as_in_python(value):
    for framed in (value, [1, value], {"key": value}, [[{"a": ("b", value)}]]):
        assert type_and_text(error_of(dumps, framed)) == (
            TypeError,
            f"Object of type {name_of(value)} is not JSON serializable",
        )
        assert_written_alike(framed)


@pytest.mark.parametrize("value", [*SUBCLASSES, *REFUSED], ids=name_of)
def test_any_hashable_object_as_a_key_gives_what_python_gives(value):
    try:
        mapping = {"before": 1, value: 2, "after": 3}
    except TypeError:
        mapping = {("unhashable", name_of(value)): 2}
    assert_written_alike(mapping, PlainDict(mapping))


@pytest.mark.parametrize("key", [(), (1,), b"k", frozenset(), object, 1j], ids=name_of)
def test_a_key_of_another_type_is_named_in_the_error(key):
    assert type_and_text(error_of(dumps, {"a": 1, key: 2})) == (
        TypeError,
        f"keys must be str, int, float, bool or None, not {name_of(key)}",
    )


def test_the_first_of_two_unwritable_values_is_the_one_named():
    assert_written_alike([b"x", {1}], [{1}, b"x"], [{b"k": 1}, {1}])
    assert_written_alike({"a": b"x", (): 1}, {(): 1, "a": b"x"})


def test_the_result_is_plain_text():
    assert type(dumps(SpelledText("abc"))) is str
    assert type(dumps([])) is str
