"""Registered adapters and `__conform__`, asked as Python's connection asks them."""

from __future__ import annotations

import sqlite3
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any

import pytest

from support.sql_cases import assert_alike, id_of, open_native


class Plate:
    def __init__(self, text: str) -> None:
        self.text = text


class PlateSubclass(Plate):
    pass


class Conforms:
    def __init__(self, answer: Any) -> None:
        self.answer = answer

    def __conform__(self, protocol: Any) -> Any:
        if isinstance(self.answer, BaseException):
            raise self.answer
        if protocol is not sqlite3.PrepareProtocol:
            return "another protocol"
        return self.answer


class ConformsByAttribute:
    def __init__(self, conform: Any) -> None:
        self.__conform__ = conform


class ConformsOnClass:
    @classmethod
    def __conform__(cls, protocol: Any) -> Any:
        return f"class {cls.__name__}"


class ConformFailsToBeFound:
    @property
    def __conform__(self) -> Any:
        raise LookupError("conform asked")


class IntThatConforms(int):
    def __conform__(self, protocol: Any) -> Any:
        return "conformed int"


class TextThatConforms(str):
    def __conform__(self, protocol: Any) -> Any:
        return "conformed text"


@contextmanager
def registered(kind: type, adapter: Any) -> Iterator[None]:
    before = dict(sqlite3.adapters)
    sqlite3.register_adapter(kind, adapter)
    try:
        yield
    finally:
        sqlite3.adapters.clear()
        sqlite3.adapters.update(before)


def raises(error: BaseException) -> Callable[[Any], Any]:
    def adapter(value: Any) -> Any:
        raise error

    return adapter


def assert_bound_alike(value: Any) -> None:
    assert_alike(lambda c: c.execute("SELECT ?, typeof(?)", (value, value)).fetchall())
    assert_alike(lambda c: c.execute("SELECT :v", {"v": value}).fetchall())
    assert_alike(
        lambda c: c.executemany("INSERT INTO t VALUES (?)", [(value,)]), setup="CREATE TABLE t (v)"
    )


ADAPTERS: dict[str, Any] = {
    "to text": lambda value: value.text,
    "to none": lambda value: None,
    "to itself": lambda value: value,
    "to a list": lambda value: [value.text],
    "to another adaptable": lambda value: Conforms("twice"),
    "to a huge int": lambda value: 2**70,
    "to a surrogate": lambda value: "\ud800",
    "fails with TypeError": raises(TypeError("adapter")),
    "fails with ValueError": raises(ValueError("adapter")),
    "fails with sqlite3.Error": raises(sqlite3.OperationalError("adapter")),
    "fails with KeyError": raises(KeyError("adapter")),
    "fails with AttributeError": raises(AttributeError("adapter")),
    "not callable": 5,
    "none": None,
    "takes no argument": lambda: 1,
}


@pytest.mark.parametrize("name", ADAPTERS)
def test_a_registered_adapter(name: str) -> None:
    with registered(Plate, ADAPTERS[name]):
        assert_bound_alike(Plate("AB123"))
        assert_bound_alike(PlateSubclass("AB123"))


@pytest.mark.parametrize(
    "kind", [int, float, str, bytes, bytearray, bool, type(None), list, dict, Plate]
)
def test_an_adapter_for_any_type(kind: type) -> None:
    values = [
        7,
        2.5,
        "text",
        b"bytes",
        bytearray(b"array"),
        True,
        None,
        [1],
        {"a": 1},
        IntThatConforms(3),
    ]
    with registered(kind, lambda value: f"adapted {value!r}"):
        for value in values:
            assert_bound_alike(value)
    for value in values:
        assert_bound_alike(value)


# fmt: off
ANSWERS = [
    "text", 5, 2.5, b"x", None, [], {}, object, 2**70, "\ud800", Plate("x"), TypeError("conform"),
    ValueError("conform"), KeyError("conform"), AttributeError("conform"),
]
# fmt: on


@pytest.mark.parametrize("answer", ANSWERS, ids=id_of)
def test_an_object_that_conforms(answer: Any) -> None:
    assert_bound_alike(Conforms(answer))


