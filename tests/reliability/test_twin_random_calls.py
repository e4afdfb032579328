"""Random sequences of calls give the same on the store and on its plain-Python twin.

Same results to the type and the order of keys, same errors to the text, same file afterwards.
"""

from __future__ import annotations

import itertools
from contextlib import ExitStack
from datetime import datetime, timedelta

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support import database, twin
from support.operations import BY_NAME
from support.random_calls import CHANGE, REOPEN, TRIED_WITH, Call, calls
from support.side_by_side import Side
from support.values import exactly

START = datetime(2024, 5, 1, 14, 59, 59)
SEQUENCES = max(200, settings.get_profile(settings.get_current_profile_name()).max_examples)


def outcome(side: Side, call: Call):
    """What the caller sees of the call."""
    if call.name == REOPEN:
        return side.outcome_of(side.open)[0]
    if call.name == CHANGE:
        return side.outcome_of(lambda: database.query(side.path, *call.arguments))[0]
    return side.outcome(call.name, *call.arguments, **call.named)[0]


def file_contents(path):
    assert database.query(path, "PRAGMA integrity_check") == [("ok",)]
    tables = database.query(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY 1")
    return database.schema(path), exactly(
        {
            table: (database.columns(path, table), database.query(path, f"SELECT * FROM {table}"))
            for (table,) in tables
        }
    )


def play(native, folder, sequence: list[Call], step: timedelta) -> None:
    sides = [
        Side(module, folder / name, START, step)
        for module, name in ((native, "native.db"), (twin, "twin.db"))
    ]
    with ExitStack() as replaced:
        for side in sides:
            replaced.enter_context(side.clock_replaced())
        for call in [Call(REOPEN), *sequence]:
            ours, theirs = (outcome(side, call) for side in sides)
            assert ours == theirs, call
            assert sides[0].clock.readings == sides[1].clock.readings, call
    ours, theirs = (file_contents(side.path) for side in sides)
    assert ours == theirs


folders = itertools.count()


@pytest.mark.slow
@settings(max_examples=SEQUENCES)
@given(data=st.data())
def test_random_calls_give_the_same_on_the_store_and_its_twin(native, tmp_path, data):
    sequence = data.draw(calls(), label="calls")
    step = data.draw(
        st.sampled_from([timedelta(0), timedelta(seconds=0.5), timedelta(minutes=25)]), label="step"
    )
    folder = tmp_path / str(next(folders))
    folder.mkdir()
    play(native, folder, sequence, step)


def test_every_operation_is_tried():
    assert set(TRIED_WITH) == set(BY_NAME) - {"__init__", "_get_conn"}


DETECTION = (["AB12", "CD34"], [0.5, float("nan")], [[1, 2, 3, 4]], 0.25, None, 3)

KEPT = [
    [
        Call("add_detection", DETECTION, {"detection_confidences": [0.0]}),
        Call(CHANGE, ("UPDATE detections SET plates = ?", (b"\xff",))),
        Call("get_history"),
        Call("get_detection", (1,)),
    ],
    [
        Call(CHANGE, ("ALTER TABLE detections DROP COLUMN mmc_data", ())),
        Call("update_mmc_data", (1, {})),
        Call(REOPEN),
        Call("add_detection", DETECTION),
        Call("update_mmc_data", (1, {"mmc_color": "red"})),
        Call("get_history"),
    ],
    [
        Call("add_detection", DETECTION),
        Call(CHANGE, ("DELETE FROM detections", ())),
        Call("add_detection", DETECTION, {"success": None}),
        Call("get_history", (-1, -1)),
        Call("get_history", ("many",)),
        Call("update_image_paths", (2, {1}, None)),
    ],
]


@pytest.mark.parametrize("sequence", KEPT)
def test_kept_sequences_give_the_same(native, tmp_path, sequence):
    play(native, tmp_path, sequence, timedelta(minutes=25))
