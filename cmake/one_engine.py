"""Tells by its exit status whether this Python's sqlite3 module calls the SQLite library named.

What is registered with the library is called for a connection that the module opens, if both are
one copy.
"""

from __future__ import annotations

import ctypes
import sys

Entry = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p)


def main(library: str) -> str | None:
    python = f"{sys.executable} ({sys.version.split()[0]})"
    try:
        import sqlite3
    except ImportError as error:
        return f"{python} has no sqlite3 module ({error}), which the store needs."
    calls: list[int] = []

    def note(database: int, message: int, api: int) -> int:
        calls.append(database)
        return 0

    entry = Entry(note)
    ctypes.CDLL(library).sqlite3_auto_extension(entry)
    sqlite3.connect(":memory:").close()
    if calls:
        return None
    return (
        f"The sqlite3 module of {python} does not use {library}: it has a copy of SQLite "
        f"({sqlite3.sqlite_version}) of its own. Two copies in one process undo each other's file "
        "locks, and the database file can be damaged."
    )


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
