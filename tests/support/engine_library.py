"""The SQLite library of this process, by its C interface: for what nothing else offers."""

from __future__ import annotations

import ctypes
import os
from typing import Any

from zentrope_anpr import zentrope_anpr_server_db as native


class Vfs(ctypes.Structure):
    """The head of SQLite's `sqlite3_vfs`."""


Vfs._fields_ = [
    ("version", ctypes.c_int),
    ("file_size", ctypes.c_int),
    ("longest_path", ctypes.c_int),
    ("next", ctypes.POINTER(Vfs)),
    ("name", ctypes.c_char_p),
]


def engine_of(library: str) -> Any:
    """The engine that a loaded library is linked to: its own symbols, then its dependencies'."""
    engine = ctypes.CDLL(library)
    engine.sqlite3_vfs_find.restype = ctypes.POINTER(Vfs)
    engine.sqlite3_vfs_find.argtypes = [ctypes.c_char_p]
    engine.sqlite3_vfs_register.argtypes = [ctypes.POINTER(Vfs), ctypes.c_int]
    engine.sqlite3_memory_used.restype = ctypes.c_longlong
    engine.sqlite3_libversion.restype = ctypes.c_char_p
    return engine


def engine() -> Any:
    return engine_of(native.__file__)


def vfs_names() -> list[str]:
    """The registered file systems, the default one first."""
    names = []
    vfs = engine().sqlite3_vfs_find(None)
    while vfs:
        names.append(vfs.contents.name.decode())
        vfs = vfs.contents.next
    return names


def make_default(name: str) -> None:
    library = engine()
    vfs = library.sqlite3_vfs_find(name.encode())
    assert vfs, name
    assert library.sqlite3_vfs_register(vfs, 1) == 0


def memory_used() -> int:
    return int(engine().sqlite3_memory_used())


def loaded_engines() -> list[str]:
    """The files of this process that hold a copy of SQLite, by their names."""
    with open("/proc/self/maps") as maps:
        files = {line.split(maxsplit=5)[5].strip() for line in maps if line.count("/")}
    return sorted(file for file in files if "libsqlite3" in os.path.basename(file))
