"""Containers that change, or answer for themselves, while they are written."""

from __future__ import annotations

import json
from collections.abc import Callable
from typing import Any

import pytest
from anpr_test_modules import store_internals

from support.json_cases import outcome

dumps = store_internals.dumps


class Items(dict):
    """A mapping whose items() gives something else than what it holds."""

    def __init__(self, given: Any, **held: Any) -> None:
        super().__init__(held)
        self.given = given

    def items(self) -> Any:
        if isinstance(self.given, BaseException):
            raise self.given
        return self.given() if callable(self.given) else self.given


class Keys(dict):
    def keys(self) -> Any:
        raise LookupError("keys asked")

    def __iter__(self) -> Any:
        raise LookupError("iterated")

    def __getitem__(self, key: Any) -> Any:
        raise LookupError("item asked")


class Untrue(dict):
    def __bool__(self) -> bool:
        return False


class UntrueBySize(dict):
    def __len__(self) -> int:
        return 0


class RefusesTruth(dict):
    def __len__(self) -> int:
        raise LookupError("size asked")


class ListWithOtherItems(list):
    def __iter__(self) -> Any:
        return iter(["iterated"])

    def __len__(self) -> int:
        return 1

    def __getitem__(self, index: Any) -> Any:
        return "item"


class TupleWithOtherItems(tuple):
    __slots__ = ()

    def __iter__(self) -> Any:
        return iter(["iterated"])

    def __len__(self) -> int:
        return 0


class ListWithoutTruth(list):
    def __bool__(self) -> bool:
        raise LookupError("truth asked")

    def __len__(self) -> int:
        raise LookupError("size asked")


class Changing(dict):
    """Calls back each time its items are asked for."""

    def __init__(self, action: Callable[[], Any], **held: Any) -> None:
        super().__init__(held)
        self.action = action

    def items(self) -> Any:
        self.action()
        return super().items()


class Claims:
    def __init__(self, claimed: Any) -> None:
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

    def replace() -> None:
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
    "keys": lambda: Keys(a=1, b=2),
    "untrue": lambda: Untrue(a=1),
    "untrue by size": lambda: UntrueBySize(a=1),
    "refuses truth": lambda: RefusesTruth(a=1),
    "list with other items": lambda: ListWithOtherItems([1, 2, 3]),
    "empty list with other items": lambda: ListWithOtherItems(),
    "tuple with other items": lambda: TupleWithOtherItems((1, 2, 3)),
    "list without truth": lambda: ListWithoutTruth([1]),
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
def test_a_hostile_value_gives_what_python_gives(name: str) -> None:
    make = MAKERS[name]
    assert outcome(dumps, make()) == outcome(json.dumps, make())


@pytest.mark.parametrize("name", MAKERS)
def test_a_hostile_value_inside_another_gives_what_python_gives(name: str) -> None:
    make = MAKERS[name]
    for frame in (
        lambda value: [0, value, [1]],
        lambda value: {"k": value, "last": 1},
        lambda value: {"k": [value, value]},
    ):
        assert outcome(dumps, frame(make())) == outcome(json.dumps, frame(make()))


def test_a_dropped_item_is_not_used_after_it_is_gone() -> None:
    class Announces:
        def __init__(self) -> None:
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


def test_a_key_that_destroys_its_mapping_is_written_whole() -> None:
    class Key(str):
        __slots__ = ()

    def value() -> Any:
        inner = Changing(lambda: outer.pop(next(iter(outer))), a=1)
        outer: dict = {Key("first" * 5): inner, "second": 2}
        return outer

    assert outcome(dumps, value()) == outcome(json.dumps, value())
