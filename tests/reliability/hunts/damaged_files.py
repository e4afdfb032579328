"""A valid file damaged at random: every operation ends in a result or an error, as in Python.

Bytes and pages are changed, files cut, journals and logs left over or broken. The twin runs the
same operations on a copy: results, errors and the files afterwards are the same. A crash ends this
process, and whoever started it knows the seed.
"""

from __future__ import annotations

import random
import shutil
import sqlite3
from collections import Counter
from collections.abc import Callable
from contextlib import ExitStack, closing
from datetime import datetime
from pathlib import Path
from typing import Any
from unittest import mock

from zentrope_anpr import zentrope_anpr_server_db as native

from reliability.hunts.calls import CALLS
from reliability.hunts.find import Find
from support import database, twin
from support.clock import Clock

VARIANTS = 30
LARGEST = 8 * 2**20  # bytes that are compared
SUFFIXES = ("", "-journal", "-wal")

# Pieces of the file's own texts, and others of their length.
WORDS = (
    (b"TEXT", b"BLOB"),
    (b"TEXT", b"REAL"),
    (b"INTEGER", b"NUMERIC"),
    (b"timestamp", b"timestomp"),
    (b"plates", b"plates\x00"[:6]),
    (b"plates", b"PLATES"),
    (b"plates", b"plat\xffs"),
    (b"is_read", b"is_ready"[:7]),
    (b"num_plates", b"sum_plates"),
    (b"CREATE", b"DELETE"),
    (b"TABLE", b"INDEX"),
    (b"alerts", b"alertz"),
    (b"2001", b"\xff\xfe01"),
    (b'["AB', b'["\xc3"'),
)


def _insert_rows(connection: sqlite3.Connection, dice: random.Random, count: int) -> None:
    for _ in range(count):
        text = dice.choice(["AB123", "", "Š" * 9, "X" * dice.choice([50, 3000])])
        connection.execute(
            "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes,"
            " processing_time, success, mmc_data) VALUES (?, 1, ?, '[0.9]', '[[1, 2]]', 0.5, 1, ?)",
            (f"2001-02-03T04:05:{dice.randrange(60):02}", f'["{text}"]', '{"mmc_make": "VW"}'),
        )
        connection.execute(
            "INSERT INTO watchlist (plate, label, created_at) VALUES (?, 'stolen', '2001-01-01')",
            (text[:9],),
        )
        connection.execute(
            "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence,"
            " is_read) VALUES ('2001-02-03', ?, 'x', ?, 0.5, 0)",
            (text[:20], dice.randint(1, 9)),
        )


def make_files(path: Path, dice: random.Random) -> dict[str, bytes]:
    """A valid file of some layout and, maybe, what a process that died left beside it."""
    for suffix in (*SUFFIXES, "-shm"):
        Path(f"{path}{suffix}").unlink(missing_ok=True)
    with closing(sqlite3.connect(path, isolation_level=None)) as connection:
        connection.execute(f"PRAGMA page_size = {dice.choice([512, 1024, 4096, 4096, 65536])}")
        connection.execute(f"PRAGMA auto_vacuum = {dice.randrange(3)}")
        connection.execute(f"PRAGMA encoding = '{dice.choice(['UTF-8', 'UTF-8', 'UTF-16le'])}'")
        connection.execute("PRAGMA cache_size = 5")
        connection.execute("CREATE TABLE other (x)")
        twin.ANPRDatabase(str(path))
        if dice.random() < 0.2:
            connection.execute("DROP INDEX idx_timestamp")
            connection.execute("ALTER TABLE detections DROP COLUMN detection_confidences")
        _insert_rows(connection, dice, dice.randint(0, 20))
        connection.execute("DELETE FROM detections WHERE id % 3 = 1")
        way = dice.randrange(4)
        if way == 1:
            connection.execute("PRAGMA journal_mode = WAL")
            connection.execute("PRAGMA wal_autocheckpoint = 0")
            _insert_rows(connection, dice, dice.randint(1, 9))
        elif way == 2:
            # Pages that do not fit into the cache are in the file already.
            connection.execute("BEGIN")
            _insert_rows(connection, dice, dice.randint(5, 30))
            connection.execute("UPDATE alerts SET plate = plate || '!'")
        return _files(path)


def _files(path: Path) -> dict[str, bytes]:
    return {
        suffix: Path(f"{path}{suffix}").read_bytes()
        for suffix in SUFFIXES
        if Path(f"{path}{suffix}").exists()
    }


def _flip(data: bytearray, dice: random.Random, start: int, end: int) -> None:
    for _ in range(dice.choice([1, 1, 2, 5, 20])):
        place = dice.randrange(start, min(end, len(data)))
        data[place] = dice.choice(
            [dice.randrange(256), 0, 1, 0x7F, 0x80, 0xFF, data[place] ^ (1 << dice.randrange(8))]
        )


