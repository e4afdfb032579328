"""A text of any class is searched for by its own characters, as it is stored."""

from __future__ import annotations

from enum import Enum, StrEnum

import pytest


class Color(str, Enum):  # noqa: UP042 - its format differs from that of StrEnum
    RED = "red"


class Side(StrEnum):
    REAR = "rear"


class Loud(str):
    def __str__(self):
        return "other"

    def __format__(self, spec):
        return "another"


class Number:
    def __format__(self, spec):
        return "77"


@pytest.fixture
def filled(store):
    for plate, color in (("red", Color.RED), ("blue", "blue")):
        added = store.add_detection([plate], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
        store.update_mmc_data(added, {"mmc_color": color, "mmc_vehicle_side": Side.REAR})
    store.add_detection(["AB77"], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
    return store


def plates(records):
    return [record["plates"][0] for record in records]


@pytest.mark.parametrize("red", [Color.RED, Loud("red"), "red"])
def test_a_text_of_any_class_finds_what_it_is(filled, red):
    assert plates(filled.search_plates(mmc_color=red)) == ["red"]
    assert plates(filled.search_plates(red)) == ["red"]


def test_what_was_stored_from_a_member_is_found_by_that_member(filled):
    assert plates(filled.search_plates(mmc_side=Side.REAR)) == ["blue", "red"]
    assert plates(filled.search_plates(mmc_color=Color.RED, mmc_side=Side.REAR)) == ["red"]


def test_what_is_no_text_is_formatted(filled):
    assert plates(filled.search_plates(77)) == ["AB77"]
    assert plates(filled.search_plates(Number())) == ["AB77"]
