"""The store's JSON reader and writer beside Python's: the same value, text or error for each input.

Documents are made by the grammar with every spelling it has, then damaged, as text and as bytes;
values are of every type that JSON knows, with some that it does not.
"""

from __future__ import annotations

import codecs
import enum
import json
import os
import random
import struct
from collections import Counter, OrderedDict
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

from anpr_test_modules.store_internals import dumps, loads

from reliability.hunts.find import Find
from support.json_cases import PIECES, outcome

DOCUMENTS = 300
DAMAGES = 12  # of each document
VALUES = 600

BLANKS = ("", "", "", " ", "\n", "\t ", "\r\n", "  \n  ")
PLAIN = 'abcXYZ0123456789 -_/.,:;[]{}"é車\u2028\x7f\x80\xff\U0001f511'.replace('"', "")
ESCAPES = tuple('"\\/bfnrt')
LENGTHS = (0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 200)
ENCODINGS = ("utf-8", "utf-8-sig", "utf-16", "utf-16-le", "utf-16-be", "utf-32", "utf-32-be")
NAMES = ("plates", "mmc_make", "mmc_color", "", "a", "é", "車")


def some_float(dice: random.Random) -> float:
    if dice.random() < 0.5:
        (value,) = struct.unpack("<d", dice.randbytes(8))
        return float(value)
    return dice.choice([round(dice.random(), dice.randint(0, 17)), dice.uniform(-1e20, 1e20)])


def digits(dice: random.Random, most: int) -> str:
    return "".join(dice.choices("0123456789", k=dice.randint(1, most)))


def number(dice: random.Random) -> str:
    way = dice.randrange(8)
    if way == 0:
        return repr(some_float(dice))
    if way == 1:
        return str(dice.choice([0, 1, 2**31, 2**63 - 1, 2**63, 2**64]) * dice.choice([1, -1]))
    text = dice.choice(["", "-"]) + (digits(dice, 25).lstrip("0") or "0")
    if dice.random() < 0.6:
        text += "." + digits(dice, 25)
    if dice.random() < 0.4:
        text += dice.choice("eE") + dice.choice(["", "+", "-"]) + digits(dice, 3)
    if dice.random() < 0.005:
        text = "1" * dice.choice([4299, 4300, 4301, 9000])
    return text


def string(dice: random.Random) -> str:
    parts = []
    for _ in range(dice.choice([0, 1, 1, 1, 2, 4])):
        way = dice.randrange(6)
        if way < 3:
            parts.append(dice.choice(PLAIN) * dice.choice(LENGTHS))
        elif way == 3:
            parts.append("\\" + dice.choice(ESCAPES))
        elif way == 4:
            spelled = f"{dice.choice([dice.randrange(256), dice.randrange(2**16)]):04x}"
            parts.append("\\u" + dice.choice([spelled, spelled.upper()]))
        else:
            high, low = dice.randrange(0xD800, 0xDC00), dice.randrange(0xDC00, 0xE000)
            parts.append(f"\\u{high:04x}\\u{low:04X}"[: dice.choice([12, 12, 12, 11, 6])])
    return '"' + "".join(parts) + '"'


def document(dice: random.Random, depth: int = 0) -> str:
    def blank() -> str:
        return dice.choice(BLANKS)

    way = dice.randrange(9 if depth < 6 else 6)
    if way < 2:
        text = string(dice)
    elif way < 5:
        text = number(dice)
    elif way == 5:
        text = dice.choice(["true", "false", "null", "NaN", "Infinity", "-Infinity"])
    elif way < 8:
        items = [document(dice, depth + 1) for _ in range(dice.choice([0, 1, 2, 3, 9]))]
        text = "[" + ",".join(items) + blank() + "]"
    else:
        pairs = []
        for _ in range(dice.choice([0, 1, 2, 5])):
            key = dice.choice([string(dice), json.dumps(dice.choice(NAMES))])
            pairs.append(f"{blank()}{key}{blank()}:{document(dice, depth + 1)}")
        text = "{" + ",".join(pairs) + blank() + "}"
    return blank() + text + blank()


def damaged(dice: random.Random, text: Any, pieces: Callable[[], Any]) -> Any:
    """A few edits: something put in, taken out, doubled, exchanged, or the end cut off."""
    for _ in range(dice.choice([0, 0, 1, 1, 2, 5])):
        place = dice.randint(0, len(text))
        end = min(len(text), place + dice.choice([1, 1, 2, 8]))
        way = dice.randrange(5)
        if way == 0:
            text = text[:place] + pieces() + text[place:]
        elif way == 1:
            text = text[:place] + text[end:]
        elif way == 2:
            text = text[:end] + text[place:]
        elif way == 3:
            text = text[:place] + pieces() + text[end:]
        else:
            text = text[: max(place, len(text) - 3)]
    return text


