"""Random calls with hostile arguments, on a class with hostile overrides, beside the twin.

Results, errors, the order in which hooks were asked and the files are what they are in plain
Python, and nothing crashes: a crash ends this process, and whoever started it knows the seed.
"""

from __future__ import annotations

import faulthandler
import functools
import gc
import json
import os
import pickle
import random
import shutil
import sqlite3
import sys
from collections import Counter
from contextlib import ExitStack, closing
from datetime import datetime
from pathlib import Path
from typing import Any
from unittest import mock

from zentrope_anpr import zentrope_anpr_server_db as native

from reliability.hunts.calls import ROWS
from reliability.hunts.find import Find
from reliability.hunts.hostile_values import World, hostile
from support import twin
from support.clock import Clock
from support.operations import OPERATIONS, REQUIRED
from support.values import exactly

CALLS = 150
# Python's cursor keeps the file's lock until its last row is read, so a call inside another call
# may meet it; the store's has read its rows by then.
LOCKED = "database is locked"

_TEXTS = ("AB123", "ab-1 2", "", " ", "%", "stolen", "Š", "x" * 300, "\ud800", "2001-02-03")
_NUMBERS = (0, 1, 2, 3, 5, 100, -1, True, 2**63, 0.5, None, "1")
_LISTS: dict[str, tuple[Any, ...]] = {
    "plates": _TEXTS,
    "confidences": (0.9, 0.1, 1, float("nan"), None),
    "bboxes": ([1, 2, 3, 4], [], None),
    "detection_confidences": (0.5, 0.25),
    "ids": (1, 2, 3, 77, "1", None),
    "detection_ids": (1, 2, 3, 77, 99, None),
}
_TEXT_NAMES = ("plate", "label", "query", "date_from", "date_to", "image_path", "thumbnail_path")

# What came of a call, what was asked and in which order, what the file holds then.
Played = tuple[Any, list[Any], Any] | None


def _some(dice: random.Random, world: World, base: type, value: Any, share: float = 0.3) -> Any:
    if dice.random() >= share:
        return value
    kind = base if dice.random() < 0.8 else object
    return hostile(world, dice, kind, value)


def _plain(dice: random.Random, world: World) -> Any:
    value: Any = dice.choice([*_TEXTS, *_NUMBERS, [], {}, b"x", ()])
    for base in (bool, str, int, float, list, dict):
        if type(value) is base and base is not bool:
            return _some(dice, world, base, value)
    return value


def argument(name: str, dice: random.Random, world: World) -> Any:
    if dice.random() < 0.06:
        return _plain(dice, world)
    if name in _LISTS:
        items = [
            _some(dice, world, type(item), item, 0.15) if type(item) in (str, int, float) else item
            for item in dice.choices(_LISTS[name], k=dice.choice([0, 1, 2, 3]))
        ]
        world.lists.append(items)
        if dice.random() < 0.2:
            return tuple(items)
        given = _some(dice, world, list, items, 0.3)
        if isinstance(given, list):
            world.lists.append(given)
        return given
    if name in _TEXT_NAMES or (name.startswith("mmc_") and name != "mmc_data"):
        return _some(dice, world, str, dice.choice(_TEXTS))
    if name == "mmc_data":
        values: list[Any] = [{}, {"mmc_make": "VW"}, {"a": {"b": [1, "x"]}}, {1: 2, None: 3}]
        inner = {**dice.choice(values), "c": _some(dice, world, str, "deep")}
        return _some(dice, world, dict, inner)
    if name == "row":
        return _some(dice, world, dict, {"id": 1, "plates": _some(dice, world, str, '["x"]')}, 0.5)
    number = dice.choice(_NUMBERS)
    return _some(dice, world, type(number), number) if type(number) in (int, float) else number


def hostile_class(world: World, dice: random.Random) -> Any:
    """The store with overrides that do what the module's own do, and more."""
    base = world.module.ANPRDatabase
    overridden = {name for name in ("_init_schema", "_row_to_dict") if dice.random() < 0.5}
    wrapped, foreign, factory = (dice.random() < share for share in (0.3, 0.2, 0.2))

    class Store(base):  # type: ignore[misc, valid-type]
        def _get_conn(self) -> Any:
            world.hook("_get_conn")
            if foreign:
                connection = sqlite3.connect(self.db_path, timeout=0)
                connection.row_factory = sqlite3.Row
            else:
                connection = super()._get_conn()
                connection.execute("PRAGMA busy_timeout = 0")
            world.connections.append(connection)
            if factory:
                connection.row_factory = lambda cursor, row: _made_row(world, cursor, row)
            return _Wrapper(connection, world) if wrapped else connection

    def _init_schema(self: Any) -> Any:
        world.hook("_init_schema")
        return base._init_schema(self)

    def _row_to_dict(row: Any) -> Any:
        world.hook("_row_to_dict")
        return base._row_to_dict(row)

    if "_init_schema" in overridden:
        Store._init_schema = _init_schema
    if "_row_to_dict" in overridden:
        Store._row_to_dict = staticmethod(_row_to_dict)
    return Store


def _made_row(world: World, cursor: Any, row: Any) -> Any:
    world.hook("row_factory")
    return {column[0]: value for column, value in zip(cursor.description, row, strict=True)}


