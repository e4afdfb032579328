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
from anpr_test_modules import store_internals

from support.json_cases import assert_written_alike

dumps = store_internals.dumps


class PlainInt(int):
    pass


class SpelledInt(int):
    def __repr__(self) -> str:
        return "spelled"

    __str__ = __repr__

    def __int__(self) -> int:
        return 99

    __index__ = __int__


class SpelledFloat(float):
    def __repr__(self) -> str:
        return "spelled"

    __str__ = __repr__

    def __float__(self) -> float:
        return 99.0


class PlainFloat(float):
    pass


class SpelledText(str):
    def __str__(self) -> str:
        return "spelled"

    __repr__ = __str__

    def encode(self, *given: Any) -> bytes:
        return b"spelled"

    def __len__(self) -> int:
        return 1

    def __iter__(self) -> Any:
        return iter("spelled")


class PlainList(list):
    pass


class PlainTuple(tuple):
    __slots__ = ()


class PlainDict(dict):
    pass


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
# fmt: on

# fmt: off
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
def test_a_subclass_is_written_alike(value: object) -> None:
    json.dumps(value)  # a case that has become an error would compare errors only
    for framed in (value, [value], (value, value), {"key": value}, [[{"a": (value,)}]]):
        assert_written_alike(dumps, framed)


@pytest.mark.parametrize("value", REFUSED, ids=name_of)
def test_another_type_fails_as_in_python(value: object) -> None:
    with pytest.raises(TypeError):
        json.dumps(value)
    for framed in (value, [1, value], {"key": value}, [[{"a": ("b", value)}]]):
        assert_written_alike(dumps, framed)


@pytest.mark.parametrize("value", [*SUBCLASSES, *REFUSED], ids=name_of)
def test_any_hashable_object_as_a_key_gives_what_python_gives(value: object) -> None:
    try:
        mapping = {"before": 1, value: 2, "after": 3}
    except TypeError:
        mapping = {("unhashable", name_of(value)): 2}
    assert_written_alike(dumps, mapping)
    assert_written_alike(dumps, PlainDict(mapping))


@pytest.mark.parametrize("key", [(), (1,), b"k", frozenset(), object, 1j], ids=name_of)
def test_a_key_of_another_type_is_named_in_the_error(key: object) -> None:
    with pytest.raises(TypeError) as caught:
        dumps({"a": 1, key: 2})
    assert str(caught.value) == f"keys must be str, int, float, bool or None, not {name_of(key)}"


def test_an_unwritable_value_is_named_in_the_error() -> None:
    with pytest.raises(TypeError) as caught:
        dumps([1, {"a": {1, 2}}])
    assert str(caught.value) == "Object of type set is not JSON serializable"


def test_the_first_of_two_unwritable_values_is_the_one_named() -> None:
    for value in (
        [b"x", {1}],
        [{1}, b"x"],
        {"a": b"x", (): 1},
        {(): 1, "a": b"x"},
        [{b"k": 1}, {1}],
    ):
        assert_written_alike(dumps, value)


def test_the_result_is_plain_text() -> None:
    assert type(dumps(SpelledText("abc"))) is str
    assert type(dumps([])) is str
