"""Objects that stand in for a connection, a row or an argument, and write down what is asked of
them.

A log is a list of steps: ("_get_conn",), ("enter",), ("execute", statement, *parameters given),
("fetchone",), ("commit",), ("exit", error type) and so on; `steps`, `statements` and `executed`
read it. `at` says what else happens at a step: {"commit": error} raises the error there, {"commit":
function} calls the function first, after the step was written down.
"""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping
from typing import Any

from support.answering import answering
from support.database import collapse

Log = list[tuple[Any, ...]]
At = Mapping[str, "BaseException | Callable[[], object]"]


def steps(log: Log) -> list[str]:
    return [entry[0] for entry in log]


def statements(log: Log) -> list[str]:
    return [entry[1] for entry in log if entry[0] == "execute"]


def executed(log: Log) -> tuple[Any, ...]:
    """The one execute of the log: its statement and what was given with it."""
    (entry,) = [entry for entry in log if entry[0] == "execute"]
    return entry[1:]


class _Steps:
    """Writes each step down, then lets happen what `at` says of it."""

    def __init__(self, log: Log | None = None, at: At | None = None) -> None:
        self._log: Log = [] if log is None else log
        self._at = dict(at or {})

    def _step(self, name: str, *more: Any) -> None:
        self._log.append((name, *more))
        self._happens(name)

    def _happens(self, name: str) -> None:
        happens = self._at.get(name)
        if isinstance(happens, BaseException):
            raise happens
        if happens is not None:
            happens()


class FakeConnection(_Steps):
    """Answers every statement with the same rows, row id and count; there is no database."""

    def __init__(
        self,
        rows: Iterable[Any] = (),
        *,
        lastrowid: Any = 1,
        rowcount: Any = 1,
        log: Log | None = None,
        at: At | None = None,
    ) -> None:
        super().__init__(log, at)
        self.rows = rows
        self._lastrowid = lastrowid
        self._rowcount = rowcount

    def __enter__(self) -> Any:
        self._step("enter")
        return self

    def __exit__(self, error_type: object, error: object, traceback: object) -> Any:
        self._step("exit", error_type)

    def execute(self, statement: str, *parameters: Any) -> Any:
        self._step("execute", collapse(statement), *parameters)
        return self  # its own cursor

    def fetchone(self) -> Any:
        self._step("fetchone")
        return next(iter(self.rows), None)

    def fetchall(self) -> Any:
        self._step("fetchall")
        return self.rows

    @property
    def lastrowid(self) -> Any:
        self._step("lastrowid")
        return self._lastrowid

    @property
    def rowcount(self) -> Any:
        self._step("rowcount")
        return self._rowcount

    def commit(self) -> None:
        self._step("commit")


class RecordingCursor(_Steps):
    def __init__(self, cursor: Any, log: Log | None = None, at: At | None = None) -> None:
        super().__init__(log, at)
        self._cursor = cursor

    def fetchone(self) -> Any:
        self._step("fetchone")
        return self._cursor.fetchone()

    def fetchall(self) -> Any:
        self._step("fetchall")
        return self._cursor.fetchall()

    @property
    def lastrowid(self) -> Any:
        self._step("lastrowid")
        return self._cursor.lastrowid

    @property
    def rowcount(self) -> Any:
        self._step("rowcount")
        return self._cursor.rowcount


class RecordingConnection(_Steps):
    """A recorder before a real connection. It has nothing but what operations may use, so it also
    shows that they use nothing else.

    `before_execute` is called with each statement, collapsed, before it runs. `swallows`: leaving
    returns True. An error `at` "exit" is raised after the connection was left.
    """

    def __init__(
        self,
        connection: Any,
        log: Log | None = None,
        before_execute: Callable[[str], object] | None = None,
        *,
        at: At | None = None,
        swallows: bool = False,
    ) -> None:
        super().__init__(log, at)
        self._connection = connection
        self._before_execute = before_execute
        self._swallows = swallows

    def __enter__(self) -> Any:
        self._step("enter")
        self._connection.__enter__()
        return self

    def __exit__(self, error_type: object, error: object, traceback: object) -> Any:
        self._log.append(("exit", error_type))
        returned = self._connection.__exit__(error_type, error, traceback)
        self._happens("exit")
        return self._swallows or returned

    def execute(self, statement: str, *parameters: Any) -> Any:
        self._step("execute", collapse(statement), *parameters)
        if self._before_execute is not None:
            self._before_execute(collapse(statement))
        cursor = self._connection.execute(statement, *parameters)
        return RecordingCursor(cursor, self._log, self._at)

    def commit(self) -> None:
        self._step("commit")
        self._connection.commit()


def connecting_class(store_class: Any, make: Callable[[Any], Any]) -> Any:
    """A subclass whose connections, the constructor's too, are what `make` makes of its own."""

    class Connecting(store_class):  # type: ignore[misc]
        def _get_conn(self) -> Any:
            return make(super()._get_conn())

    return Connecting


def impatient_class(store_class: Any) -> Any:
    """A subclass that does not wait for locks."""

    def no_waiting(connection: Any) -> Any:
        connection.execute("PRAGMA busy_timeout = 0")
        return connection

    return connecting_class(store_class, no_waiting)


def recording_class(
    store_class: Any, log: Log, before_execute: Callable[[str], object] | None = None
) -> Any:
    """The store with a recorder before each of its connections."""

    class RecordedStore(store_class):  # type: ignore[misc]
        def _get_conn(self) -> Any:
            log.append(("_get_conn",))
            return RecordingConnection(super()._get_conn(), log, before_execute)

    return RecordedStore


def give(store: Any, connection: Any) -> Any:
    """From now on the store's connection is this object, whatever it is; the object."""
    store._get_conn = lambda: connection
    return connection


def wrap_connections(store: Any, wrap: Callable[[Any], Any]) -> None:
    """From now on the store's connections are what `wrap` makes of those that it opens."""
    opened = store._get_conn
    store._get_conn = lambda: wrap(opened())


def keep_connections(store: Any) -> list[Any]:
    """The connections that the store will have opened, in order, each kept from being dropped."""
    kept: list[Any] = []

    def keep(connection: Any) -> Any:
        kept.append(connection)
        return connection

    wrap_connections(store, keep)
    return kept


class FakeRow:
    """A row that is read by name only; each use is a step ("row", name of the row)."""

    def __init__(self, values: Mapping[str, Any], log: Log, name: Any = None) -> None:
        self._values = values
        self._log = log
        self._name = name

    def keys(self) -> Any:
        self._log.append(("row", self._name))
        return list(self._values)

    def __getitem__(self, key: str) -> Any:
        self._log.append(("item", key))
        return self._values[key]


class Undecided:
    """Cannot be tested for truth, and is asked for nothing else."""

    def __init__(self, error: BaseException | None = None) -> None:
        self._error = error or ArithmeticError("undecided")

    def __bool__(self) -> bool:
        raise self._error.with_traceback(None)  # it may be raised again and again


class Truth:
    """True or false as it is told; each test is a step (name,)."""

    def __init__(self, value: bool, log: Log, name: str = "truth") -> None:
        self._value = value
        self._log = log
        self._name = name

    def __bool__(self) -> bool:
        self._log.append((self._name,))
        return self._value


class Text(str):
    """A subclass of text without methods of its own."""

    __slots__ = ()


def text_answering(content: str, **methods: Any) -> Any:
    """A text of a class whose named methods give this value, raise this error, or are this
    function (called with the text first)."""
    return answering(str, content, **methods)
