"""Any course of operations leaves the store and its plain-Python twin in the same state.

Hypothesis picks what happens next: a call, good or bad, another program that writes into both files
beside the stores, an older layout, time that passes. Results, errors, the readings of the clock and
the files are the same after each step.
"""

from __future__ import annotations

import itertools
from contextlib import ExitStack
from datetime import datetime, timedelta

import pytest
from hypothesis import settings
from hypothesis import strategies as st
from hypothesis.stateful import (
    Bundle,
    RuleBasedStateMachine,
    initialize,
    invariant,
    multiple,
    rule,
    run_state_machine_as_test,
)

from support import database, twin
from support.operations import BY_NAME, REQUIRED
from support.random_calls import CHANGES, TRIED_WITH, columns, odd, stored_values
from support.side_by_side import Side

RUNS = max(80, settings.get_profile(settings.get_current_profile_name()).max_examples)
STEPS = 50

HOURS = [timedelta(0), timedelta(seconds=1), timedelta(minutes=25), timedelta(days=-1)]


def tried_with(operation, without=()):
    """Values by name: of the required parameters always, of the others now and then."""
    required, optional = {}, {}
    for parameter in BY_NAME[operation].parameters:
        if parameter.name not in without:
            group = required if parameter.default is REQUIRED else optional
            group[parameter.name] = TRIED_WITH[operation][parameter.name]
    return st.fixed_dictionaries(required, optional=optional)


def any_of(*operations):
    """One of the operations and what it is called with."""
    return st.one_of(*(st.tuples(st.just(name), tried_with(name)) for name in operations))


START = datetime(2024, 5, 1, 14, 59, 59)


class StoreAndTwin(RuleBasedStateMachine):
    detections = Bundle("detections")
    watched = Bundle("watched")

    def __init__(self, native, folder):
        super().__init__()
        self.sides = [
            Side(module, folder / name, START)
            for module, name in ((native, "native.db"), (twin, "twin.db"))
        ]
        self.compared = []
        self.replaced = ExitStack()
        for side in self.sides:
            self.replaced.enter_context(side.clock_replaced())
            side.open()

    def same(self, operation, *arguments, **named):
        """Calls both. What both returned; nothing if both raised."""
        (ours, result), (theirs, _) = (
            side.outcome(operation, *arguments, **named) for side in self.sides
        )
        assert ours == theirs, (operation, arguments, named)
        return result

    def beside_the_stores(self, sql, parameters=()):
        """What another program does; where a table or column is gone, it fails in both files."""
        ours, theirs = (
            side.outcome_of(lambda path=side.path: database.query(path, sql, parameters))[0]
            for side in self.sides
        )
        assert ours == theirs

    @initialize(target=detections, empty=st.sampled_from([False, False, False, True]))
    def begin(self, empty):
        """Mostly with something to find, so that reading is not all about empty tables."""
        if empty:
            return multiple()
        plates, named = ["AB12", "CD34"], {"detection_confidences": [0.5]}
        first = self.same(
            "add_detection", plates, [0.5, 0.93], [[1, 2, 3, 4], []], 0.25, 0.125, None, **named
        )
        self.same("update_mmc_data", first, {"mmc_make": "VW", "mmc_color": "red"})
        self.same("add_detection", [], [], [], 0.5, 0, 1.5, "image.jpg", success=False)
        third = self.same("add_detection", ["AB12", "XAB12Y"], [0.25], [[]], None, None, None)
        self.same("update_mmc_data", third, {"mmc_color": "blue", "mmc_plate_nation": "DE"})
        self.same("add_watchlist", " ab-12 ", " stolen ")
        self.same("add_watchlist", "-")
        self.same("add_alert", "AB12", "stolen", first, 0.5)
        self.same("add_alert", "XAB12Y", None, third, None)
        return multiple(first, third)

    @rule(target=detections, named=tried_with("add_detection"))
    def record(self, named):
        detection_id = self.same("add_detection", **named)
        return multiple() if detection_id is None else detection_id

    @rule(
        detection_id=detections,
        call=st.one_of(
            *(
                st.tuples(st.just(name), tried_with(name, without=["detection_id"]))
                for name in ("update_mmc_data", "update_image_paths", "add_alert")
            )
        ),
    )
    def attach_to_one(self, detection_id, call):
        name, named = call
        self.same(name, detection_id=detection_id, **named)

    @rule(detection_id=detections)
    def look_up(self, detection_id):
        self.same("get_detection", detection_id)

    @rule(detection_id=detections | odd)
    def delete_one(self, detection_id):
        self.same("delete_detection", detection_id)

    @rule(ids=st.lists(detections | st.integers(-1, 99), max_size=4))
    def delete_many(self, ids):
        self.same("delete_detections", ids)

    @rule(ids=st.lists(detections, max_size=4))
    def alerts_of_many(self, ids):
        self.same("get_alerts_for_detections", ids)

    @rule(max_entries=st.sampled_from([-1, 2, 5, 9, 1000]))
    def trim(self, max_entries):
        self.same("cleanup_old", max_entries)

    @rule(named=tried_with("get_history"))
    def page_through(self, named):
        self.same("get_history", **named)

    @rule(named=tried_with("search_plates"))
    def search(self, named):
        self.same("search_plates", **named)

    @rule(least=st.sampled_from([0.25, 0.5, 0.93, 1]))
    def search_by_confidence(self, least):
        self.same("search_plates", min_confidence=least)

    @rule(named=tried_with("get_top_plates"))
    def rank(self, named):
        self.same("get_top_plates", **named)

    @rule(call=any_of("get_statistics", "get_hourly_stats"))
    def count(self, call):
        name, named = call
        self.same(name, **named)

    @rule(target=watched, named=tried_with("add_watchlist"))
    def watch(self, named):
        watchlist_id = self.same("add_watchlist", **named)
        return multiple() if watchlist_id is None else watchlist_id

    @rule(watchlist_id=watched)
    def stop_watching(self, watchlist_id):
        self.same("remove_watchlist", watchlist_id)

    @rule(
        call=any_of(
            "check_watchlist", "get_watchlist", "get_alerts", "get_alert_count", "mark_alerts_read"
        )
    )
    def match_and_alert(self, call):
        name, named = call
        self.same(name, **named)

    @rule(
        call=any_of(*(name for name in TRIED_WITH if name != "add_detection")),
        most=st.integers(0, 12),
    )
    def call_anything(self, call, most):
        """The first arguments by position, at most so many, the others by name."""
        name, named = call
        leading = itertools.takewhile(named.__contains__, BY_NAME[name].names)
        by_position = list(itertools.islice(leading, most))
        rest = {name: value for name, value in named.items() if name not in by_position}
        self.same(name, *(named[name] for name in by_position), **rest)

    @rule(
        detection_id=detections,
        column=st.sampled_from(["plates", "confidences"]) | columns,
        value=stored_values,
    )
    def another_program_writes(self, detection_id, column, value):
        self.beside_the_stores(
            f"UPDATE OR IGNORE detections SET {column} = ? WHERE id = ?", (value, detection_id)
        )

    @rule(column=st.sampled_from(["label", "note", "created_at"]), value=stored_values)
    def another_program_writes_to_the_watchlist(self, column, value):
        self.beside_the_stores(f"UPDATE OR IGNORE watchlist SET {column} = ?", (value,))

    @rule(statement=st.sampled_from(CHANGES), opened=st.booleans())
    def another_program_changes_the_file(self, statement, opened):
        self.beside_the_stores(statement)
        for side in self.sides if opened else ():
            side.open()

    @rule()
    def open_again(self):
        for side in self.sides:
            side.open()

    @rule(step=st.sampled_from(HOURS))
    def time_passes(self, step):
        for side in self.sides:
            side.clock.moment += step

    @rule(step=st.sampled_from([timedelta(0), timedelta(seconds=0.5), timedelta(minutes=25)]))
    def each_reading_takes_time(self, step):
        for side in self.sides:
            side.clock.step = step

    @invariant()
    def the_clocks_were_read_alike(self):
        ours, theirs = (side.clock.readings for side in self.sides)
        assert ours == theirs

    @invariant()
    def the_files_hold_the_same(self):
        files = [side.path.read_bytes() for side in self.sides]
        if files != self.compared:  # reading left both as they were, mostly
            ours, theirs = (side.contents() for side in self.sides)
            assert ours == theirs
        self.compared = files

    def teardown(self):
        self.replaced.close()
        for side in self.sides:
            assert database.query(side.path, "PRAGMA integrity_check") == [("ok",)]


