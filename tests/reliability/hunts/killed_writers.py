"""Writing processes are killed in the middle, again and again, beside a reader and a trimming one.

Each writer notes which rows were acknowledged, in a file that outlives it. What was acknowledged is
there, unless it was trimmed or deleted; rows are whole; an operation on several rows was done as a
whole or not at all; the file stays sound.
"""

from __future__ import annotations

import os
import random
import signal
import sqlite3
import time
import traceback
from collections import Counter
from collections.abc import Callable
from contextlib import closing
from datetime import datetime
from pathlib import Path
from typing import Any

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from reliability.hunts.find import Find

KILLS = 40
WRITERS = 2
KEPT = 60  # detections that the trimming process leaves

Words = list[list[str]]


class _Store(ANPRDatabase):
    def _get_conn(self) -> Any:
        connection = super()._get_conn()
        connection.execute("PRAGMA busy_timeout = 120000")  # milliseconds: others may be busy
        return connection


# What the processes do until they are killed. Words go out only after the call has returned.


def say(*words: object) -> None:
    os.write(1, (" ".join(map(str, words)) + "\n").encode())


def write(path: Path, dice: random.Random, trimmed: bool) -> None:
    store = _Store(str(path))
    say("ready")
    while True:
        # Rows that are trimmed and rows that are deleted could not be told apart.
        way = dice.randrange(5 if trimmed else 6)
        before = datetime.now().isoformat()
        if way < 2:
            plates = ["W"] * dice.choice([1, 3, 400])
            new = store.add_detection(plates, [0.5] * len(plates), [[1]], 0.1, 0.2, 0.3)
            say("detection", before, new)
        elif way == 2:
            say("watched", store.add_watchlist("W" * dice.choice([1, 9, 3000]), "label"))
        elif way == 3:
            say("alert", store.add_alert("W", "", 1, 0.5))
        elif way == 4:
            new = store.add_detection([], [], [], 0.1, 0.2, 0.3)
            text = "m" * dice.choice([1, 5000])
            store.update_mmc_data(new, {"a": text, "b": text})
            store.update_image_paths(new, text, text)
            say("updated", before, new, len(text))
        else:
            group = [store.add_detection([], [], [], 1, 2, 3) for _ in range(5)]
            say("group", before, *group)
            store.delete_detections(group)
            say("deleted", before, *group)


def read(path: Path, dice: random.Random, trimmed: bool) -> None:
    store = _Store(str(path))
    while True:
        for record in store.get_history(50):
            attributes = record["mmc_data"] or {"a": "", "b": ""}
            if (
                len(record["plates"]) != record["num_plates"]
                or attributes["a"] != attributes["b"]
                or record["image_path"] != record["thumbnail_path"]
            ):
                say("torn", record["id"])
        store.get_statistics()
        say("read", len(store.get_alerts()))


def trim(path: Path, dice: random.Random, trimmed: bool) -> None:
    store = _Store(str(path))
    while True:
        if trimmed:
            store.cleanup_old(KEPT)
        say("trimmed")
        store.mark_alerts_read()
        time.sleep(dice.random() * 0.02)


class _Process:
    """One of them, with its words in a file: what was written there is not lost with it."""

    def __init__(self, folder: Path, name: str, program: Callable[[], None]) -> None:
        self.name = name
        self.said = folder / f"{name}.said"
        self.errors = folder / f"{name}.errors"
        flags = os.O_WRONLY | os.O_CREAT | os.O_APPEND
        out, errors = os.open(self.said, flags), os.open(self.errors, flags)
        self.pid = os.fork()
        if self.pid == 0:
            os.dup2(out, 1)
            os.dup2(errors, 2)
            try:
                program()
            except BaseException:
                os.write(2, traceback.format_exc().encode())
            finally:
                os._exit(1)
        os.close(out)
        os.close(errors)

    def words(self) -> Words:
        # The last line may have been cut off with its writer.
        return [line.split() for line in self.said.read_text().split("\n")[:-1]]

    def wait_for_words(self, count: int, seconds: float) -> None:
        """Lets it work; one that stands in line for the file is killed there."""
        end = time.monotonic() + seconds
        while len(self.words()) < count and time.monotonic() < end:
            if self.errors.stat().st_size > 0:
                raise Find(f"{self.name}: {self.errors.read_text()}")
            time.sleep(0.001)

    def kill(self) -> Words:
        os.kill(self.pid, signal.SIGKILL)
        _, status = os.waitpid(self.pid, 0)
        if os.waitstatus_to_exitcode(status) != -signal.SIGKILL or self.errors.stat().st_size > 0:
            raise Find(f"{self.name} ended with {status}: {self.errors.read_text()}")
        return self.words()