def some_documents(dice: random.Random) -> Iterator[Any]:
    """One document, then the same damaged in several ways, as text and as bytes."""
    text = document(dice)
    yield text
    raw = text.encode(dice.choice(ENCODINGS), "surrogatepass")
    yield raw
    for number in range(DAMAGES):
        if number % 3 == 2:
            broken = damaged(dice, raw, lambda: dice.choice([dice.randbytes(1), codecs.BOM_UTF8]))
            yield dice.choice([bytes, bytearray])(broken)
        else:
            yield damaged(dice, text, lambda: dice.choice(PIECES))
    yield "".join(dice.choices(PIECES, k=dice.randint(0, 30)))


class Text(str):
    __slots__ = ()


class Whole(int):
    def __repr__(self) -> str:
        return "Whole"


class Real(float):
    def __repr__(self) -> str:
        return "Real"


class Level(enum.IntEnum):
    HIGH = 7


class Colour(str, enum.Enum):  # noqa: UP042  as older code has them
    RED = "red"


def some_text(dice: random.Random) -> str:
    way = dice.randrange(4)
    if way == 0:
        return "".join(chr(dice.randrange(0x110000)) for _ in range(dice.choice(LENGTHS)))
    if way == 1:
        return "".join(chr(dice.randrange(0x180)) for _ in range(dice.choice(LENGTHS)))
    return dice.choice(PLAIN + '"\\\n\x00\x1f\ud800\udfff') * dice.choice(LENGTHS)


def scalar(dice: random.Random) -> Any:
    way = dice.randrange(14)
    if way < 4:
        return some_text(dice)
    if way < 8:
        return some_float(dice)
    if way < 11:
        return dice.choice([dice.randint(-99, 99), dice.getrandbits(64), -dice.getrandbits(150)])
    if way < 13:
        return dice.choice([None, True, False, float("nan"), float("-inf"), -0.0])
    return dice.choice(
        [Text("é"), Whole(5), Real(0.5), Real("nan"), Level.HIGH, Colour.RED, b"x", {1}, 1j, object]
    )


def some_value(dice: random.Random, depth: int = 0) -> Any:
    way = dice.randrange(8 if depth < 6 else 4)
    if way < 4:
        return scalar(dice)
    if way < 6:
        items = [some_value(dice, depth + 1) for _ in range(dice.choice([0, 1, 2, 3, 9]))]
        if dice.random() < 0.002:
            items.append(items)
        return tuple(items) if dice.random() < 0.2 else items
    pairs: dict[Any, Any] = dice.choice([dict, dict, dict, OrderedDict])()
    for _ in range(dice.choice([0, 1, 2, 5])):
        # Most texts: one key that JSON does not take ends the whole writing.
        key = scalar(dice) if dice.random() < 0.3 else some_text(dice)
        if key.__hash__ is not None:
            pairs[key] = some_value(dice, depth + 1)
    return pairs


def compare(ours: Callable[[Any], Any], theirs: Callable[[Any], Any], given: Any) -> Any:
    """The value that both gave; nothing where both raised the same."""
    try:
        expected = theirs(given)
    except Exception:
        pass
    else:
        try:
            value = ours(given)
        except Exception:
            pass
        else:
            # Types, the order of keys, the last digit of a float: all of it shows.
            if repr(value) == repr(expected):
                return value
    answers = outcome(ours, given), outcome(theirs, given)
    if answers[0] != answers[1]:
        raise Find(f"{theirs.__name__}({given!r})\nstore:  {answers[0]}\nPython: {answers[1]}")
    return None


def play(seed: int, folder: Path) -> Counter[str]:
    dice = random.Random(seed)
    figures: Counter[str] = Counter()
    for _ in range(DOCUMENTS):
        for given in some_documents(dice):
            figures["documents"] += 1
            if compare(loads, json.loads, given) is not None:
                figures["good documents"] += 1
    for _ in range(VALUES):
        text = compare(dumps, json.dumps, some_value(dice))
        if text is not None:
            figures["written values"] += 1
            compare(loads, json.loads, text)
    nest(dice, dice.randint(50, 300))
    if not os.environ.get("ZENTROPE_ANPR_SANITIZER"):  # under which the stack ends first
        nest(dice, dice.randint(10**4, 10**5))
    figures["values"] += VALUES
    return figures


def nest(dice: random.Random, depth: int) -> None:
    """Many levels: as in Python where that is no matter of the stack, else an end of any kind."""
    opening, closing = dice.choice([("[", "]"), ('{"a":', "}"), ('[{"b":[', "]}]")])
    text = opening * depth + "1" + closing * dice.choice([depth, depth, depth - 1])
    value: Any = []
    for _ in range(depth):
        value = dice.choice([[value], {"k": value}])
    if depth <= 300:
        compare(loads, json.loads, text)
        compare(dumps, json.dumps, value)
        return
    for function, given in ((loads, text), (dumps, value)):
        try:
            function(given)
        except (RecursionError, ValueError):
            pass
