"""Opening a connection raises the audit events that Python's connection raises."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process

# An audit hook stays for the life of a process, so each case has one of its own.
PROGRAM = """
    import sqlite3, sys
    side, path, mode = sys.argv[1:]
    from support.sql_cases import open_native, open_python, plain_text, NativeConnection
    open_one = open_native if side == "native" else open_python
    seen, armed = [], False

    def hook(event, given):
        if not armed or not event.startswith("sqlite3."):
            return
        shown = []
        for value in given:
            if isinstance(value, (NativeConnection, sqlite3.Connection)):
                shown.append("connection")
            else:
                shown.append(f"{type(value).__name__} {value!r}")
        seen.append((event, shown))
        if mode == event:
            raise LookupError("refused by the hook")

    sys.addaudithook(hook)
    armed = True
    try:
        connection = open_one(path)
        connection.execute("SELECT 1").fetchall()
        connection.close()
    except LookupError as error:
        seen.append(str(error))
    except sqlite3.Error as error:
        seen.append((type(error).__name__, str(error)))
    armed = False
    print(seen)
    import os
    held = [os.path.realpath(f"/proc/self/fd/{name}") for name in os.listdir("/proc/self/fd")]
    if side == "native" and path in held:
        print("the file is still open")
"""


@pytest.mark.parametrize("mode", ["watch", "sqlite3.connect", "sqlite3.connect/handle"])
def test_the_events_of_opening_a_file(tmp_path: Path, mode: str) -> None:
    path = str(tmp_path / "x.db")
    ours = child_process.output(PROGRAM, "native", path, mode)
    Path(path).unlink(missing_ok=True)
    theirs = child_process.output(PROGRAM, "python", path, mode)
    assert ours == theirs
    assert "sqlite3.connect" in ours


@pytest.mark.parametrize("path", [":memory:", "", "/nowhere/at/all/x.db"])
def test_the_events_of_opening_what_is_no_ordinary_file(path: str) -> None:
    ours = child_process.output(PROGRAM, "native", path, "watch")
    assert ours == child_process.output(PROGRAM, "python", path, "watch")


def test_every_operation_raises_the_event_with_the_path(tmp_path: Path) -> None:
    output = child_process.output(
        """
        import sys
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        seen = []
        sys.addaudithook(lambda event, given: event == "sqlite3.connect" and seen.append(given))
        store = ANPRDatabase(sys.argv[1])
        store.add_detection(["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        store.get_history()
        store.get_detection(1)
        print(seen == [(sys.argv[1],)] * 4)
        """,
        str(tmp_path / "x.db"),
    )
    assert output == "True\n"