def check(path: Path, words: Words, trimmed: bool) -> int:
    """Looks for all that was acknowledged; how many rows that is."""
    with closing(sqlite3.connect(path, timeout=120, isolation_level=None)) as connection:

        def rows(sql: str) -> list[Any]:
            return connection.execute(sql).fetchall()

        connection.execute("BEGIN")
        if (problem := rows("PRAGMA integrity_check")) != [("ok",)]:
            raise Find(f"integrity_check: {problem}")
        detections = {
            row: details
            for row, *details in rows("SELECT id, length(image_path), num_plates FROM detections")
        }
        times = sorted((time for (time,) in rows("SELECT timestamp FROM detections")), reverse=True)
        watched = {row for (row,) in rows("SELECT id FROM watchlist")}
        alerts = {row for (row,) in rows("SELECT id FROM alerts")}
        # Marking takes all that are there, so what is unread came after all that is read.
        if rows(
            "SELECT 1 FROM alerts WHERE is_read = 0 AND id < (SELECT max(id) FROM alerts"
            " WHERE is_read = 1)"
        ):
            raise Find("some alerts were marked as read, older ones were not")
    # Trimming leaves the newest, so it may be gone once there are so many newer ones.
    oldest_kept = times[KEPT - 1] if trimmed and len(times) >= KEPT else ""
    deleted = {line[2] for line in words if line[0] == "deleted"}
    found = 0
    for kind, *rest in words:
        if kind in ("watched", "alert"):
            if int(rest[0]) not in (watched if kind == "watched" else alerts):
                raise Find(f"acknowledged and not there: {kind} {rest}")
            found += 1
        elif kind in ("detection", "updated"):
            row = int(rest[1])
            if row not in detections and rest[0] >= oldest_kept:
                raise Find(f"acknowledged and not there: {kind} {rest}")
            if row in detections and kind == "updated" and detections[row][0] != int(rest[2]):
                raise Find(f"acknowledged {kind} {rest}, found {detections[row]}")
            found += 1
        elif kind == "group":
            there = sum(int(row) in detections for row in rest[1:])
            if rest[1] in deleted:
                if there:
                    raise Find(f"deleted and there: {there} of {rest}")
            elif there not in (0, 5):
                raise Find(f"{there} of 5 rows are left of a group: {rest}")
            found += 5
    return found


def play(seed: int, folder: Path) -> Counter[str]:
    dice = random.Random(seed)
    path = folder / "anpr.db"
    trimmed = dice.random() < 0.5
    if dice.random() < 0.5:
        with closing(sqlite3.connect(path)) as connection:
            connection.execute("PRAGMA journal_mode = WAL")
    figures: Counter[str] = Counter()
    processes: dict[str, _Process] = {}
    started = 0

    def start(role: str) -> None:
        nonlocal started
        started += 1
        work = {"reader": read, "trimmer": trim}.get(role, write)
        own_dice = random.Random(dice.randrange(2**32))
        processes[role] = _Process(
            folder, f"{role}-{started}", lambda: work(path, own_dice, trimmed)
        )

    acknowledged: Words = []
    try:
        for role in ("reader", "trimmer", *(f"writer-{number}" for number in range(WRITERS))):
            start(role)
        for _ in range(KILLS):
            # Writers most of the time.
            role = dice.choice([name for name in processes for _ in range(1 + 4 * ("w" in name))])
            processes[role].wait_for_words(dice.randint(1, 8), seconds=dice.random() * 0.1)
            time.sleep(dice.random() * 0.002)
            acknowledged += processes.pop(role).kill()
            start(role)
            figures["kills"] += 1
            if figures["kills"] % 8 == 0:
                check(path, acknowledged, trimmed)
        for role in list(processes):
            acknowledged += processes.pop(role).kill()
            figures["kills"] += 1
    finally:
        for process in processes.values():
            os.kill(process.pid, signal.SIGKILL)
            os.waitpid(process.pid, 0)
    if torn := [line for line in acknowledged if line[0] == "torn"]:
        raise Find(f"a reader saw half of an operation: {torn}")
    figures["acknowledged rows"] += check(path, acknowledged, trimmed)
    figures["reads"] += sum(line[0] == "read" for line in acknowledged)
    return figures
