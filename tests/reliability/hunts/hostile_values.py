"""Values whose methods call back in, change or drop things, replace what is around, or raise.

What a hook does is drawn from its world's dice at that moment, so two worlds with the same dice
meet the same as long as their hooks are asked in the same order: the order is compared, too.
"""

from __future__ import annotations

import gc
import json
import random
import sqlite3
from collections.abc import Callable
from pathlib import Path
from typing import Any

from support import twin

# Each type's methods that an operation, the engine's binding or the JSON writer may come to ask.
_NUMBER = (
    "__index__", "__int__", "__float__", "__bool__", "__eq__", "__lt__", "__le__", "__gt__",
    "__ge__", "__hash__", "__str__", "__repr__", "__format__", "__conform__",
)  # fmt: skip
HOOKS: dict[type, tuple[str, ...]] = {
    str: (
        "upper", "strip", "replace", "__len__", "__bool__", "__eq__", "__hash__", "__str__",
        "__format__", "__contains__", "__iter__", "__getitem__", "__repr__", "__conform__",
    ),
    list: (
        "__len__", "__iter__", "__bool__", "__getitem__", "__eq__", "__contains__", "__repr__",
        "__conform__",
    ),
    dict: (
        "items", "keys", "values", "get", "__iter__", "__len__", "__getitem__", "__bool__",
        "__contains__", "__conform__",
    ),
    int: _NUMBER,
    float: _NUMBER,
    object: tuple(dict.fromkeys((
        *_NUMBER, "upper", "strip", "replace", "__len__", "__iter__", "__getitem__", "__contains__",
        "items", "keys", "get",
    ))),
}  # fmt: skip
ERRORS: tuple[type[BaseException], ...] = (
    ValueError, TypeError, KeyError, AttributeError, IndexError, OverflowError, MemoryError,
    RecursionError, LookupError, ArithmeticError, sqlite3.OperationalError,
    sqlite3.ProgrammingError, KeyboardInterrupt, SystemExit,
)  # fmt: skip
MOST_HOOKS = 150  # that do something, in one world


class World:
    """One store with what its hooks may reach: the lists it was called with, its connections."""

    def __init__(self, module: Any, path: Path, seed: int) -> None:
        self.module = module
        self.path = path
        self.dice = random.Random(seed)
        self.store: Any = None
        self.connections: list[Any] = []
        self.lists: list[list[Any]] = []
        self.partial: Any = None
        self.log: list[Any] = []
        self.depth = 0
        self.compared = True

    def hook(self, name: str) -> None:
        self.log.append(name)
        if self.depth > 1 or len(self.log) > MOST_HOOKS or self.dice.random() < 0.5:
            return
        self.depth += 1
        try:
            self.dice.choice(ACTIONS)(self)
        finally:
            self.depth -= 1

    def note(self, action: Callable[[], Any]) -> None:
        """Does it, and remembers what came of it."""
        try:
            self.log.append(repr(action())[:200])
        except Exception as error:
            self.log.append((type(error).__name__, str(error)))


def _read(world: World) -> None:
    calls: list[Callable[[], Any]] = [
        lambda: len(world.store.get_history(5)),
        lambda: world.store.get_detection(1)["plates"],
        world.store.get_statistics,
        lambda: world.store.search_plates("AB", min_confidence=0.5)[0]["id"],
        lambda: world.store.check_watchlist(["AB 123"]),
        lambda: world.store.get_top_plates(2),
        lambda: world.store.get_alerts_for_detections([1, 2]).keys(),
    ]
    world.note(world.dice.choice(calls))


def _write(world: World) -> None:
    calls: list[Callable[[], Any]] = [
        lambda: world.store.add_detection(["CB"], [0.5], [[1]], 1, 2, 3),
        lambda: world.store.add_watchlist("cb", ""),
        lambda: world.store.add_alert("CB", "", 1, 0.5),
        lambda: world.store.delete_detection(2),
        lambda: world.store.cleanup_old(3),
        world.store.mark_alerts_read,
        lambda: world.store.update_mmc_data(1, {"cb": 1}),
    ]
    world.note(world.dice.choice(calls))


def _raise(world: World) -> None:
    raise world.dice.choice(ERRORS)("from a hook")


def _change_list(world: World) -> None:
    if world.lists:
        changed = world.dice.choice(world.lists)
        way = world.dice.randrange(4)
        if way == 0:
            changed.clear()
        elif way == 1 and changed:
            changed.pop()
        elif len(changed) < 20:
            changed.append(world.dice.choice(["new", 7, None, [], 0.5]))


