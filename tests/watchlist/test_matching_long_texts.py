"""Texts that nearly hold each other everywhere: twice the length is not four times the work."""

from __future__ import annotations

import time

import pytest

from support import database

SHORT, TIMES_LONGER = 10_000, 8

# (detected, watched): neither holds the other, but nearly everywhere.
KINDS = {
    "end differs": lambda size: ("a" * size, "a" * (size // 2) + "b"),
    "end differs, entry longer": lambda size: ("a" * (size // 2) + "b", "a" * size),
    "middle differs": lambda size: ("ab" * (size // 2), "ab" * (size // 8) + "b" * (size // 4)),
    "wide": lambda size: ("\U00010400" * size, "\U00010400" * (size // 2) + "b"),
}


@pytest.mark.parametrize("kind", KINDS)
def test_work_grows_with_the_length_and_not_with_its_square(store, watch, db_path, kind):
    def best_time(size):
        detected, watched = KINDS[kind](size)
        database.run_script(db_path, "DELETE FROM watchlist")
        watch(watched)
        times = []
        for _ in range(3):
            begin = time.thread_time()
            assert store.check_watchlist([detected]) == []
            times.append(time.thread_time() - begin)
        return min(times)

    # What a call costs whatever its texts only makes the two more alike.
    assert best_time(TIMES_LONGER * SHORT) < 2.5 * TIMES_LONGER * best_time(SHORT)
