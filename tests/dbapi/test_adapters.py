"""Registered adapters and `__conform__`, asked as Python's connection asks them."""

from __future__ import annotations

import sqlite3
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from types import SimpleNamespace
from typing import Any

import pytest

from support.alike import alike
from support.answering import answering
from support.sql_cases import assert_alike, id_of, open_native

TABLE = "CREATE TABLE t (v)"
INSERT = "INSERT INTO t VALUES (?)"


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


class ConformsOnClass:
    @classmethod
    def __conform__(cls, protocol: Any) -> Any:
        return f"class {cls.__name__}"


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


def assert_bound_alike(*values: Any) -> None:
    for value in values:
        assert_alike(lambda c, v: c.execute("SELECT ?, typeof(?)", (v, v)).fetchall(), value)
        assert_alike(lambda c, v: c.execute("SELECT :v", {"v": v}).fetchall(), value)
        assert_alike(lambda c, v: c.executemany(INSERT, [(v,)]), value, setup=TABLE)


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
def test_a_registered_adapter(name):
    with registered(Plate, ADAPTERS[name]):
        assert_bound_alike(Plate("AB123"), PlateSubclass("AB123"))


CONFORMING_INT = answering(int, 3, __conform__="conformed int")

# fmt: off
ADAPTED = [int, float, str, bytes, bytearray, bool, type(None), list, dict, Plate]
VALUES = [
    7, 2.5, "text", b"bytes", bytearray(b"array"), True, None, [1], {"a": 1}, CONFORMING_INT,
]
CONFORMING = [
    *map(Conforms, (
        "text", 5, 2.5, b"x", None, [], {}, object, 2**70, "\ud800", Plate("x"),
        TypeError("conform"), ValueError("conform"), KeyError("conform"), AttributeError("conform"),
    )),
    ConformsOnClass(), ConformsOnClass, Conforms,
    SimpleNamespace(__conform__=lambda protocol: "by attribute"), SimpleNamespace(__conform__=5),
    SimpleNamespace(__conform__=None), CONFORMING_INT,
    type("Odd", (), {"__conform__": property(raises(LookupError("conform asked")))})(),
    answering(str, "x", __conform__="conformed text"),
]
# fmt: on


@pytest.mark.parametrize("kind", ADAPTED)
def test_an_adapter_for_any_type(kind):
    with registered(kind, lambda value: f"adapted {value!r}"):
        assert_bound_alike(*VALUES)
    assert_bound_alike(*VALUES)


@pytest.mark.parametrize("value", CONFORMING, ids=id_of)
def test_an_object_that_conforms(value):
    assert_bound_alike(value)


def test_an_adapter_comes_before_conform():
    with registered(Conforms, lambda value: "adapter"):
        assert_bound_alike(Conforms("conform"))


@alike(TABLE)
def test_an_adapter_is_asked_for_every_binding_in_order(connection):
    asked = []
    with registered(Plate, lambda value: asked.append(value.text) or value.text):
        rows = connection.execute("SELECT ?, ?", (Plate("a"), Plate("b"))).fetchall()
        connection.executemany(INSERT, [(Plate("c"),), (Plate("d"),)])
    return rows, asked


INSIDE: dict[str, Callable[[Any], Any]] = {
    "reads": lambda c: c.execute("SELECT 'from the adapter' AS a").fetchall()[0]["a"],
    "commits": lambda c: c.commit() or "after",
    "rolls back": lambda c: c.rollback() or "after",
}


@pytest.mark.parametrize("use", INSIDE)
@alike(TABLE)
def test_an_adapter_that_uses_the_connection_it_is_bound_for(connection, use):
    connection.execute("INSERT INTO t VALUES (0)")
    with registered(Plate, lambda value: INSIDE[use](connection)):
        selected = connection.execute("SELECT ?", (Plate("a"),)).fetchall()
        connection.execute("INSERT INTO t VALUES (1)")
        changed = connection.execute(INSERT, (Plate("a"),)).rowcount
    return selected, changed, connection.execute("SELECT v FROM t").fetchall()


def test_an_adapter_that_closes_the_connection_gets_an_error():
    # Python's own connection crashes here, so there is nothing to compare with.
    for close in (lambda c: c.close(), lambda c: c.__exit__(None, None, None) or c.close()):
        connection = open_native()
        connection.execute(TABLE)
        adapter = lambda value: close(connection) or "after"  # noqa: B023, E731
        with registered(Plate, adapter), pytest.raises(sqlite3.ProgrammingError):
            connection.execute(INSERT, (Plate("a"),))


@pytest.mark.parametrize("change", ["clear", "replace"])
@alike()
def test_an_adapter_that_changes_the_list_it_is_bound_from(connection, change):
    values = [Plate("a"), "b", "c"]

    def adapter(value: Plate) -> str:
        if change == "clear":
            values.clear()
        else:
            values[1] = "changed"
        return value.text

    with registered(Plate, adapter):
        return connection.execute("SELECT ?, ?, ?", values).fetchall()


def test_a_replaced_adapt_function_changes_nothing(monkeypatch):
    monkeypatch.setattr(sqlite3, "adapt", lambda *given: "replaced")
    assert_bound_alike(Plate("a"), Conforms("b"))
