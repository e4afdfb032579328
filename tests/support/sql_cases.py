"""The same steps on the store's connection and on one of Python's `sqlite3`, compared one by one.

A step is a function of a connection, or a verb with its arguments for a `Session`. What it gives
(value, error, warnings), and what can be seen of connection and cursors afterwards, must be alike
on both sides.
"""

from __future__ import annotations

import gc
import re
import sqlite3
import warnings
from collections.abc import Callable, Iterable, Sequence
from typing import Any

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase


def id_of(value: Any) -> str:
    """A test's name for a value, the same in every process."""
    shown = re.sub(r" object at 0x[0-9a-f]+| at 0x[0-9a-f]+", "", ascii(value))
    return f"{type(value).__name__}-{shown[:20]}"


# The first releases of 3.12 warned of numbered placeholders as if they were named ones.
WARNED_BY_MISTAKE = re.compile(r"Binding \d+ \('\?\d+'\) is a named parameter")


def open_native(path: object = ":memory:") -> Any:
    """The store's own connection, without the tables that the constructor would make."""
    store: Any = ANPRDatabase.__new__(ANPRDatabase)
    store.db_path = path
    return store._get_conn()


def open_python(path: object = ":memory:") -> sqlite3.Connection:
    connection = sqlite3.connect(str(path))
    connection.row_factory = sqlite3.Row
    return connection


_probe = open_native()
NativeConnection = type(_probe)
NativeCursor = type(_probe.execute("SELECT 1 AS one"))
NativeRow = type(_probe.execute("SELECT 1 AS one").fetchone())
_probe.close()
del _probe

_STANDARD_NAMES = [
    (f"{kind.__module__}.{kind.__qualname__}", f"sqlite3.{standard}")
    for kind, standard in (
        (NativeConnection, "Connection"),
        (NativeCursor, "Cursor"),
        (NativeRow, "Row"),
    )
]


def count_to(number: int, what: str = "max(n)") -> str:
    """A statement that takes as many steps as one likes, and needs no table."""
    steps = f"SELECT 1 UNION ALL SELECT n + 1 FROM c WHERE n < {number}"
    return f"WITH RECURSIVE c(n) AS ({steps}) SELECT {what} FROM c"


def plain_text(text: str) -> str:
    """The text with our types' names replaced by those of the standard ones."""
    for ours, standard in _STANDARD_NAMES:
        text = text.replace(ours, standard)
    return text


def describe(value: Any) -> Any:
    """The value in a form that is equal exactly when both sides gave the same."""
    if isinstance(value, (NativeRow, sqlite3.Row)):
        return "row", value.keys(), describe(tuple(value))
    if isinstance(value, (NativeCursor, sqlite3.Cursor)):
        return "cursor", describe_cursor(value)
    if isinstance(value, (NativeConnection, sqlite3.Connection)):
        return "connection"
    if isinstance(value, type):
        return "type", plain_text(f"{value.__module__}.{value.__qualname__}")
    kind = type(value)
    if kind in (list, tuple):
        return kind.__name__, [describe(item) for item in value]
    if kind is dict:
        return "dict", [(describe(key), describe(item)) for key, item in value.items()]
    if isinstance(value, BaseException):
        return describe_error(value)
    if kind in (str, bytes, int, float, bool, type(None), slice):
        return kind.__name__, repr(value)
    return kind.__qualname__


def describe_error(error: BaseException | None, depth: int = 0) -> Any:
    if error is None or depth > 3:
        return None
    hidden = error.__context__
    if hidden and hasattr(error, "sqlite_errorcode") and not hasattr(hidden, "sqlite_errorcode"):
        # Python hides an error of binding behind the code that another statement left.
        error = hidden
    return {
        "class": type(error),
        "text": plain_text(str(error)),
        "args": [
            plain_text(item) if isinstance(item, str) else describe(item) for item in error.args
        ],
        "code": getattr(error, "sqlite_errorcode", None),
        "name": getattr(error, "sqlite_errorname", None),
        "cause": describe_error(error.__cause__, depth + 1),
        "context": describe_error(error.__context__, depth + 1),
    }


def describe_cursor(cursor: Any) -> Any:
    return {
        "description": describe(cursor.description),
        "rowcount": cursor.rowcount,
        "lastrowid": describe(cursor.lastrowid),
        "arraysize": cursor.arraysize,
    }


