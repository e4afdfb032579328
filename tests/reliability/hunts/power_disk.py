"""A disk in memory under SQLite whose power may fail at any step, from the tests' native modules.

It holds for the whole process, for the store's connections and for Python's, and for every file
that is opened after `install`. Paths need a real folder, since the store makes it; the files
themselves never come into it.
"""

from __future__ import annotations

import ctypes
import importlib.util
from functools import cache
from pathlib import Path
from typing import Any


@cache
def _library() -> Any:
    package = importlib.util.find_spec("anpr_test_modules")
    assert package is not None
    for folder in package.submodule_search_locations or ():
        file = Path(folder) / "libpower_disk.so"
        if file.exists():
            library = ctypes.CDLL(str(file))
            for name, result, *arguments in (
                ("install", ctypes.c_int),
                ("clear", None),
                ("record", None, ctypes.c_int),
                ("steps", ctypes.c_long, ctypes.c_int),
                ("fail", None, ctypes.c_int, ctypes.c_long, ctypes.c_ulonglong, ctypes.c_int),
                ("files", ctypes.c_int, ctypes.c_char_p),
                ("listen", None, ctypes.c_int),
                ("calls", ctypes.c_char_p),
            ):
                function = getattr(library, f"power_disk_{name}")
                function.restype = result
                function.argtypes = arguments
            return library
    raise FileNotFoundError("libpower_disk.so")


@cache
def install() -> None:
    code = _library().power_disk_install()
    assert code == 0, code


def clear() -> None:
    """Takes all files off the disk."""
    _library().power_disk_clear()


def record(tape: int) -> None:
    """Takes all that is on the disk as safe and notes each step from now on, on tape 0 or 1.

    -1 ends the noting.
    """
    _library().power_disk_record(tape)


def steps(tape: int) -> int:
    return int(_library().power_disk_steps(tape))


def fail(tape: int, after: int, seed: int, entries_may_vanish: bool = False) -> None:
    """The power fails after that many steps of the tape; the disk holds what it left.

    The seed says what became of writes that no sync had made safe. Names of files that were made
    or removed are safe at once, or only after a sync of the directory.
    """
    _library().power_disk_fail(tape, after, seed, entries_may_vanish)


def files(path: str | Path) -> list[str]:
    """Which of the database, its journal and its log are there."""
    found = _library().power_disk_files(str(path).encode())
    return [name for bit, name in enumerate(("database", "journal", "log")) if found >> bit & 1]


def listen(on: bool) -> None:
    """Forgets the calls heard so far; hears those that follow, or no more."""
    _library().power_disk_listen(on)


def calls() -> list[str]:
    """What SQLite asked of its files while this listened, in order."""
    text: bytes = _library().power_disk_calls()
    return text.decode().splitlines()
