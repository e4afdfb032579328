"""Everything that can be done with a connection or a cursor, by name: a call with no surprises."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

CONNECTION_USES: dict[str, Callable[[Any], Any]] = {
    "execute": lambda c: c.execute("SELECT 1"),
    "execute with a bad argument": lambda c: c.execute(5),
    "executemany": lambda c: c.executemany("SELECT 1", []),
    "executescript": lambda c: c.executescript("SELECT 1"),
    "cursor": lambda c: c.cursor(),
    "commit": lambda c: c.commit(),
    "rollback": lambda c: c.rollback(),
    "close": lambda c: c.close(),
    "enter": lambda c: c.__enter__(),
    "exit": lambda c: c.__exit__(None, None, None),
    "exit with an error": lambda c: c.__exit__(ValueError, ValueError("x"), None),
    "in_transaction": lambda c: c.in_transaction,
    "total_changes": lambda c: c.total_changes,
    "isolation_level": lambda c: c.isolation_level,
    "set isolation_level": lambda c: setattr(c, "isolation_level", "IMMEDIATE"),
    "set isolation_level none": lambda c: setattr(c, "isolation_level", None),
    "set isolation_level badly": lambda c: setattr(c, "isolation_level", "bad"),
    "row_factory": lambda c: c.row_factory,
    "set row_factory": lambda c: setattr(c, "row_factory", None),
}
CURSOR_USES: dict[str, Callable[[Any], Any]] = {
    "cursor.execute": lambda c: c.execute("SELECT 1"),
    "cursor.executemany": lambda c: c.executemany("SELECT 1", []),
    "cursor.executescript": lambda c: c.executescript("SELECT 1"),
    "cursor.fetchone": lambda c: c.fetchone(),
    "cursor.fetchmany": lambda c: c.fetchmany(2),
    "cursor.fetchmany badly": lambda c: c.fetchmany("x"),
    "cursor.fetchall": lambda c: c.fetchall(),
    "cursor.next": lambda c: next(c),
    "cursor.iter": lambda c: iter(c) is c,
    "cursor.list": lambda c: list(c),
    "cursor.close": lambda c: c.close(),
    "cursor.description": lambda c: c.description,
    "cursor.rowcount": lambda c: c.rowcount,
    "cursor.lastrowid": lambda c: c.lastrowid,
    "cursor.arraysize": lambda c: c.arraysize,
    "cursor.set arraysize": lambda c: setattr(c, "arraysize", 3),
    "cursor.connection": lambda c: c.connection,
    "cursor.row_factory": lambda c: c.row_factory,
    "cursor.setinputsizes": lambda c: c.setinputsizes([1]),
    "cursor.setoutputsize": lambda c: c.setoutputsize(1),
}
USES = {**CONNECTION_USES, **CURSOR_USES}


def use(name: str, connection: Any, cursor: Any) -> Any:
    return USES[name](connection if name in CONNECTION_USES else cursor)
