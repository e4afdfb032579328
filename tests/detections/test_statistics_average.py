"""The average processing time: rounded to four digits as Python rounds."""

from __future__ import annotations

import math

import pytest
from hypothesis import example, given
from hypothesis import strategies as st

from support import database
from support.stored_rows import put
from support.values import exactly


@pytest.mark.parametrize(("times", "average"), [
    ([1.23456, 1.23456], 1.2346), ([0.5, 0.25], 0.375), ([1, 2], 1.5), ([2, 2], 2.0),
    ([None, None], 0), ([None, 0.5], 0.5), ([0.0], 0), ([-0.0], 0), ([1.5, -1.5], 0),
    # Not 0 before it is rounded, so a real.
    ([0.00001], 0.0), ([-0.00001], -0.0), ([5e-324], 0.0), ([-1.23456], -1.2346),
    # Exactly between two: to the even one.
    ([0.03125], 0.0312), ([0.09375], 0.0938), ([-0.03125], -0.0312), ([2.00390625], 2.0039),
    # Not exactly between, though it looks so in decimal.
    ([0.00005], 0.0001), ([0.00015], 0.0001), ([1.00005], 1.0001), ([2.00005], 2.0),
    ([2.67545], 2.6755), ([0.99995], 1.0), ([0.999951], 1.0), ([123456789.12345], 123456789.1234),
    ([2.0**52 + 0.5], 2.0**52 + 0.5), ([1e16], 1e16), ([1e22], 1e22),
    ([1.7976931348623157e308], 1.7976931348623157e308), ([math.inf], math.inf),
    ([-math.inf], -math.inf),
    # To the engine there is no such number: NULL.
    ([math.inf, -math.inf], 0), ([math.nan], 0), (["soon"], 0), (["1.5"], 1.5), ([b"2.5"], 2.5),
], ids=repr)  # fmt: skip
def test_averages(store, db_path, times, average):
    for time in times:
        put(db_path, processing_time=time)
    assert exactly(store.get_statistics()["avg_processing_sec"]) == exactly(average)


def between_two(whole: int, power: int) -> float:
    """A number with a 5 behind the fourth digit, as near to it as a double comes."""
    return (whole + 0.5) / 10**4 * 2.0**power


numbers = st.one_of(
    st.floats(),
    st.floats(-10, 10),
    st.floats(-1e-3, 1e-3),
    st.builds(between_two, st.integers(-(10**9), 10**9), st.integers(-2, 12)),
    st.integers(-(2**53), 2**53).map(lambda n: n / 2**7),
    st.integers(-(10**6), 10**6).map(lambda n: n / 10**5),
)


def set_time(path, time: float) -> None:
    database.query(path, "UPDATE detections SET processing_time = ?", (time,))


@given(time=numbers)
@example(time=math.nextafter(0.00005, 0))
@example(time=math.nextafter(0.00005, 1))
@example(time=562949953421311.9)
@example(time=2251799813685247.75)
@example(time=9007199254740993.0)
def test_it_is_rounded_as_python_rounds(store, db_path, time):
    if not database.count(db_path):
        put(db_path)
    set_time(db_path, time)
    average = store.get_statistics()["avg_processing_sec"]
    if time == 0 or math.isnan(time):
        assert exactly(average) == exactly(0)
    else:
        assert exactly(average) == exactly(round(time, 4))


@given(time=numbers.filter(lambda time: time != 0 and math.isfinite(time)))
def test_it_is_what_four_fixed_decimals_read_back_as(store, db_path, time):
    if not database.count(db_path):
        put(db_path)
    set_time(db_path, time)
    average = store.get_statistics()["avg_processing_sec"]
    assert exactly(average) == exactly(float(f"{time:.4f}"))


@given(times=st.lists(st.floats(0, 60), min_size=2, max_size=6))
def test_the_engine_takes_the_average_and_python_rounds_it(store, db_path, times):
    database.run_script(db_path, "DELETE FROM detections")
    for time in times:
        put(db_path, processing_time=time)
    ((average,),) = database.query(db_path, "SELECT AVG(processing_time) FROM detections")
    expected = round(average, 4) if average else 0
    assert exactly(store.get_statistics()["avg_processing_sec"]) == exactly(expected)