@pytest.mark.parametrize(
    "value",
    [
        ConformsByAttribute(lambda protocol: "by attribute"),
        ConformsByAttribute(5),
        ConformsByAttribute(None),
        ConformsOnClass(),
        ConformsOnClass,
        ConformFailsToBeFound(),
        IntThatConforms(3),
        TextThatConforms("x"),
        Conforms,
    ],
    ids=lambda value: repr(value)[:40],
)
def test_where_conform_is_looked_for(value: Any) -> None:
    assert_bound_alike(value)


def test_an_adapter_comes_before_conform() -> None:
    with registered(Conforms, lambda value: "adapter"):
        assert_bound_alike(Conforms("conform"))


def test_an_adapter_is_asked_for_every_binding_in_order() -> None:
    asked: list[str] = []

    def adapter(value: Plate) -> str:
        asked.append(value.text)
        return value.text

    def steps(connection: Any) -> Any:
        asked.clear()
        rows = connection.execute("SELECT ?, ?", (Plate("a"), Plate("b"))).fetchall()
        connection.executemany("INSERT INTO t VALUES (?)", [(Plate("c"),), (Plate("d"),)])
        return rows, list(asked)

    with registered(Plate, adapter):
        assert_alike(steps, setup="CREATE TABLE t (v)")


def test_an_adapter_may_use_the_connection_by_another_cursor() -> None:
    held: list[Any] = []

    def adapter(value: Plate) -> str:
        (row,) = held[0].execute("SELECT 'from the adapter' AS a").fetchall()
        return row["a"]

    def steps(connection: Any) -> Any:
        held[:] = [connection]
        rows = connection.execute("SELECT ?", (Plate("a"),)).fetchall()
        held.clear()
        return rows

    with registered(Plate, adapter):
        assert_alike(steps)


@pytest.mark.parametrize("step", ["commit", "rollback"])
def test_an_adapter_that_ends_what_it_is_bound_for(step: str) -> None:
    held: list[Any] = []

    def adapter(value: Plate) -> str:
        getattr(held[0], step)()
        return "after"

    def steps(connection: Any) -> Any:
        connection.execute("INSERT INTO t VALUES (0)")
        held[:] = [connection]
        try:
            return connection.execute("INSERT INTO t VALUES (?)", (Plate("a"),)).rowcount
        finally:
            held.clear()

    with registered(Plate, adapter):
        assert_alike(steps, setup="CREATE TABLE t (v)")


def test_an_adapter_that_closes_the_connection_gets_an_error() -> None:
    # Python's own connection crashes here, so there is nothing to compare with.
    for close in (lambda c: c.close(), lambda c: c.__exit__(None, None, None) or c.close()):
        connection = open_native()
        connection.execute("CREATE TABLE t (v)")

        def adapter(value: Plate) -> str:
            close(connection)  # noqa: B023
            return "after"

        with registered(Plate, adapter), pytest.raises(sqlite3.ProgrammingError):
            connection.execute("INSERT INTO t VALUES (?)", (Plate("a"),))


def test_an_adapter_that_changes_the_list_it_is_bound_from() -> None:
    for shorten in (True, False):
        values: list[Any] = []

        def adapter(value: Plate) -> str:
            if shorten:  # noqa: B023
                values.clear()  # noqa: B023
            else:
                values[1] = "changed"  # noqa: B023
            return value.text

        def steps(connection: Any) -> Any:
            values[:] = [Plate("a"), "b", "c"]  # noqa: B023
            return connection.execute("SELECT ?, ?, ?", values).fetchall()  # noqa: B023

        with registered(Plate, adapter):
            assert_alike(steps)


def test_a_replaced_adapt_function_changes_nothing() -> None:
    original = sqlite3.adapt
    sqlite3.adapt = lambda *given: "replaced"  # type: ignore[assignment]
    try:
        assert_bound_alike(Plate("a"))
        assert_bound_alike(Conforms("b"))
    finally:
        sqlite3.adapt = original
