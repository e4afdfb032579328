"""Subclasses of text and bytes, and pretenders of them, are asked as Python asks them."""

from __future__ import annotations

import json
from typing import Any

import pytest
from anpr_test_modules import store_internals

from support.json_cases import outcome

loads = store_internals.loads


class PlainText(str):
    pass


class PlainBytes(bytes):
    pass


class PlainByteArray(bytearray):
    pass


class TextThatNeverStarts(str):
    def startswith(self, *given: Any) -> bool:
        return False


class TextThatAlwaysStarts(str):
    def startswith(self, *given: Any) -> bool:
        return True


class TextThatRefuses(str):
    def startswith(self, *given: Any) -> bool:
        raise LookupError("startswith asked")


class TextWithOtherItems(str):
    def __getitem__(self, index: Any) -> str:
        return "x"

    def __len__(self) -> int:
        return 1

    def __iter__(self) -> Any:
        raise LookupError("iterated")


class BytesThatDecodeOtherwise(bytes):
    def decode(self, *given: Any, **named: Any) -> str:
        return '["decoded", "by me"]'


class BytesThatDecodeToText(bytes):
    def decode(self, *given: Any, **named: Any) -> str:
        return PlainText("[1")


class BytesThatDecodeToNothing(bytes):
    def decode(self, *given: Any, **named: Any) -> Any:
        return None


class BytesThatRefuse(bytes):
    def decode(self, *given: Any, **named: Any) -> str:
        raise LookupError(repr((given, named)))


class BytesThatAlwaysStart(bytes):
    def startswith(self, *given: Any) -> bool:
        return True


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


class TextOfBytes(bytes):
    """Bytes that say they are text."""

    @property  # type: ignore[misc]
    def __class__(self) -> Any:  # type: ignore[override]
        return str


DOCUMENTS = ("[1, 2]", '{"a": "é"}', "[1", "", "\ufeff[]", "nul")


@pytest.mark.parametrize(
    "kind",
    [PlainText, TextThatNeverStarts, TextThatAlwaysStarts, TextThatRefuses, TextWithOtherItems],
)
@pytest.mark.parametrize("document", DOCUMENTS, ids=ascii)
def test_a_subclass_of_text_is_read_as_in_python(kind: type, document: str) -> None:
    assert outcome(loads, kind(document)) == outcome(json.loads, kind(document))


@pytest.mark.parametrize(
    "kind",
    [
        PlainBytes,
        PlainByteArray,
        BytesThatDecodeOtherwise,
        BytesThatDecodeToText,
        BytesThatDecodeToNothing,
        BytesThatRefuse,
        BytesThatAlwaysStart,
        TextOfBytes,
    ],
)
@pytest.mark.parametrize("document", DOCUMENTS, ids=ascii)
def test_a_subclass_of_bytes_is_read_as_in_python(kind: type, document: str) -> None:
    encoded = document.encode()
    assert outcome(loads, kind(encoded)) == outcome(json.loads, kind(encoded))


@pytest.mark.parametrize("claimed", [str, bytes, bytearray, PlainText, int, None, 7])
@pytest.mark.parametrize("kind", [Pretender, PretenderWithMethods])
def test_an_object_that_claims_a_class_is_asked_as_in_python(kind: type, claimed: object) -> None:
    assert outcome(loads, kind(claimed)) == outcome(json.loads, kind(claimed))


def test_an_object_whose_class_cannot_be_asked_fails_as_in_python() -> None:
    assert outcome(loads, Refuser()) == outcome(json.loads, Refuser())


def test_a_value_read_from_a_subclass_is_of_plain_types() -> None:
    (text,) = loads(PlainText('["a"]'))
    assert type(text) is str


def test_the_error_keeps_the_subclass_as_its_document() -> None:
    document = PlainText("[1")
    with pytest.raises(json.JSONDecodeError) as caught:
        loads(document)
    assert caught.value.doc is document
