"""One implementation of the store with its own file and clock, to be compared with another."""

from __future__ import annotations

from collections.abc import Callable
from contextlib import AbstractContextManager
from datetime import datetime, timedelta
from pathlib import Path
from types import ModuleType
from typing import Any
from unittest import mock

from support import database
from support.clock import Clock
from support.values import exactly

Outcome = tuple[Any, ...]


class Side:
    def __init__(
        self, module: ModuleType, path: Path, moment: datetime, step: timedelta = timedelta(0)
    ):
        self.path = path
        self.clock = Clock(moment, step)
        self._module = module
        self._store: Any = None

    def clock_replaced(self) -> AbstractContextManager[Any]:
        return mock.patch.object(self._module, "datetime", self.clock.type)

    def open(self) -> None:
        self._store = self._module.ANPRDatabase(self.path)

    def outcome(self, operation: str, *arguments: Any, **named: Any) -> tuple[Outcome, Any]:
        """What the caller sees of the call, in a form to compare, and the result itself."""
        return self.outcome_of(lambda: getattr(self._store, operation)(*arguments, **named))

    def outcome_of(self, action: Callable[[], Any]) -> tuple[Outcome, Any]:
        try:
            result = action()
        except Exception as error:
            code = getattr(error, "sqlite_errorcode", None)
            return ("raised", type(error), str(error), code), None
        return ("returned", exactly(result)), result

    def contents(self) -> Any:
        return exactly(database.contents(self.path))
