"""Values as they look to a caller who minds types and the order of keys."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any


def exactly(value: Any) -> Any:
    """A form that is equal only for the same types, the same keys in order, the same numbers."""
    kind = type(value).__name__
    if isinstance(value, dict):
        return kind, [(exactly(k), exactly(v)) for k, v in value.items()]
    if isinstance(value, (list, tuple)):
        return kind, [exactly(item) for item in value]
    return kind, repr(value)  # tells nan, -0.0 and the longest floats apart, too


def error_of(action: Callable[..., Any], *arguments: Any, **named: Any) -> BaseException:
    """The error that the call ends with; it must end with one."""
    try:
        action(*arguments, **named)
    except BaseException as error:  # whatever it is, it is what the test is about
        return error
    raise AssertionError("no error")


def type_and_text(error: BaseException) -> tuple[type, str]:
    return type(error), str(error)