class _Wrapper:
    """In place of a connection and of its cursors: what operations use of them, hooked."""

    def __init__(self, real: Any, world: World) -> None:
        self.real, self.world = real, world

    def __enter__(self) -> Any:
        self.world.hook("__enter__")
        self.real.__enter__()
        return self

    def __exit__(self, *error: Any) -> Any:  # noqa: PYI036
        self.world.hook(f"__exit__ {error[0] and error[0].__name__}")
        return self.real.__exit__(*error)

    def __getattr__(self, name: str) -> Any:
        found = getattr(self.real, name)
        if not callable(found):
            self.world.hook(name)
            return found

        def called(*arguments: Any) -> Any:
            self.world.hook(name)
            value = found(*arguments)
            return _Wrapper(value, self.world) if name == "execute" else value

        return called


def _sample(path: Path) -> bytes:
    twin.ANPRDatabase(str(path))
    with closing(sqlite3.connect(path)) as connection:
        connection.executescript(ROWS)
    return path.read_bytes()


def _play_call(module: Any, seed: int, path: Path) -> Played:
    """One call in a world of its own: what it gave, what its hooks noted, what is in the file.

    Nothing where what happened is not the same in Python.
    """
    dice = random.Random(seed)
    world = World(module, path, seed)
    unseen: list[str] = []
    with ExitStack() as replaced:
        clock = Clock(datetime(2024, 5, 1, 14))
        replaced.enter_context(mock.patch.object(module, "datetime", clock.type))
        replaced.enter_context(mock.patch.object(module, "json", json))
        replaced.enter_context(
            mock.patch.object(sys, "unraisablehook", lambda given: unseen.append(str(given)))
        )
        kind = hostile_class(world, dice)
        world.store = kind.__new__(kind)
        world.store.db_path = path
        method = dice.choice([m for m in OPERATIONS if m.name not in ("_get_conn", "__init__")])
        bound = getattr(world.store, method.name)
        if dice.random() < 0.5:
            count = dice.randint(
                sum(p.default is REQUIRED for p in method.parameters), len(method.parameters)
            )
            # All by position: then nothing but the partial object holds them.
            given = [argument(p.name, dice, world) for p in method.parameters[:count]]
            call = functools.partial(bound, *given)
            del given
        else:
            named = {
                p.name: argument(p.name, dice, world)
                for p in method.parameters
                if p.default is REQUIRED or dice.random() < 0.4
            }
            call = functools.partial(bound, **named)
            del named
        del bound
        if dice.random() < 0.5:
            world.partial = call
        try:
            outcome: tuple[Any, ...] = ("returned", exactly(call()))
        except BaseException as error:
            code = getattr(error, "sqlite_errorcode", None)
            outcome = "raised", type(error).__name__, str(error), code
            error.__traceback__ = None
        for connection in world.connections:
            connection.close()  # Python's live on in cycles, and would keep their locks
        world.log.append(method.name)
        log = list(world.log)
        del call
        world.lists.clear()
        # Its classes hold it, in cycles.
        world.store = world.partial = None
    if unseen:
        raise Find(f"an error that nobody saw: {unseen}")
    file = (path.read_bytes(), clock.readings)
    return (outcome, log, file) if world.compared else None


def _play_twin(seeds: list[int], folder: Path, sample: bytes) -> list[Played]:
    """The calls on the twin, in processes of their own: Python's `sqlite3` does not survive each
    of them, and gives nothing for the one that ended its process."""
    played: list[Played] = []
    while len(played) < len(seeds):
        reading, writing = os.pipe()
        pid = os.fork()
        if pid == 0:
            os.close(reading)
            faulthandler.disable()
            with open(writing, "wb") as out:
                for seed in seeds[len(played) :]:
                    pickle.dump(_play_call(twin, seed, _new_place(folder, sample)), out)
                    out.flush()
                os._exit(0)
        os.close(writing)
        with open(reading, "rb") as told:
            try:
                while True:
                    played.append(pickle.load(told))
            except (EOFError, pickle.UnpicklingError):
                pass
        _, status = os.waitpid(pid, 0)
        code = os.waitstatus_to_exitcode(status)
        if code > 0:
            raise Find(f"the twin's process ended with {code}")
        if code < 0:
            played.append(None)
    return played


def _new_place(folder: Path, sample: bytes) -> Path:
    """The same path each time: it is part of what an error may say."""
    place = folder / "place"
    shutil.rmtree(place, ignore_errors=True)
    place.mkdir()
    (place / "anpr.db").write_bytes(sample)
    return place / "anpr.db"


def play(seed: int, folder: Path) -> Counter[str]:
    dice = random.Random(seed)
    sample = _sample(folder / "sample.db")
    figures: Counter[str] = Counter()
    seeds = [dice.randrange(2**32) for _ in range(CALLS)]
    for number, expected in enumerate(_play_twin(seeds, folder, sample)):
        played = _play_call(native, seeds[number], _new_place(folder, sample))
        figures["calls"] += 1
        if played is None or expected is None or LOCKED in repr((played, expected)):
            continue
        (ours, our_log, our_file), (theirs, their_log, their_file) = played, expected
        if our_log != their_log:
            place_of = next(
                (i for i, (a, b) in enumerate(zip(our_log, their_log, strict=False)) if a != b),
                min(len(our_log), len(their_log)),
            )
            raise Find(
                f"call {number} ({our_log[-1]}): hooks part at {place_of}:"
                f" store {our_log[max(0, place_of - 4) : place_of + 4]},"
                f" Python {their_log[max(0, place_of - 4) : place_of + 4]}; {ours} and {theirs}"
            )
        if ours != theirs:
            raise Find(f"call {number} {our_log}: store {ours}, Python {theirs}")
        if our_file != their_file:
            raise Find(f"call {number} {our_log}: the files differ")
        figures["hooks"] += len(our_log) - 1
        figures["errors" if ours[0] == "raised" else "results"] += 1
    gc.collect()
    return figures