@pytest.mark.slow
def test_the_store_and_its_twin_stay_the_same(native, tmp_path):
    numbers = itertools.count()

    def begin():
        folder = tmp_path / str(next(numbers))
        folder.mkdir()
        return StoreAndTwin(native, folder)

    run_state_machine_as_test(
        begin, settings=settings(max_examples=RUNS, stateful_step_count=STEPS)
    )


def test_every_operation_is_tried():
    assert set(TRIED_WITH) == set(BY_NAME) - {"__init__", "_get_conn"}


def opened_again(side):
    side.open()


def changed(statement, *parameters):
    return lambda side: database.query(side.path, statement, parameters)


def called(operation, *arguments, **named):
    return lambda side: side.outcome(operation, *arguments, **named)[0]


DETECTION = (["AB12", "CD34"], [0.5, float("nan")], [[1, 2, 3, 4]], 0.25, None, 3)
KEPT = [
    [
        called("add_detection", *DETECTION, detection_confidences=[0.0]),
        changed("UPDATE detections SET plates = ?", b"\xff"),
        called("get_history"),
        called("get_detection", 1),
    ],
    [
        changed("ALTER TABLE detections DROP COLUMN mmc_data"),
        called("update_mmc_data", 1, {}),
        opened_again,
        called("add_detection", *DETECTION),
        called("update_mmc_data", 1, {"mmc_color": "red"}),
        called("get_history"),
    ],
    [
        called("add_detection", *DETECTION),
        changed("DELETE FROM detections"),
        called("add_detection", *DETECTION, success=None),
        called("get_history", -1, -1),
        called("get_history", "many"),
        called("update_image_paths", 2, {1}, None),
    ],
]


@pytest.mark.parametrize("steps", KEPT)
def test_kept_sequences_give_the_same(native, tmp_path, steps):
    seen = []
    for module, name in ((native, "native.db"), (twin, "twin.db")):
        side = Side(module, tmp_path / name, START, timedelta(minutes=25))
        with side.clock_replaced():
            side.open()
            seen.append(([step(side) for step in steps], side.clock.readings, side.contents()))
    assert seen[0] == seen[1]