def damage(data: bytearray, dice: random.Random) -> bytearray:
    page = dice.choice([512, 1024, 4096])
    pages = max(1, len(data) // page)
    one, other = dice.randrange(pages) * page, dice.randrange(pages) * page
    way = dice.randrange(12)
    if not data:
        return bytearray(dice.randbytes(dice.choice([0, 1, 100, 5000])))
    if way < 3:
        _flip(data, dice, 0, len(data))
    elif way < 5:
        _flip(data, dice, 0, 100)  # the header
    elif way < 7:
        start = max(100, one)
        if start < len(data):
            _flip(data, dice, start, start + 40)  # a page's header and its first cells
    elif way == 7:
        data[one : one + page] = data[other : other + page]
    elif way == 8:
        data[one : one + page] = dice.choice([bytes(page), dice.randbytes(page), b"\xff" * page])
    elif way == 9:
        del data[dice.choice([dice.randrange(len(data)), one, 100, 0]) :]
    elif way == 10:
        data += dice.choice([dice.randbytes(page), bytes(page), bytes(data[:page])])
    else:
        old, new = dice.choice(WORDS)
        data[:] = data.replace(old, new, dice.choice([1, -1]))
    return data


def damage_files(files: dict[str, bytes], dice: random.Random) -> dict[str, bytes]:
    found = {suffix: bytearray(data) for suffix, data in files.items()}
    for _ in range(dice.choice([1, 1, 1, 2, 4])):
        suffix = dice.choice(list(found))
        found[suffix] = damage(found[suffix], dice)
    if dice.random() < 0.1:
        found.pop("-wal", None)
    if dice.random() < 0.1:
        found.pop("-journal", None)
    if dice.random() < 0.05:
        found.setdefault("-journal", bytearray(dice.randbytes(600)))
    if dice.random() < 0.05:
        found.setdefault("-wal", bytearray(b"\x37\x7f\x06\x82" + dice.randbytes(600)))
    return {suffix: bytes(data) for suffix, data in found.items()}


class _Side:
    """One implementation and its copy of the damaged files."""

    def __init__(self, module: Any, path: Path, files: dict[str, bytes]) -> None:
        self.opened: list[Any] = []
        opened = self.opened

        class Store(module.ANPRDatabase):  # type: ignore[misc]
            def _get_conn(self) -> Any:
                connection = super()._get_conn()
                opened.append(connection)
                connection.execute("PRAGMA busy_timeout = 0")
                return connection

        self.path = path
        self.store = Store.__new__(Store)
        self.store.db_path = path
        self.replace(files)

    def outcome(self, run: Callable[[Any], Any]) -> tuple[Any, ...]:
        try:
            result = run(self.store)
        except Exception as error:
            return type(error), str(error), getattr(error, "sqlite_errorcode", None)
        finally:
            # Python's connections live on in cycles.
            for connection in self.opened:
                connection.close()
            self.opened.clear()
        return ("a store",) if hasattr(result, "db_path") else (repr(result),)

    def replace(self, files: dict[str, bytes]) -> None:
        for suffix in (*SUFFIXES, "-shm"):
            Path(f"{self.path}{suffix}").unlink(missing_ok=True)
            if suffix in files:
                Path(f"{self.path}{suffix}").write_bytes(files[suffix])

    def left(self) -> dict[str, tuple[int, bytes]]:
        """What the files hold. Journals and logs begin with random numbers: their sizes alone."""
        found = {}
        for suffix in SUFFIXES:
            file = Path(f"{self.path}{suffix}")
            if file.exists():
                # One that names a page far away is written to there, behind a large hole.
                with file.open("rb") as opened:
                    start = opened.read(LARGEST) if suffix == "" else b""
                found[suffix] = file.stat().st_size, start
        return found


def _contents(path: Path) -> Any:
    try:
        with closing(sqlite3.connect(path)) as connection:
            master = connection.execute("SELECT name, sql FROM sqlite_master").fetchall()
            return [
                (
                    name,
                    sql and database.collapse(sql),
                    connection.execute(f"SELECT * FROM {name}").fetchall(),
                )
                if sql and sql.startswith("CREATE TABLE")
                else name
                for name, sql in master
            ]
    except Exception as error:
        return type(error), str(error)


def play(seed: int, folder: Path) -> Counter[str]:
    dice = random.Random(seed)
    figures: Counter[str] = Counter()
    with ExitStack() as replaced:
        for module in (native, twin):
            clock = Clock(datetime(2024, 5, 1, 14))
            replaced.enter_context(mock.patch.object(module, "datetime", clock.type))
        files = make_files(folder / "sound.db", dice)
        for number in range(VARIANTS):
            damaged = damage_files(files, dice)
            sides = []
            for name, module in (("one", native), ("two", twin)):
                place = folder / name
                shutil.rmtree(place, ignore_errors=True)
                place.mkdir()
                sides.append(_Side(module, place / "anpr.db", damaged))
            labels = dice.choices(list(CALLS), k=dice.randint(1, 6))
            for label in labels:
                ours, theirs = (side.outcome(CALLS[label]) for side in sides)
                left: list[Any] = [side.left() for side in sides]
                if left[0] != left[1] and label == "open":
                    # The statements that make a table are not spaced alike.
                    left = [_contents(side.path) for side in sides]
                    sides[1].replace(_files(sides[0].path))
                if ours != theirs or left[0] != left[1]:
                    raise Find(
                        f"variant {number}, {labels}, in {label!r}: the store gave {ours}, Python"
                        f" gave {theirs}; the files are"
                        f" {'alike' if left[0] == left[1] else 'different'}"
                    )
                figures["errors" if len(ours) == 3 else "results"] += 1
            figures["damaged files"] += 1
    return figures
