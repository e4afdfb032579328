"""Opening a connection raises the audit events that Python's connection raises."""

from __future__ import annotations

import pytest

from support import child

# An audit hook stays for the life of a process, so each case has one of its own.
pytestmark = pytest.mark.slow

PROGRAM = """
    import os, sqlite3, sys
    side, path, mode = sys.argv[1:]
    from support.sql_cases import open_native, open_python, NativeConnection
    open_one = open_native if side == "native" else open_python
    seen, armed = [], False

    def hook(event, given):
        if not armed or not event.startswith("sqlite3."):
            return
        seen.append((event, [
            "connection" if isinstance(value, (NativeConnection, sqlite3.Connection))
            else f"{type(value).__name__} {value!r}"
            for value in given
        ]))
        if mode == event:
            raise LookupError("refused by the hook")

    sys.addaudithook(hook)
    armed = True
    try:
        connection = open_one(path)
        connection.execute("SELECT 1").fetchall()
        connection.close()
    except (LookupError, sqlite3.Error) as error:
        seen.append((type(error).__name__, str(error)))
    armed = False
    print(seen)
    held = [os.path.realpath(f"/proc/self/fd/{name}") for name in os.listdir("/proc/self/fd")]
    if side == "native" and path in held:
        print("the file is still open")
"""


@pytest.mark.parametrize(
    ("path", "mode"),
    [
        ("x.db", "watch"),
        ("x.db", "sqlite3.connect"),
        ("x.db", "sqlite3.connect/handle"),
        (":memory:", "watch"),
        ("", "watch"),
        ("/nowhere/at/all/x.db", "watch"),
    ],
)
def test_the_events_of_opening(tmp_path, path, mode):
    path = str(tmp_path / path) if path == "x.db" else path
    ours = child.output(PROGRAM, "native", path, mode)
    (tmp_path / "x.db").unlink(missing_ok=True)
    theirs = child.output(PROGRAM, "python", path, mode)
    assert ours == theirs
    assert "sqlite3.connect" in ours


def test_every_operation_raises_the_event_with_the_path(store_module_name, tmp_path):
    output = child.output(
        """
        import importlib, sys
        seen = []
        sys.addaudithook(lambda event, given: event == "sqlite3.connect" and seen.append(given))
        store = importlib.import_module(sys.argv[1]).ANPRDatabase("anpr.db")
        seen.clear()
        for operation in __import__("support.operations").operations.CONNECTED:
            operation.run(store)
        print(set(seen), len(seen))
        """,
        store_module_name,
        cwd=tmp_path,
    )
    assert output == "{('anpr.db',)} 22\n"
