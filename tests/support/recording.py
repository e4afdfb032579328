"""A connection that writes down what an operation asks of it.

It has nothing but what operations may use, so it also shows that they use nothing else.
"""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from support.database import collapse

Log = list[tuple[Any, ...]]


class RecordingCursor:
    def __init__(self, cursor: Any, log: Log):
        self._cursor = cursor
        self._log = log

    def fetchone(self) -> Any:
        self._log.append(("fetchone",))
        return self._cursor.fetchone()

    def fetchall(self) -> Any:
        self._log.append(("fetchall",))
        return self._cursor.fetchall()

    @property
    def lastrowid(self) -> Any:
        self._log.append(("lastrowid",))
        return self._cursor.lastrowid

    @property
    def rowcount(self) -> Any:
        self._log.append(("rowcount",))
        return self._cursor.rowcount


class RecordingConnection:
    """Logs ("execute", statement, *parameters given), ("commit",), ("exit", error type)..."""

    def __init__(
        self, connection: Any, log: Log, before_execute: Callable[[str], None] | None = None
    ):
        self._connection = connection
        self._log = log
        self._before_execute = before_execute

    def __enter__(self) -> Any:
        self._log.append(("enter",))
        self._connection.__enter__()
        return self

    def __exit__(self, error_type: object, error: object, traceback: object) -> Any:
        self._log.append(("exit", error_type))
        return self._connection.__exit__(error_type, error, traceback)

    def execute(self, statement: str, *parameters: Any) -> Any:
        self._log.append(("execute", collapse(statement), *parameters))
        if self._before_execute is not None:
            self._before_execute(collapse(statement))
        return RecordingCursor(self._connection.execute(statement, *parameters), self._log)

    def commit(self) -> None:
        self._log.append(("commit",))
        self._connection.commit()


def recording_class(
    store_class: Any, log: Log, before_execute: Callable[[str], None] | None = None
) -> Any:
    """The store with a recorder before each of its connections."""

    class RecordedStore(store_class):  # type: ignore[misc]
        def _get_conn(self) -> Any:
            log.append(("_get_conn",))
            return RecordingConnection(super()._get_conn(), log, before_execute)

    return RecordedStore


def statements(log: Log) -> list[str]:
    return [entry[1] for entry in log if entry[0] == "execute"]


def steps(log: Log) -> list[str]:
    return [entry[0] for entry in log]


def executed(log: Log) -> tuple[Any, ...]:
    """The one execute of the log: its statement and what was given with it."""
    (entry,) = [entry for entry in log if entry[0] == "execute"]
    return entry[1:]