def describe_connection(connection: Any) -> Any:
    seen: dict[str, Any] = {}
    for name in ("in_transaction", "total_changes", "isolation_level"):
        try:
            seen[name] = describe(getattr(connection, name))
        except sqlite3.Error as error:
            seen[name] = describe_error(error)
    return seen


def outcome(function: Callable[..., Any], *given: Any) -> dict[str, Any]:
    """What a call gave: its value or its error, and the warnings on the way."""
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        try:
            result: dict[str, Any] = {"value": describe(function(*given))}
        except Exception as error:
            result = {"error": describe_error(error)}
    texts = [(item.category, plain_text(str(item.message))) for item in caught]
    result["warnings"] = [pair for pair in texts if not WARNED_BY_MISTAKE.match(pair[1])]
    return result


def assert_alike(function: Callable[..., Any], *given: Any, setup: str = "") -> None:
    """Calls the function with a fresh connection of either kind; all that is seen must be alike."""
    seen = []
    for open_one in (open_native, open_python):
        connection = open_one()
        try:
            if setup:
                connection.executescript(setup)
            seen.append((outcome(function, connection, *given), describe_connection(connection)))
        finally:
            connection.close()
    assert seen[0] == seen[1]


class Session:
    """One connection or several to one database, with cursors kept in numbered places."""

    def __init__(self, connections: Sequence[Any]) -> None:
        self.connections = list(connections)
        self.cursors: dict[int, Any] = {}

    def close(self) -> None:
        self.cursors.clear()
        for connection in self.connections:
            connection.close()

    def run(self, step: tuple[Any, ...]) -> Any:
        verb, *given = step
        result = outcome(getattr(self, f"do_{verb}"), *given)
        result["connections"] = [describe_connection(connection) for connection in self.connections]
        result["cursors"] = {
            place: describe_cursor(cursor) for place, cursor in self.cursors.items()
        }
        return result

    def do_execute(self, place: int, sql: Any, *parameters: Any, on: int = 0) -> Any:
        """Runs it by the connection's short cut: a new cursor."""
        self.cursors[place] = self.connections[on].execute(sql, *parameters)
        return self.cursors[place]

    def do_execute_on(self, on: int, place: int, sql: Any, *parameters: Any) -> Any:
        return self.do_execute(place, sql, *parameters, on=on)

    def do_executemany(self, place: int, sql: Any, rows: Any) -> Any:
        self.cursors[place] = self.connections[0].executemany(sql, rows)
        return self.cursors[place]

    def do_executescript(self, place: int, sql: Any) -> Any:
        self.cursors[place] = self.connections[0].executescript(sql)
        return self.cursors[place]

    def do_cursor(self, place: int) -> Any:
        self.cursors[place] = self.connections[0].cursor()
        return self.cursors[place]

    def do_on_cursor(self, place: int, method: str, *given: Any) -> Any:
        if place not in self.cursors:
            return None
        cursor = self.cursors[place]
        value = getattr(cursor, method)(*given)
        return "the cursor itself" if value is cursor else value

    def do_next(self, place: int) -> Any:
        return next(self.cursors[place], "no more") if place in self.cursors else None

    def do_drop(self, place: int) -> Any:
        self.cursors.pop(place, None)
        gc.collect(0)

    def do_on_connection(self, on: int, method: str, *given: Any) -> Any:
        value = getattr(self.connections[on], method)(*given)
        return "the connection itself" if value is self.connections[on] else value

    def do_set(self, on: int, name: str, value: Any) -> Any:
        setattr(self.connections[on], name, value)

    def do_set_on_cursor(self, place: int, name: str, value: Any) -> Any:
        if place in self.cursors:
            setattr(self.cursors[place], name, value)


def assert_sessions_alike(
    steps: Iterable[tuple[Any, ...]], native: Session, python: Session
) -> None:
    """Runs every step on both sides and stops at the first that differs."""
    taken = []
    try:
        for step in steps:
            taken.append(step)
            ours, theirs = native.run(step), python.run(step)
            assert ours == theirs, f"after {taken!r}"
        everything = "SELECT type, name, sql FROM sqlite_master ORDER BY name"
        for on in range(len(native.connections)):
            ours = native.run(("execute_on", on, -1, everything))
            theirs = python.run(("execute_on", on, -1, everything))
            assert ours == theirs
    finally:
        native.close()
        python.close()
