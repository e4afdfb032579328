"""A key is one object in its document, however its characters are spelt each time."""

from __future__ import annotations

import json

import pytest

SPELLINGS = {
    "plain, then escaped": r'[{"key1": 1}, {"\u006bey1": 2}]',
    "escaped, then plain": r'[{"\u006bey1": 1}, {"key1": 2}]',
    "escaped in two ways": r'[{"\u006bey1": 1}, {"k\u0065y1": 2}]',
    "a slash": r'[{"a/b": 1}, {"a\/b": 2}, {"a\u002fb": 3}]',
    "a quote": r'[{"a\"b": 1}, {"a\u0022b": 2}]',
    "beyond ASCII": r'[{"b_é": 1}, {"b_\u00e9": 2}, {"b_é": 3}]',
    "beyond the plane": r'[{"😀": 1}, {"\ud83d\ude00": 2}, {"\uD83D\uDE00": 3}]',
    "nested": r'[{"key1": {"\u006bey1": [{"key1": 1}]}}]',
    "twice in one mapping": r'[{"key1": 1, "\u006bey1": 2}, {"\u006bey1": 3, "key1": 4}]',
    "like mappings": "["
    + ", ".join([r'{"make": 1, "colour": 2}', r'{"\u006dake": 1, "colou\u0072": 2}'] * 20)
    + "]",
}


def keys_of(value):
    found = []
    if isinstance(value, dict):
        for key, each in value.items():
            found += [key, *keys_of(each)]
    elif isinstance(value, list):
        for each in value:
            found += keys_of(each)
    return found


def sharing(value):
    """Every key with the place of the first key that is the same object."""
    first = {}
    keys = keys_of(value)
    return [(key, first.setdefault(id(key), place)) for place, key in enumerate(keys)]


@pytest.mark.parametrize("name", SPELLINGS)
@pytest.mark.parametrize("readings", [1, 3])
def test_keys_are_shared_as_json_shares_them(native, name, readings):
    document = SPELLINGS[name]
    for _ in range(readings):
        read = native.ANPRDatabase._row_to_dict({"mmc_data": document})["mmc_data"]
        expected = json.loads(document)
        assert read == expected
        assert sharing(read) == sharing(expected)
