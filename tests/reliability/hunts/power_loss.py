"""The power fails at every step of random operations.

Opened again, the file is sound and holds every acknowledged operation; the one that was running is
there as a whole or not at all. SQLite's default does not sync the directory after it has removed
the journal that ends a transaction, so where names of files may come back, it may lose the
transaction acknowledged last (never more, and nothing is damaged); `synchronous = EXTRA`, a journal
that is kept or emptied, and a write-ahead log lose nothing.
"""

from __future__ import annotations

import random
import sqlite3
from collections import Counter
from collections.abc import Callable
from contextlib import closing
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from reliability.hunts import power_disk
from reliability.hunts.find import Find

State = tuple[Any, ...]


@dataclass(frozen=True)
class Setting:
    """What an override of `_get_conn` sets on each connection, and what it may cost."""

    name: str
    statements: tuple[str, ...] = ()
    may_lose_the_last: bool = False  # where the names of files may come back
    held_open: bool = False  # by another connection: the log is not emptied between operations


SETTINGS = (
    Setting("as it comes", may_lose_the_last=True),
    Setting("small cache", ("PRAGMA cache_size = 3",), may_lose_the_last=True),
    Setting("extra", ("PRAGMA synchronous = EXTRA",)),
    Setting("emptied journal", ("PRAGMA journal_mode = TRUNCATE",)),
    Setting("kept journal", ("PRAGMA journal_mode = PERSIST",)),
    Setting("log", ("PRAGMA journal_mode = WAL",)),
    Setting("log held open", ("PRAGMA journal_mode = WAL",), held_open=True),
    Setting("short log", ("PRAGMA journal_mode = WAL", "PRAGMA wal_autocheckpoint = 2")),
)

OLD_LAYOUT = """
CREATE TABLE detections (
    id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp TEXT NOT NULL, num_plates INTEGER DEFAULT 0,
    plates TEXT, confidences TEXT, bboxes TEXT, processing_time REAL, detector_time REAL,
    ocr_time REAL, image_path TEXT, thumbnail_path TEXT, success INTEGER DEFAULT 1);
CREATE TABLE watchlist (
    id INTEGER PRIMARY KEY AUTOINCREMENT, plate TEXT NOT NULL, label TEXT DEFAULT '',
    created_at TEXT NOT NULL);
INSERT INTO detections (timestamp, plates) VALUES ('2001-02-03T04:05:06', '["AB123"]');
INSERT INTO watchlist (plate, created_at) VALUES ('AB123', '2001-02-03T04:05:06');
"""


def store_class(setting: Setting) -> type[ANPRDatabase]:
    class Store(ANPRDatabase):
        def _get_conn(self) -> Any:
            connection = super()._get_conn()
            for statement in setting.statements:
                connection.execute(statement)
            return connection

    return Store


def _some_text(dice: random.Random) -> str:
    return dice.choice("ABCXYZ") * dice.choice([1, 7, 40, 900, 5000])


def _some_ids(dice: random.Random) -> list[int]:
    return dice.sample(range(1, 16), dice.randint(1, 9))


def _record(store: Any, dice: random.Random) -> Any:
    plates = [_some_text(dice) for _ in range(dice.randint(0, 3))]
    boxes = [[1, 2, 3, 4]] * dice.choice([1, 3, 700])
    return store.add_detection(plates, [0.5] * len(plates), boxes, 0.25, 0.125, 0.5)


WRITING: dict[str, Callable[[Any, random.Random], Any]] = {
    "add_detection": _record,
    "update_image_paths": lambda store, dice: store.update_image_paths(
        dice.randint(1, 15), _some_text(dice), _some_text(dice)
    ),
    "update_mmc_data": lambda store, dice: store.update_mmc_data(
        dice.randint(1, 15), {"mmc_make": _some_text(dice)}
    ),
    "delete_detection": lambda store, dice: store.delete_detection(dice.randint(1, 15)),
    "delete_detections": lambda store, dice: store.delete_detections(_some_ids(dice)),
    "cleanup_old": lambda store, dice: store.cleanup_old(dice.randint(0, 12)),
    "add_watchlist": lambda store, dice: store.add_watchlist(_some_text(dice), _some_text(dice)),
    "remove_watchlist": lambda store, dice: store.remove_watchlist(dice.randint(1, 6)),
    "add_alert": lambda store, dice: store.add_alert(
        _some_text(dice), "label", dice.randint(1, 15), 0.5
    ),
    "mark_alerts_read": lambda store, _: store.mark_alerts_read(),
}


def _fill(store: Any, dice: random.Random) -> None:
    for _ in range(dice.randint(6, 12)):
        _record(store, dice)
    for number in range(4):
        store.add_watchlist(f"AB-{number}", _some_text(dice))
        store.add_alert(f"AB{number}", "label", number, 0.5)


def _state(store: Any) -> State:
    """All rows, each with its rowid; the file must be sound."""
    connection = store._get_conn()
    try:
        (problem,) = connection.execute("PRAGMA integrity_check").fetchone()
        if problem != "ok":
            raise Find(f"integrity_check: {problem}")
        return tuple(
            tuple(tuple(row) for row in connection.execute(f"SELECT rowid, * FROM {table}"))
            for table in ("detections", "watchlist", "alerts", "sqlite_sequence")
        )
    finally:
        connection.close()


