"""`json.loads` is looked up in the namespace once a text, within what a decoding error excuses."""

from __future__ import annotations

import json

import pytest


class Replacement:
    """Stands where the module json was; its `loads` is asked for, or cannot be had."""

    JSONDecodeError = json.JSONDecodeError

    def __init__(self, error=None):
        self.asked = 0
        self.error = error

    @property
    def loads(self):
        self.asked += 1
        if self.error:
            raise self.error
        return json.loads


@pytest.fixture
def recorded(store):
    store.add_detection(["AB1"], [0.5], [[1]], 0.1, 0.1, 0.1)
    return store


def test_once_a_text(recorded, store_module, monkeypatch):
    monkeypatch.setattr(store_module, "json", replacement := Replacement())
    assert recorded.get_detection(1)["plates"] == ["AB1"]
    assert replacement.asked == 3


def test_an_attribute_that_is_no_json_leaves_the_texts(recorded, store_module, monkeypatch):
    error = json.JSONDecodeError("no", "", 0)
    monkeypatch.setattr(store_module, "json", Replacement(error))
    assert recorded.get_detection(1)["plates"] == '["AB1"]'


def test_nothing_in_its_place(recorded, store_module, monkeypatch):
    monkeypatch.setattr(store_module, "json", None)
    with pytest.raises(AttributeError, match="no attribute 'JSONDecodeError'") as caught:
        recorded.get_detection(1)
    assert "no attribute 'loads'" in str(caught.value.__context__)
