"""The store over a replicated engine: the same class, with connections of libSQL underneath.

libSQL keeps SQLite's file format and adds a primary with replicas in other processes and on other
machines: reads are served from a local file, writes go to the primary. With `LIBSQL_URL` and
`LIBSQL_TOKEN` in the environment the store's file becomes a replica of that primary; without them
it is a plain local file. (`pip install libsql==0.1.11`)

libSQL brings an SQLite of its own: nothing else in the process may open the same file, neither
`ANPRDatabase` itself nor Python's `sqlite3`. The two would undo each other's file locks.
"""

from __future__ import annotations

import os
import sqlite3
import time
from collections.abc import Sequence
from types import TracebackType
from typing import Any, Self

import libsql
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

Row = dict[str, Any]

# The package is a compiled module without types.
_connect: Any = libsql.connect  # pyright: ignore[reportAttributeAccessIssue]


class ReplicatedStore(ANPRDatabase):
    """The store with connections of libSQL.

    A read may be as old as `max_age` seconds plus the way to the primary. 0 asks the primary at
    each call.
    """

    max_age = 1.0
    _synced_at = float("-inf")

    def _get_conn(self) -> Any:
        url = os.environ.get("LIBSQL_URL")
        if not url:
            return Connection(_told(_connect, str(self.db_path)))
        token = os.environ.get("LIBSQL_TOKEN", "")
        replica = _told(_connect, str(self.db_path), sync_url=url, auth_token=token)
        if time.monotonic() - self._synced_at >= self.max_age:
            _told(replica.sync)
            self._synced_at = time.monotonic()
        return Connection(replica)


class Connection:
    """What the store uses of a connection: rows by name, errors of Python's `sqlite3`."""

    def __init__(self, libsql_connection: Any) -> None:
        self._connection = libsql_connection
        self.execute("PRAGMA busy_timeout = 5000")
        self.execute("PRAGMA foreign_keys = OFF")  # alerts outlive their detections

    def execute(self, sql: str, parameters: Sequence[Any] = ()) -> Cursor:
        return Cursor(_told(self._connection.execute, sql, tuple(parameters)))

    def commit(self) -> None:
        _told(self._connection.commit)

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        if kind is None:
            self.commit()
        else:
            _told(self._connection.rollback)


class Cursor:
    """A cursor whose rows are dicts."""

    def __init__(self, libsql_cursor: Any) -> None:
        self._cursor = libsql_cursor
        self.lastrowid: int = libsql_cursor.lastrowid
        self.rowcount: int = libsql_cursor.rowcount

    def fetchone(self) -> Row | None:
        row = _told(self._cursor.fetchone)
        return None if row is None else self._named(row)

    def fetchall(self) -> list[Row]:
        return [self._named(row) for row in _told(self._cursor.fetchall)]

    def _named(self, row: Sequence[Any]) -> Row:
        return {
            column[0]: value for column, value in zip(self._cursor.description, row, strict=True)
        }


def _told(call: Any, *arguments: Any, **options: Any) -> Any:
    """Calls libSQL; its errors, all ValueError, become those that the store's users know."""
    try:
        return call(*arguments, **options)
    except ValueError as error:
        text = str(error)
        if "constraint failed" in text or "datatype mismatch" in text:
            raise sqlite3.IntegrityError(text) from error
        if text.startswith("Unsupported parameter type"):
            raise sqlite3.ProgrammingError(text) from error
        raise sqlite3.OperationalError(text) from error