class _Course:
    """A recorded course of operations: after which steps what was acknowledged, and what held."""

    def __init__(self, store: Any, held_open: bool) -> None:
        self.store = store
        self.other = store._get_conn() if held_open else None
        if self.other is not None:
            self.other.execute("SELECT * FROM detections").fetchone()
        self.names: list[str] = []
        self.acknowledged: list[int] = []
        self.states: list[State] = [_state(store)]
        power_disk.record(0)

    def end(self) -> None:
        if self.other is not None:
            self.other.close()
        power_disk.record(-1)

    def run(self, name: str, dice: random.Random) -> None:
        WRITING[name](self.store, dice)
        self.names.append(name)
        self.acknowledged.append(power_disk.steps(0))
        self.states.append(_state(self.store))

    def allowed(self, steps: int, may_lose_the_last: bool) -> list[State]:
        """The states in which a power loss after so many steps may leave the file."""
        done = sum(1 for moment in self.acknowledged if moment <= steps)
        first = done
        if may_lose_the_last:
            # One that changed nothing wrote no transaction that could be lost.
            while first > 0 and self.states[first - 1] == self.states[done]:
                first -= 1
            first = max(0, first - 1)
        return self.states[first : done + 2]


def _check(course: _Course, setting: Setting, steps: int, seed: int, vanish: bool) -> None:
    """Looks at what one power loss left."""
    power_disk.fail(0, steps, seed, vanish)
    again = random.Random(seed).randrange(10)
    if again < 2:
        power_disk.record(1)
    found = _state(course.store)
    allowed = course.allowed(steps, vanish and setting.may_lose_the_last)
    if found not in allowed:
        known = [number for number, state in enumerate(course.states) if state == found]
        raise Find(
            f"{len(allowed)} states are allowed; the file holds that after operation "
            f"{known or '(none: a part of one)'}"
        )
    if again < 2:
        # It fails once more, while the first loss is being made good.
        power_disk.fail(1, random.Random(seed).randint(0, power_disk.steps(1)), seed, vanish)
        if _state(course.store) != found:
            raise Find("a second loss during the recovery from the first changed what was there")
    elif again == 2:
        new_id = course.store.add_detection(["NEXT"], [0.5], [[1]], 0.1, 0.2, 0.3)
        if course.store.get_detection(new_id)["plates"] != ["NEXT"]:
            raise Find("the next operation's row is not there")


def lose_power(
    folder: Path, setting: Setting, names: list[str], seed: int, losses_per_step: int
) -> Counter[str]:
    """Runs the operations once and then loses the power after each step, in several ways."""
    power_disk.install()
    power_disk.clear()
    dice = random.Random(seed)
    store = store_class(setting)(str(folder / "anpr.db"))
    _fill(store, dice)
    course = _Course(store, setting.held_open)
    for name in names:
        course.run(name, dice)
    course.end()
    figures: Counter[str] = Counter()
    for steps in range(power_disk.steps(0) + 1):
        for number in range(losses_per_step):
            vanish = number % 2 == 1
            loss = dice.randrange(2**32)
            try:
                _check(course, setting, steps, loss, vanish)
            except Exception as error:
                done = sum(1 for moment in course.acknowledged if moment <= steps)
                raise Find(
                    f"setting {setting.name!r}, operations {names}, {done} acknowledged, power loss"
                    f" {loss} after step {steps} of {power_disk.steps(0)}, names of files"
                    f" {'may vanish' if vanish else 'are safe'}: {type(error).__name__}: {error}"
                ) from error
            figures["power losses"] += 1
    return figures


def lose_power_while_opening(
    folder: Path, setting: Setting, seed: int, losses_per_step: int
) -> Counter[str]:
    """The same for the constructor, on a new file or one of an older layout: each of its steps is a
    transaction of its own, and the next construction goes on from there."""
    power_disk.install()
    power_disk.clear()
    dice = random.Random(seed)
    path = str(folder / "anpr.db")
    kind = store_class(setting)
    older = dice.random() < 0.5
    if older:
        with closing(sqlite3.connect(path)) as connection:
            connection.executescript(OLD_LAYOUT)
    power_disk.record(0)
    whole = _state(kind(path))
    names = _names(kind(path))
    figures: Counter[str] = Counter()
    for steps in range(power_disk.steps(0) + 1):
        for number in range(losses_per_step):
            loss = dice.randrange(2**32)
            power_disk.fail(0, steps, loss, number % 2 == 1)
            try:
                store = kind(path)
                if _names(store) != names:
                    raise Find("another layout than without the loss")
                if _state(store) != whole:
                    raise Find("other rows than without the loss")
            except Exception as error:
                raise Find(
                    f"setting {setting.name!r}, opening {'an older' if older else 'a new'} file,"
                    f" power loss {loss} after step {steps}, names of files"
                    f" {'may vanish' if number % 2 else 'are safe'}:"
                    f" {type(error).__name__}: {error}"
                ) from error
            figures["power losses"] += 1
    return figures


def _names(store: Any) -> list[Any]:
    connection = store._get_conn()
    try:
        found = connection.execute("SELECT name FROM sqlite_master ORDER BY name").fetchall()
        columns = [
            sorted(row[1] for row in connection.execute(f"PRAGMA table_info({name})"))
            for (name,) in found
        ]
        return [[tuple(row) for row in found], columns]
    finally:
        connection.close()


def play(seed: int, folder: Path) -> Counter[str]:
    dice = random.Random(seed)
    setting = dice.choice(SETTINGS)
    if dice.random() < 0.1:
        return lose_power_while_opening(folder, setting, seed, 8)
    names = dice.choices(list(WRITING), k=dice.randint(1, 8))
    return lose_power(folder, setting, names, seed, 8)
