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
from support.random_calls import TRIED_WITH, columns, odd, stored_values
from support.side_by_side import Side

RUNS = max(60, settings.get_profile(settings.get_current_profile_name()).max_examples)
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


class StoreAndTwin(RuleBasedStateMachine):
    detections = Bundle("detections")
    watched = Bundle("watched")

    def __init__(self, native, folder):
        super().__init__()
        self.sides = [
            Side(module, folder / name, datetime(2024, 5, 1, 14, 59, 59))
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
        for side in self.sides:
            database.query(side.path, sql, parameters)

    @initialize(target=detections)
    def begin_with_some(self):
        """So that reading is not mostly about empty tables."""
        plates = ["AB12", "CD34"]
        first = self.same("add_detection", plates, [0.5, 0.93], [[1, 2, 3, 4], []], 0.25, 0.125, 0)
        self.same("update_mmc_data", first, {"mmc_make": "VW", "mmc_color": "red"})
        second = self.same("add_detection", ["AB12"], [0.25], [[]], None, None, None)
        self.same("add_watchlist", "ab-12", "stolen")
        return multiple(first, second)

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

    @rule(call=any_of(*(name for name in TRIED_WITH if name != "add_detection")))
    def call_anything(self, call):
        name, named = call
        self.same(name, **named)

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

    @rule(column=st.sampled_from(["mmc_data", "detection_confidences"]))
    def an_older_layout_is_opened(self, column):
        self.beside_the_stores(f"ALTER TABLE detections DROP COLUMN {column}")
        for side in self.sides:
            side.open()

    @rule()
    def open_again(self):
        for side in self.sides:
            side.open()

    @rule(step=st.sampled_from(HOURS))
    def time_passes(self, step):
        for side in self.sides:
            side.clock.moment += step

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
