"""What the table of operations says of each method, and of each way to call it."""

from __future__ import annotations

import ast
from collections.abc import Callable
from dataclasses import dataclass, field, replace
from typing import Any

REQUIRED = object()


@dataclass(frozen=True)
class Parameter:
    name: str
    annotation: str | None = None
    default: object = REQUIRED


@dataclass(frozen=True)
class Of:
    """An argument that depends on the store."""

    value: Callable[[Any], Any]


@dataclass(frozen=True)
class Call:
    """One way to call a method; `str` of it names method and call."""

    method: str
    label: str
    arguments: tuple[Any, ...] = ()
    named: dict[str, Any] = field(default_factory=dict)
    # (statement, *what is given with it) in order
    runs: tuple[tuple[Any, ...], ...] = ()
    error: type[BaseException] | None = None  # exactly this class

    def run(self, store: Any) -> Any:
        arguments = [a.value(store) if isinstance(a, Of) else a for a in self.arguments]
        function = type(store) if self.method == "__init__" else getattr(store, self.method)
        return function(*arguments, **self.named)

    def __str__(self) -> str:
        return f"{self.method}: {self.label}"


@dataclass(frozen=True)
class Operation:
    name: str
    parameters: tuple[Parameter, ...] = ()  # after `self`
    returns: str | None = None  # the annotation
    calls: tuple[Call, ...] = ()
    refused: tuple[Call, ...] = ()
    gives: tuple[type, ...] = (type(None),)  # what the good calls return is of one of these
    steps: tuple[str, ...] = ()  # between entering and leaving the connection
    static: bool = False
    # Parameter: where the sample's statement has it, the very object that was given.
    bound: dict[str, int] = field(default_factory=dict)
    truths_before: tuple[str, ...] = ()  # parameters tested before a connection is opened, in order
    truths_inside: tuple[str, ...] = ()  # ... while it is open
    reads_clock: bool = False
    # What is returned, without a connection, when the one parameter is false.
    nothing: Any = None

    @property
    def all_parameters(self) -> tuple[Parameter, ...]:
        """The parameters with `self` among them, where the method takes the object."""
        return self.parameters if self.static else (Parameter("self"), *self.parameters)

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(p.name for p in self.parameters)

    @property
    def required(self) -> tuple[str, ...]:
        return tuple(p.name for p in self.parameters if p.default is REQUIRED)

    @property
    def defaults(self) -> tuple[object, ...] | None:
        given = tuple(p.default for p in self.parameters if p.default is not REQUIRED)
        return given or None

    @property
    def annotations(self) -> dict[str, str]:
        named = {p.name: p.annotation for p in self.parameters if p.annotation is not None}
        return named if self.returns is None else {**named, "return": self.returns}

    @property
    def connects(self) -> bool:
        return bool(self.steps)

    @property
    def writes(self) -> bool:
        return "commit" in self.steps

    @property
    def sample(self) -> Call:
        return self.calls[0]

    def named_sample(self, **changes: Any) -> dict[str, Any]:
        """The sample's arguments by name, changed as told."""
        return {**dict(zip(self.names, self.sample.arguments, strict=True)), **changes}

    def run(self, store: Any) -> Any:
        return self.sample.run(store)

    def __str__(self) -> str:
        return self.name


def good(label: str, *arguments: Any, runs: Any = (), **named: Any) -> Call:
    return Call("", label, arguments, named, runs=tuple(runs))


def bad(label: str, error: type[BaseException], *arguments: Any, **named: Any) -> Call:
    return Call("", label, arguments, named, error=error)


def _text(node: ast.expr | None) -> str | None:
    return None if node is None else ast.unparse(node)


def operation(signature: str, *calls: Call, **more: Any) -> Operation:
    """The operation with this signature, as its `def` in Python would have it."""
    (function,) = ast.parse(f"def {signature}: pass").body
    assert isinstance(function, ast.FunctionDef)
    given = function.args.args
    defaults = [ast.literal_eval(default) for default in function.args.defaults]
    parameters = [
        Parameter(each.arg, _text(each.annotation), default)
        for each, default in zip(
            given, [REQUIRED] * (len(given) - len(defaults)) + defaults, strict=True
        )
    ]
    static = given[0].arg != "self"
    calls = tuple(replace(call, method=function.name) for call in calls)
    return Operation(
        function.name,
        tuple(parameters if static else parameters[1:]),
        _text(function.returns),
        tuple(call for call in calls if call.error is None),
        tuple(call for call in calls if call.error is not None),
        static=static,
        **more,
    )
