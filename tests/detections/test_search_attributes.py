"""Filters on vehicle attributes: a loose match in the text of `mmc_data`."""

from __future__ import annotations

import json

import pytest

from support.samples import add
from support.stored_rows import ids, put

KEYS = {
    "mmc_make": "mmc_make",
    "mmc_model": "mmc_model",
    "mmc_color": "mmc_color",
    "mmc_type": "mmc_type",
    "mmc_nation": "mmc_plate_nation",
    "mmc_side": "mmc_vehicle_side",
}


@pytest.fixture
def put_data(db_path, store):
    return lambda text: put(db_path, mmc_data=text)


@pytest.mark.parametrize(("parameter", "key"), KEYS.items())
def test_each_filter_looks_for_its_key(store, parameter, key):
    for other in KEYS.values():
        store.update_mmc_data(add(store), {other: "value"})
    (found,) = store.search_plates(**{parameter: "value"})
    assert found["mmc_data"] == {key: "value"}


@pytest.mark.parametrize("parameter", ["mmc_nation", "mmc_side"])
def test_the_two_unlike_names_are_no_keys_themselves(store, parameter):
    store.update_mmc_data(add(store), {parameter: "DE"})
    assert store.search_plates(**{parameter: "DE"}) == []


@pytest.mark.parametrize(("text", "matches"), [
    ('{"mmc_color": "red"}', True), ('{"mmc_color": "darkred metallic"}', True),
    ('{"mmc_color": "RED"}', True), ('{"MMC_COLOR": "red"}', True),
    # Anywhere after the key, also as another attribute's value or key.
    ('{"mmc_color": "blue", "mmc_model": "Alfred"}', True),
    ('{"mmc_color": "blue", "red": 1}', True), ('{"mmc_model": "red", "mmc_color": "blue"}', False),
    ('{"a": "mmc_color", "b": "red"}', True), ('{"a": {"mmc_color": ["x", "red"]}}', True),
    ('"mmc_color"red', True), ("mmc_color red", False), ('red "mmc_color"', False),
    # The underscore of the key is a wildcard of LIKE like any other.
    ('{"mmcXcolor": "red"}', True), ('{"mmc__color": "red"}', False),
    ('{"mmc_colour": "red"}', False), ("{}", False), ("null", False), ("", False), (None, False),
])  # fmt: skip
def test_the_quoted_key_and_the_value_somewhere_after_it(store, put_data, text, matches):
    put_data(text)
    assert ids(store.search_plates(mmc_color="red")) == ([1] if matches else [])


@pytest.mark.parametrize(("value", "matches"), [
    ("white", True), ("WHITE", True), ("whit", True), ("wh_te", True), ("w%e", True), ("%", True),
    ('"white"', True), (': "white"}', True), ("white ", False), ("mmc_color", False),
    ("Grün", False), (0.5, False),
])  # fmt: skip
def test_values_are_used_as_given(store, put_data, value, matches):
    put_data('{"mmc_color": "white"}')
    assert ids(store.search_plates(mmc_color=value)) == ([1] if matches else [])


def test_a_letter_outside_ascii_is_found_as_it_is_stored(store, put_data):
    put_data(json.dumps({"mmc_color": "grün"}))
    put_data(json.dumps({"mmc_color": "grün"}, ensure_ascii=False))
    assert ids(store.search_plates(mmc_color="grün")) == [2]
    assert ids(store.search_plates(mmc_color="gr\\u00FCn")) == [1]
    assert ids(store.search_plates(mmc_color="GRÜN")) == []


def test_a_number_is_found_by_its_text(store, put_data):
    put_data('{"mmc_model": 911}')
    put_data('{"mmc_model": "2.0 TDI"}')
    assert ids(store.search_plates(mmc_model=911)) == [1]
    assert ids(store.search_plates(mmc_model=2.0)) == [2]


def test_several_filters_must_all_match(store, put_data):
    put_data('{"mmc_make": "VW", "mmc_color": "red"}')
    put_data('{"mmc_make": "VW", "mmc_color": "blue"}')
    put_data('{"mmc_color": "red", "mmc_make": "Audi"}')
    assert sorted(ids(store.search_plates(mmc_make="VW"))) == [1, 2]
    assert sorted(ids(store.search_plates(mmc_color="red"))) == [1, 3]
    assert ids(store.search_plates(mmc_make="VW", mmc_color="red")) == [1]
    assert ids(store.search_plates(mmc_color="audi", mmc_make="audi")) == [3]


def test_all_six_together(store):
    data = {key: f"{key}-value" for key in KEYS.values()}
    store.update_mmc_data(add(store), data)
    add(store)
    wanted = {parameter: data[key] for parameter, key in KEYS.items()}
    assert ids(store.search_plates(**wanted)) == [1]
    assert store.search_plates(**{**wanted, "mmc_side": "front"}) == []


def test_the_filters_do_not_look_at_other_columns(store, db_path):
    put(db_path, plates='["mmc_color red"]', image_path='"mmc_color" red')
    assert store.search_plates(mmc_color="red") == []
