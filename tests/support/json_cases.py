"""Documents, values and the one comparison that the JSON tests share.

Python's own `json` is the oracle: what it returns or raises for an input is what the store's writer
and reader must return or raise.
"""

from __future__ import annotations

import itertools
import json
import random
import struct
from collections.abc import Callable, Iterable, Iterator, Sequence
from typing import Any

from anpr_test_modules import store_internals
from hypothesis import settings
from hypothesis import strategies as st

loads = store_internals.loads
dumps = store_internals.dumps


def outcome(function: Callable[[Any], Any], argument: Any) -> tuple[Any, ...]:
    """What the call gave, in a form in which two calls can be compared, errors included."""
    try:
        value = function(argument)
    except json.JSONDecodeError as error:
        return (
            type(error),
            error.args,
            error.msg,
            describe(error.doc),
            error.pos,
            error.lineno,
            error.colno,
        )
    except BaseException as error:
        return type(error), describe(error.args), str(error)
    return "value", describe(value)


def describe(value: Any) -> Any:
    """The value with every exact type spelled out; all NaNs are alike, 0.0 and -0.0 are not."""
    kind = type(value)
    if kind is list or kind is tuple:
        return kind, [describe(item) for item in value]
    if kind is dict:
        return kind, [(describe(key), describe(item)) for key, item in value.items()]
    return kind, repr(value)


def assert_read_alike(*documents: Any) -> None:
    _assert_alike(loads, json.loads, documents)


def assert_written_alike(*values: Any) -> None:
    _assert_alike(dumps, json.dumps, values)


def _assert_alike(
    function: Callable[[Any], Any], oracle: Callable[[Any], Any], arguments: Iterable[Any]
) -> None:
    for argument in arguments:
        ours, theirs = outcome(function, argument), outcome(oracle, argument)
        assert ours == theirs, ascii(argument)[:1000]


# Values that the writer takes and the reader gives back.

any_float = st.one_of(
    st.floats(),
    st.integers(0, 2**64 - 1).map(lambda bits: struct.unpack("<d", struct.pack("<Q", bits))[0]),
)
any_text = st.text(st.characters(exclude_categories=()))
scalars = st.one_of(
    st.none(), st.booleans(), st.integers(), st.integers(-(10**40), 10**40), any_float, any_text
)
any_key = st.one_of(any_text, st.integers(), any_float, st.booleans(), st.none())
writable = st.recursive(
    scalars,
    lambda inner: st.one_of(
        st.lists(inner, max_size=6),
        st.lists(inner, max_size=4).map(tuple),
        st.dictionaries(any_key, inner, max_size=6),
    ),
    max_leaves=25,
)


# Texts. A piece is a fragment that means something, or almost does, to a JSON reader.

# fmt: off
PIECES = (
    *'{}[]:,"\\ \t\n\r/-+.eE0123456789abfnrtu\x00\x0b\x0c\x1f\x7f\xa0', "null", "true", "false",
    "NaN", "Infinity", "-Infinity", "nul", "True", "Nan", "-Inf", "inf", '""', '"a"', '"\\u0041"',
    '"\\ud83d\\ude00"', '"\\ud83d"', '"\\ude00\\ud83d"', '"\\u00e', "\\u", '"\\x"', "1.0", "-0",
    "-0.0", "1e5", "1E+5", "1e-400", "1e400", "01", "1.", ".5", "1.e5", "-", "--1", "+1", "0x10",
    '"k":', '{"k": 1}', "[1, 2]", "[]", "{}", ", ", ": ", "\ufeff", "é", "☃", "\U0001f600",
    "\ud800", "\u2028",
)
# fmt: on
pieces = st.lists(st.sampled_from(PIECES), max_size=14).map("".join)

VALID_DOCUMENTS = (
    '["AB123", "XY-9"]',
    "[[10, 20, 110, 60], [1, 2, 3, 4]]",
    "[0.98, 1e-05, NaN, -Infinity, 100.0]",
    '{"mmc_make": "\\u0160koda", "mmc_color": "white", "in": {"a": [true, false, null], "b": {}}}',
    ' \t\r\n[ 1 , 2.50 , "three" , { "four" : [ ] } ]\n ',
    '"\\"\\\\\\/\\b\\f\\n\\r\\t\\u20ac\\ud834\\udd1e"',
    '{"": 0, "a": -0, "a": 0.0, "b": -0.0e+10, "\\u0061": 12345678901234567890}',
    '["ключ", "鍵", "\U0001f511", "\u2028\u2029", "\x7f"]',
    '[[[[[[[[[[["deep"]]]]]]]]]]]',
    '{"E": 1.23456789E34, "zero": 0.5e-1, "long": 0.1000000000000000055511151231257827}',
)


def random_run(examples: int) -> Callable[[Any], Any]:
    """Makes a test of hypothesis a run of so many examples, whatever the profile says."""
    return settings(max_examples=examples)


def around_widths(letters: Sequence[str]) -> Iterator[str]:
    """Runs of one letter with another among them, of lengths around those of wide registers."""
    for first, second in itertools.product(letters, repeat=2):
        for count, tail in itertools.product((0, 1, 15, 16, 17, 63, 64, 65), (0, 1, 31, 33)):
            yield first * count + second + first * tail


def floats_of_every_size(count: int) -> Iterator[float]:
    """Bit patterns spread evenly: numbers of every magnitude, infinities and NaNs among them."""
    for n in range(count):
        yield struct.unpack("<d", struct.pack("<Q", 0x9E3779B97F4A7C15 * n % 2**64))[0]


def mutated(seed: int, count: int) -> Iterator[str]:
    """`count` documents, each a valid one with a few edits: most broken, some still valid."""
    dice = random.Random(seed)
    for _ in range(count):
        text = list(dice.choice(VALID_DOCUMENTS))
        for _ in range(dice.randint(1, 3)):
            place = dice.randrange(len(text) + 1)
            edit = dice.randrange(5)
            if edit == 0:
                text.insert(place, dice.choice(PIECES))
            elif edit == 1:
                del text[place : place + dice.randint(1, 3)]
            elif edit == 2:
                text[place : place + 1] = [dice.choice(PIECES)]
            elif edit == 3:
                del text[place:]
            else:
                other = dice.randrange(len(text) + 1)
                text[place:place] = text[min(place, other) : max(place, other)]
        yield "".join(text)


def soup(seed: int, count: int) -> Iterator[str]:
    """`count` texts that are nothing but fragments of JSON in no order."""
    dice = random.Random(seed)
    for _ in range(count):
        yield "".join(dice.choices(PIECES, k=dice.randint(0, 12)))
