"""Equal keys of one document are one object, and what was read before changes no document."""

from __future__ import annotations

import json
import random
from typing import Any

import pytest
from anpr_test_modules import store_internals


def keys_of(value: Any) -> list[str]:
    """Every key of every mapping, in the order in which they stand."""
    found: list[str] = []
    if isinstance(value, dict):
        for key, each in value.items():
            found.append(key)
            found += keys_of(each)
    elif isinstance(value, list):
        for each in value:
            found += keys_of(each)
    return found


def assert_equal_keys_are_one_object(value: Any) -> None:
    first: dict[str, str] = {}
    for key in keys_of(value):
        assert first.setdefault(key, key) is key


MANY = [f"key {number}" for number in range(2_000)]

DOCUMENTS = {
    "beyond ASCII": '[{"a_key": 1, "b_\xe9": 2}, {"a_key": 3, "b_\xe9": 4}]',
    "escaped": r'[{"b_\u00e9": 1, "a\"b": 2}, {"b_\u00e9": 3, "a\"b": 4}]',
    "escaped and not": '[{"a\\u0062": 1}, {"ab": 2}, {"ab": 3}]',
    "wide": '[{"a": 1, "€": 2}, {"a": 1, "€": 2}, {"😀": 1}, {"😀": 1}]',
    "like mappings": json.dumps([{"make": 1, "model": 2, "colour": 3}] * 100),
    "other keys by turns": json.dumps([{"make": 1, "model": 2}, {"model": 3, "colour": 4}] * 50),
    "fewer and more": json.dumps([{"aa": 1, "bb": 2}, {"aa": 1}, {"aa": 1, "bb": 2, "cc": 3}] * 9),
    "nested": json.dumps([{"box": {"box": [{"box": 1}], "left": 2}, "left": 3}] * 5),
    "more than are remembered": json.dumps([dict.fromkeys(MANY), dict.fromkeys(MANY[::-1])]),
    "long": json.dumps([{"k" * 500: 1}, {"k" * 500: 2}]),
    "the empty key": '[{"": 1}, {"": 2}]',
}


@pytest.mark.parametrize("name", DOCUMENTS)
@pytest.mark.parametrize("before", [None, *DOCUMENTS])
def test_equal_keys_are_one_object(name: str, before: str | None) -> None:
    if before is not None:
        store_internals.loads(DOCUMENTS[before])
    read = store_internals.loads(DOCUMENTS[name])
    assert_equal_keys_are_one_object(read)
    assert repr(read) == repr(json.loads(DOCUMENTS[name]))


def test_mappings_read_one_after_another_are_as_python_reads_them() -> None:
    rng = random.Random(1)
    names = ["a", "bb", "ccc", "é", "x" * 70, "__class__", "keys", ""]
    values = [1, -2, 1.5, "text", "é", None, True, [], {}, [{"a": 1}], {"a": {"bb": 1}}, "y" * 99]
    for _ in range(3_000):
        shape = rng.sample(names, rng.randint(0, 4))
        for _ in range(rng.choice([1, 2, 40])):
            document = json.dumps({name: rng.choice(values) for name in shape})
            if rng.random() < 0.1:
                document = document.replace(":", rng.choice([",", " :", ": ", ""]), 1)
            assert outcome(store_internals.loads, document) == outcome(json.loads, document)


def outcome(function: Any, document: str) -> Any:
    try:
        return repr(function(document))
    except json.JSONDecodeError as error:
        return str(error)


def test_a_key_given_twice_has_the_last_value() -> None:
    like = '{"a": 1, "b": 2}'
    for document in ('{"a": 1, "a": 2}', '{"a": 1, "b": 2, "a": 3}', '{"a": 1, "b": 2, "b": 3}'):
        for _ in range(50):
            store_internals.loads(like)
        read = store_internals.loads(document)
        assert list(read.items()) == list(json.loads(document).items())


def test_what_is_read_can_be_changed_without_changing_what_is_read_next() -> None:
    document = '{"make": "Škoda", "model": "Octavia", "colour": null}'
    for number in range(100):
        read = store_internals.loads(document)
        assert read == {"make": "Škoda", "model": "Octavia", "colour": None}
        read["colour"] = read
        read[str(number)] = number
        del read["make"]
        assert list(read) == ["model", "colour", str(number)]


def test_like_mappings_with_containers_are_seen_by_the_collector() -> None:
    import gc
    import weakref

    class Held:
        pass

    for _ in range(100):
        read = store_internals.loads('{"one": 1, "two": "2"}')
        held = Held()
        read["one"] = [read, held]
        gone = weakref.ref(held)
        del read, held
        gc.collect()
        assert gone() is None
