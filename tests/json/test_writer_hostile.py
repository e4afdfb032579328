"""Containers that change, or answer for themselves, while they are written."""

from __future__ import annotations

import json
from collections.abc import Callable
from typing import Any

import pytest

from support.answering import answering
from support.json_cases import dumps, outcome


class Items(dict):
    """A mapping whose items() gives something else than what it holds."""

    def __init__(self, given: Any, **held: Any):
        super().__init__(held)
        self.given = given

    def items(self) -> Any:
        if isinstance(self.given, BaseException):
            raise self.given
        return self.given() if callable(self.given) else self.given


REFUSE = LookupError("asked")


def other(base: type, *given: Any, **methods: Any) -> Any:
    """A maker of objects of a subclass with these methods."""
    return lambda: answering(base, *given, **methods)


class Changing(dict):
    """Calls back each time its items are asked for."""

    def __init__(self, action: Callable[[], Any], **held: Any):
        super().__init__(held)
        self.action = action

    def items(self) -> Any:
        self.action()
        return super().items()


class Claims:
    def __init__(self, claimed: Any):
        self.claimed = claimed

    @property  # type: ignore[misc]
    def __class__(self) -> Any:  # type: ignore[override]
        if isinstance(self.claimed, BaseException):
            raise self.claimed
        return self.claimed


def cleared_while_written() -> Any:
    outer: list = [1, 2, 3, 4, 5, 6, 7, 8]
    outer[2] = Changing(outer.clear, a=1)
    return outer


def shortened_while_written() -> Any:
    outer: list = [None] * 40
    for place in range(0, 40, 3):
        outer[place] = Changing(lambda: outer.pop(), a=1)
    return outer


def grown_while_written() -> Any:
    outer: list = [1, 2]
    outer.append(Changing(lambda: outer.append("grown"), a=1))
    return outer


def replaced_while_written() -> Any:
    outer: list = [1, 2, [3]]

    def replace():
        outer[:] = [object()] if len(outer) > 50 else ["new"] * 40

    outer.insert(1, Changing(replace, a=1))
    return outer


def nested_list_cleared_while_written() -> Any:
    inner: list = []
    inner.extend(["x", Changing(inner.clear, a=1), "y"])
    return [inner, "after"]


def mapping_cleared_while_written() -> Any:
    outer: dict = {"a": 1, "b": 2, "d": 4}
    outer["b"] = Changing(outer.clear, x=1)
    return outer


def mapping_grown_while_written() -> Any:
    outer: dict = {"a": 1, "b": 2, "c": 3}
    outer["b"] = Changing(lambda: outer.update({str(n): n for n in range(100)}), x=1)
    return outer


def mapping_revalued_while_written() -> Any:
    outer: dict = {"a": 1, "b": 2, "c": 3}
    outer["b"] = Changing(lambda: outer.update(c="other"), x=1)
    return outer


def subclass_mapping_cleared_while_written() -> Any:
    outer = Changing(lambda: None, a=1, b=2, c=3)
    outer["b"] = Changing(outer.clear, x=1)
    return outer


def made_circular_while_written() -> Any:
    outer: list = [1]
    outer.append(Changing(lambda: outer.append(outer), a=1))
    return outer


OTHER_ITEMS = {"__iter__": lambda self: iter(["iterated"]), "__len__": 1, "__getitem__": "item"}

MAKERS: dict[str, Callable[[], Any]] = {
    "items of pairs": lambda: Items([("x", 1), ("y", [2])], held=0),
    "items of lists": lambda: Items([["x", 1]], held=0),
    "items of triples": lambda: Items([("x", 1, 2)], held=0),
    "items of singles": lambda: Items([("x",)], held=0),
    "items of texts": lambda: Items(["ab"], held=0),
    "items of tuple": lambda: Items((("x", 1),), held=0),
    "items of generator": lambda: Items(lambda: ((k, 1) for k in "xy"), held=0),
    "items of iterator that fails": lambda: Items(lambda: (1 // n for n in (1, 0)), held=0),
    "items empty": lambda: Items([], held=0),
    "items of nothing": lambda: Items(None, held=0),
    "items of number": lambda: Items(5, held=0),
    "items fails": lambda: Items(LookupError("items asked"), held=0),
    "items of an empty mapping": lambda: Items([("x", 1)]),
    "items with odd keys": lambda: Items([(1, 1), (None, 2), ((), 3)], held=0),
    "keys": other(dict, {"a": 1, "b": 2}, keys=REFUSE, __iter__=REFUSE, __getitem__=REFUSE),
    "untrue": other(dict, {"a": 1}, __bool__=False),
    "untrue by size": other(dict, {"a": 1}, __len__=0),
    "refuses truth": other(dict, {"a": 1}, __len__=REFUSE),
    "list with other items": other(list, [1, 2, 3], **OTHER_ITEMS),
    "empty list with other items": other(list, **OTHER_ITEMS),
    "tuple with other items": other(
        tuple, (1, 2, 3), __iter__=lambda self: iter(["iterated"]), __len__=0
    ),
    "list without truth": other(list, [1], __bool__=REFUSE, __len__=REFUSE),
    "claims int": lambda: Claims(int),
    "claims float": lambda: Claims(float),
    "claims str": lambda: Claims(str),
    "claims list": lambda: Claims(list),
    "claims dict": lambda: Claims(dict),
    "claims nothing": lambda: Claims(None),
    "claims and fails": lambda: Claims(LookupError("class asked")),
    **{
        maker.__name__.replace("_", " "): maker
        for maker in (
            cleared_while_written,
            shortened_while_written,
            grown_while_written,
            replaced_while_written,
            nested_list_cleared_while_written,
            mapping_cleared_while_written,
            mapping_grown_while_written,
            mapping_revalued_while_written,
            subclass_mapping_cleared_while_written,
            made_circular_while_written,
        )
    },
}


@pytest.mark.parametrize("name", MAKERS)
def test_a_hostile_value_alone_and_inside_another_gives_what_python_gives(name):
    for frame in (
        lambda value: value,
        lambda value: [0, value, [1]],
        lambda value: {"k": value, "last": 1},
        lambda value: {"k": [value, value]},
    ):
        make = MAKERS[name]
        assert outcome(dumps, frame(make())) == outcome(json.dumps, frame(make()))


def test_a_dropped_item_is_not_used_after_it_is_gone():
    class Announces:
        def __init__(self):
            self.held = ["x"] * 10

    class Empties(dict):
        def items(self) -> Any:
            outer.clear()
            return [("a", Announces())]

    for function in (dumps, json.dumps):
        outer: list = [Empties(a=1), ["y"] * 10]
        with pytest.raises(TypeError) as caught:
            function(outer)
        assert str(caught.value) == "Object of type Announces is not JSON serializable"


def test_a_key_that_destroys_its_mapping_is_written_whole():
    class Key(str):
        __slots__ = ()

    def value() -> Any:
        inner = Changing(lambda: outer.pop(next(iter(outer))), a=1)
        outer: dict = {Key("first" * 5): inner, "second": 2}
        return outer

    assert outcome(dumps, value()) == outcome(json.dumps, value())
