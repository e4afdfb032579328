"""A document just within the depth that is read stays so, however often it is read."""

from __future__ import annotations

import pytest

READINGS = 60  # what is seen often is read by a pattern, which one of these readings makes


@pytest.fixture
def read(native):
    """Reads a document from the same depth of the Python stack each time."""

    def read(text):
        return native.ANPRDatabase._row_to_dict({"mmc_data": text})["mmc_data"]

    return read


def is_read(read, text):
    try:
        read(text)
    except RecursionError:
        return False
    return True


@pytest.fixture
def deepest(read):
    """How many lists in one another are read."""
    low, high = 1, 100_000
    while low < high:
        middle = (low + high + 1) // 2
        if is_read(read, "[" * middle + "]" * middle):
            low = middle
        else:
            high = middle - 1
    return low


@pytest.mark.parametrize(
    "mapping", ['{"kA": 1}', '{"kB": 1}', '{"kC":1,"kD":"text"}', '{"kE": null, "kF": 1.5}']
)
def test_a_mapping_at_the_last_level_is_read_every_time(read, deepest, mapping):
    around = deepest - 1
    document = "[" * around + mapping + "]" * around
    assert [number for number in range(READINGS) if not is_read(read, document)] == []


def test_a_mapping_below_the_last_level_is_refused_every_time(read, deepest):
    document = "[" * deepest + '{"kG": 1}' + "]" * deepest
    assert [number for number in range(READINGS) if is_read(read, document)] == []