def _use_connection(world: World) -> None:
    if world.connections:
        connection = world.connections[-1]
        way = world.dice.randrange(7)
        if way == 0:
            # Python's keeps its file lock as long as a cursor of it lives, and closing it in the
            # middle of a call crashes: this process must not do it.
            world.compared = False
            if world.module is twin or not isinstance(connection, sqlite3.Connection):
                world.note(connection.close)
        elif way == 1:
            world.note(connection.commit)
        elif way == 2:
            world.note(connection.rollback)
        elif way == 3:
            world.note(lambda: connection.execute("SELECT count(*) FROM alerts").fetchall()[0][0])
        elif way == 4:
            world.note(lambda: connection.execute("DELETE FROM alerts WHERE id = 2").rowcount)
        elif way == 5:
            world.note(lambda: connection.execute("DROP TABLE IF EXISTS nothing").rowcount)
        else:
            connection.row_factory = world.dice.choice([None, sqlite3.Row, dict])


def _replace(world: World) -> None:
    """Puts something else where the operation looks: on the object, or in the module."""
    way = world.dice.randrange(5)
    if way == 0:
        original = type(world.store)._row_to_dict
        world.store._row_to_dict = lambda row: {"replaced": True, **original(row)}
    elif way == 1:
        world.store.__dict__.pop("_row_to_dict", None)
    elif way == 2:
        world.module.json = json
    elif way == 3:
        world.module.json = _OtherJson(world)
    else:
        world.store.db_path = world.store.db_path.with_name("other.db")


def _forget(world: World) -> None:
    """Drops whatever the caller still held of its arguments."""
    world.lists.clear()
    if world.partial is not None:
        world.partial.__setstate__((len, (), {}, None))
        world.partial = None


def _collect(world: World) -> None:
    gc.collect()


ACTIONS: tuple[Callable[[World], None], ...] = (
    _read, _read, _read, _write, _write, _raise, _raise, _change_list, _change_list, _change_list,
    _use_connection, _use_connection, _replace, _forget, _forget, _forget, _forget, _collect,
)  # fmt: skip


class _OtherJson:
    """Takes the place of the module `json`."""

    JSONDecodeError = json.JSONDecodeError

    def __init__(self, world: World) -> None:
        self.world = world

    def dumps(self, value: Any) -> Any:
        self.world.hook("dumps")
        return json.dumps(value)

    def loads(self, text: Any) -> Any:
        self.world.hook("loads")
        return json.loads(text)


class Dying:
    """Reads in its last moment; when that is depends on who holds it, so it leaves no note."""

    def __init__(self, world: World) -> None:
        kind = world.module.ANPRDatabase
        self.store = kind.__new__(kind)
        self.store.db_path = world.path

    def __del__(self) -> None:
        try:
            # Nothing that could meet a hook: no JSON, which somebody may have replaced.
            self.store.get_watchlist()
            self.store.check_watchlist(["AB 123"])
        except Exception:
            pass


def hostile(world: World, dice: random.Random, base: type, value: Any) -> Any:
    """An object of a class of its own, with some of its type's methods hooked."""
    names = dice.sample(HOOKS[base], k=dice.randint(1, min(6, len(HOOKS[base]))))
    if "__eq__" in names and "__hash__" not in names:
        names.append("__hash__")
    odd: dict[str, Any] = {
        name: dice.choice([None, -1, 5, "x", 2**70, []]) for name in names if dice.random() < 0.1
    }

    def method(name: str) -> Callable[..., Any]:
        def hooked(self: Any, *arguments: Any) -> Any:
            world.hook(f"{base.__name__}.{name}")
            if name in odd:
                return odd[name]
            if name == "__conform__":
                return value if isinstance(value, (int, float, str)) else None
            if name == "__bool__":
                return bool(value)
            if base is object:
                return getattr(type(value), name)(value, *arguments)
            return getattr(base, name)(self, *arguments)

        return hooked

    members: dict[str, Any] = {name: method(name) for name in names}
    if base is object:
        members.setdefault("__repr__", lambda self: "Hostile()")
    members["last_wish"] = Dying(world) if dice.random() < 0.1 else None
    kind: Any = type("Hostile", (base,), members)
    return kind() if base is object else kind(value)
