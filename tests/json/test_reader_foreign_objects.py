"""Subclasses of text and bytes, and pretenders of them, are asked as Python asks them."""

from __future__ import annotations

from typing import Any

import pytest

from support.fakes import Text
from support.json_cases import assert_read_alike, loads
from support.values import error_of


def of(base: type, **methods: Any) -> Any:
    """A maker of objects of a subclass with these methods."""
    kind = type("Other", (base,), methods)
    return lambda document: kind(document if base is str else document.encode())


def refuse(*given: Any, **named: Any) -> Any:
    raise LookupError(repr((given[1:], named)))


TEXTS = {
    "plain": of(str),
    "never starts": of(str, startswith=lambda *given: False),
    "always starts": of(str, startswith=lambda *given: True),
    "refuses to start": of(str, startswith=refuse),
    "other items": of(
        str, __getitem__=lambda self, at: "x", __len__=lambda self: 1, __iter__=refuse
    ),
}
BYTES = {
    "plain": of(bytes),
    "bytearray": of(bytearray),
    "decodes otherwise": of(bytes, decode=lambda *given, **named: '["decoded", "by me"]'),
    "decodes to text": of(bytes, decode=lambda *given, **named: Text("[1")),
    "decodes to nothing": of(bytes, decode=lambda *given, **named: None),
    "refuses to decode": of(bytes, decode=refuse),
    "always starts": of(bytes, startswith=lambda *given: True),
    "says that it is text": of(bytes, __class__=property(lambda self: str)),
}
DOCUMENTS = ("[1, 2]", '{"a": "é"}', "[1", "", "\ufeff[]", "nul")


@pytest.mark.parametrize("name", TEXTS)
def test_a_subclass_of_text_is_read_as_in_python(name):
    assert_read_alike(*map(TEXTS[name], DOCUMENTS))


@pytest.mark.parametrize("name", BYTES)
def test_a_subclass_of_bytes_is_read_as_in_python(name):
    assert_read_alike(*map(BYTES[name], DOCUMENTS))


class Pretender:
    """Says that it is of another class."""

    def __init__(self, claimed: Any) -> None:
        self.claimed = claimed

    @property  # type: ignore[misc]
    def __class__(self) -> Any:  # type: ignore[override]
        return self.claimed

    @__class__.setter
    def __class__(self, value: Any) -> None:
        raise LookupError("set")


class PretenderWithMethods(Pretender):
    def startswith(self, *given: Any) -> bool:
        return False

    def decode(self, *given: Any, **named: Any) -> str:
        return "[1, 2]"


class Refuser:
    @property  # type: ignore[misc]
    def __class__(self) -> Any:  # type: ignore[override]
        raise LookupError("class asked")


@pytest.mark.parametrize("kind", [Pretender, PretenderWithMethods])
def test_an_object_that_claims_a_class_is_asked_as_in_python(kind):
    assert_read_alike(*map(kind, [str, bytes, bytearray, Text, int, None, 7]))


def test_an_object_whose_class_cannot_be_asked_fails_as_in_python():
    assert_read_alike(Refuser())


def test_a_value_read_from_a_subclass_is_of_plain_types():
    (text,) = loads(Text('["a"]'))
    assert type(text) is str


def test_the_error_keeps_the_subclass_as_its_document():
    document = Text("[1")
    assert error_of(loads, document).doc is document
