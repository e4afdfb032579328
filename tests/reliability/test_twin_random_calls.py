"""Random sequences of calls give the same on the store and on its plain-Python twin.

Same results to the type and the order of keys, same errors to the text, same file afterwards.
"""

from __future__ import annotations

import itertools
import sqlite3
from contextlib import ExitStack, closing
from datetime import datetime, timedelta
from unittest import mock

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

from support import database, twin
from support.clock import Clock
from support.method_table import METHODS
from support.random_calls import CHANGE, REOPEN, TRIED_WITH, Call, calls
from support.values import exactly

START = datetime(2024, 5, 1, 14, 59, 59)
SEQUENCES = max(200, settings.get_profile(settings.get_current_profile_name()).max_examples)


class Side:
    """One implementation with a file and a clock of its own."""

    def __init__(self, module, path, step: timedelta):
        self.module = module
        self.path = path
        self.clock = Clock(START, step)
        self.store = None

    def outcome(self, call: Call):
        """What the caller sees of the call."""
        try:
            return "returned", exactly(self._run(call))
        except Exception as error:
            code = getattr(error, "sqlite_errorcode", None)
            return "raised", type(error), str(error), code

    def _run(self, call: Call):
        if call.name == REOPEN:
            self.store = self.module.ANPRDatabase(self.path)
            return None
        if call.name == CHANGE:
            with closing(sqlite3.connect(self.path, isolation_level=None)) as connection:
                return connection.execute(*call.arguments).rowcount
        return getattr(self.store, call.name)(*call.arguments, **call.named)


def file_contents(path):
    with closing(sqlite3.connect(path)) as connection:
        assert connection.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        tables = [
            name
            for (name,) in connection.execute("SELECT name FROM sqlite_master WHERE type='table'")
        ]
        rows = {}
        for table in sorted(tables):
            cursor = connection.execute(f"SELECT * FROM {table} ORDER BY rowid")
            names = [column[0] for column in cursor.description]
            rows[table] = names, exactly(cursor.fetchall())
    return database.schema(path), rows


def play(native, folder, sequence: list[Call], step: timedelta) -> None:
    sides = [Side(native, folder / "native.db", step), Side(twin, folder / "twin.db", step)]
    with ExitStack() as replaced:
        for side in sides:
            replaced.enter_context(mock.patch.object(side.module, "datetime", side.clock.type))
        for call in [Call(REOPEN), *sequence]:
            ours, theirs = (side.outcome(call) for side in sides)
            assert ours == theirs, call
            assert sides[0].clock.readings == sides[1].clock.readings, call
    ours, theirs = (file_contents(side.path) for side in sides)
    assert ours == theirs


folders = itertools.count()


@settings(max_examples=SEQUENCES)
@given(data=st.data())
def test_random_calls_give_the_same_on_the_store_and_its_twin(native, tmp_path, data):
    sequence = data.draw(calls(native.ANPRDatabase), label="calls")
    step = data.draw(
        st.sampled_from([timedelta(0), timedelta(seconds=0.5), timedelta(minutes=25)]), label="step"
    )
    folder = tmp_path / str(next(folders))
    folder.mkdir()
    play(native, folder, sequence, step)


def test_every_operation_is_tried():
    assert set(TRIED_WITH) == {m.name for m in METHODS} - {"__init__", "_get_conn"}


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
