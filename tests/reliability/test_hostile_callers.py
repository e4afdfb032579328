"""Arguments whose methods call back in, change other arguments, or die in the middle of a call.

What happens is what happens in the same class written in Python: both run the same hostile call.
"""

from __future__ import annotations

import re
import sqlite3
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest
from zentrope_anpr import zentrope_anpr_server_db as native

from support import database, twin
from support.fakes import impatient_class
from support.json_cases import outcome
from support.sample_file import contents, restore

# The sample's own times are of 2001.
TIME_OF_THE_TEST = re.compile(r"20[1-9]\d-\d\d-\d\dT[\d:.]+")
LISTS = (["AB123"], [0.5], [[1, 2, 3, 4]])
TIMES = (0.1, 0.2, 0.3)


class World:
    """What one hostile call sees: the store it calls back, a list it changes, and its notes."""

    def __init__(self, store: Any) -> None:
        self.store = store
        self.plates: list[Any] = ["AB123", "CD456", "EF789"]
        self.notes: list[Any] = []

    def note(self, function: Callable[[], Any]) -> None:
        try:
            value = function()
            self.notes.append(len(value) if isinstance(value, list) else value)
        except Exception as error:
            self.notes.append((type(error).__name__, str(error)))

    def call_back(self) -> None:
        """Reads, and tries to write, by calls of their own in the middle of the outer one."""
        self.note(lambda: self.store.get_history())
        self.note(lambda: self.store.get_detection(1)["plates"])
        self.note(lambda: self.store.add_detection(*LISTS, *TIMES))


class Dict(dict):
    """Acts when its items are asked for."""

    def __init__(self, action: Callable[[], object]) -> None:
        super().__init__(a=1)
        self.action = action

    def items(self) -> Any:
        self.action()
        return [("k", "v")]


def odd(method: str, answer: Any, action: Callable[[], object] = lambda: None) -> Any:
    """An object with one method, which acts and then answers."""

    def method_of(self: object, *given: object) -> Any:
        action()
        return answer

    return type("Odd", (), {method: method_of, "__repr__": lambda self: "odd"})()


class LongList(list):
    def __init__(self, held: list, action: Callable[[], object]) -> None:
        super().__init__(held)
        self.action = action

    def __len__(self) -> int:
        self.action()
        return 77

    def __iter__(self) -> Iterator[Any]:
        self.action()
        return super().__iter__()

    def __bool__(self) -> bool:
        self.action()
        return True


def refuse(*given: object) -> Any:
    raise LookupError("asked")


Float = type("Float", (float,), {"__repr__": refuse, "__float__": refuse})
Int = type("Int", (int,), {"__index__": refuse, "__eq__": refuse, "__hash__": lambda self: 1})
Text: Any = type(
    "Text", (str,), dict.fromkeys(("__eq__", "__hash__", "__bool__", "__len__"), refuse)
)


class Name(str):
    __slots__ = ()


class Dies:
    def __init__(self, action: Callable[[], object]) -> None:
        self.action = action

    def __del__(self) -> None:
        self.action()


def record(world: World, plates: Any, confidences: Any = None, **named: Any) -> Any:
    return world.store.add_detection(plates, confidences or [0.5], [[1]], *TIMES, **named)


HOSTILE: dict[str, Callable[[World], Any]] = {
    "a length that calls back": lambda w: record(w, LongList(["x"], w.call_back)),
    "a length that clears": lambda w: record(w, LongList(w.plates, w.plates.clear)),
    "a length that is not written": lambda w: record(w, odd("__len__", 3, w.call_back)),
    "a negative length": lambda w: record(w, odd("__len__", -1)),
    "a huge length": lambda w: record(w, odd("__len__", 2**70)),
    "a length that is no number": lambda w: record(w, odd("__len__", "x")),
    "a truth that calls back": lambda w: record(
        w, ["x"], success=odd("__bool__", False, w.call_back)
    ),
    "a truth that is no truth": lambda w: record(w, ["x"], success=odd("__bool__", 5)),
    "a true list that is empty": lambda w: record(
        w, ["x"], detection_confidences=LongList([], lambda: None)
    ),
    "items that call back": lambda w: record(w, [Dict(w.call_back)]),
    "items that clear the list": lambda w: record(w, changing(w, w.plates.clear)),
    "items that grow the list": lambda w: record(w, changing(w, lambda: w.plates.append("grown"))),
    "floats with methods": lambda w: record(w, ["x"], [Float(0.5), Float("nan")]),
    "ints with methods": lambda w: record(w, [Int(5), {Int(7): Int(8)}]),
    "texts with methods": lambda w: record(w, [Text("x")], image_path=Text("path")),
    "a time that conforms": lambda w: w.store.add_detection(*LISTS, conforming(2.5), 1, 2),
    "a time that calls back": lambda w: w.store.add_detection(
        *LISTS, conforming(2.5, w.call_back), 1, 2
    ),
    "an id that conforms": lambda w: w.store.get_detection(conforming(1, w.call_back)),
    "an id with methods": lambda w: w.store.get_detection(Int(2)),
    "a limit with methods": lambda w: w.store.get_history(Int(2), Int(1)),
    "a bound that calls back": lambda w: w.store.get_history(
        date_from=odd("__bool__", False, w.call_back)
    ),
    "a bound that cannot be bound": lambda w: w.store.get_history(
        date_from=odd("__bool__", True, w.call_back)
    ),
    "a bound without truth": lambda w: w.store.get_history(date_to=Text("2001")),
    "attributes that call back": lambda w: w.store.update_mmc_data(1, Dict(w.call_back)),
    "an update of an id that calls back": lambda w: w.store.update_mmc_data(
        conforming(1, w.call_back), {"a": 1}
    ),
    "a path that is dropped": lambda w: w.store.update_image_paths(1, conforming("x"), None),
    "a name that is no plain text": lambda w: w.store.get_detection(**{Name("detection_id"): 1}),
    "a record that dies": lambda w: dying(w),
    "an error that dies": lambda w: failing_and_dying(w),
}


def conforming(answer: Any, action: Callable[[], object] = lambda: None) -> Any:
    return odd("__conform__", answer, action)


def changing(world: World, action: Callable[[], object]) -> list:
    world.plates[1:1] = [Dict(action)]
    return world.plates


def converting(world: World, convert: Callable[[Any], Any]) -> Any:
    """A store on the same file that converts rows so."""
    kind: Any = type("Converting", (type(world.store),), {"_row_to_dict": staticmethod(convert)})
    store = kind.__new__(kind)
    store.db_path = world.store.db_path
    return store


def dying(world: World) -> Any:
    wish = lambda: world.note(lambda: world.store.get_detection(2)["plates"])  # noqa: E731
    return len(converting(world, lambda row: Dies(wish)).get_history())


def failing_and_dying(world: World) -> Any:
    def fail(row: Any) -> Any:
        error: Any = ValueError("from the conversion")
        error.last_wish = Dies(lambda: world.note(lambda: len(world.store.get_history())))
        raise error

    try:
        return converting(world, fail).get_history()
    except ValueError as error:
        return str(error)


def result_of(module: Any, path: Path, sample: bytes, name: str) -> tuple:
    restore(path, sample)
    # With calls inside calls, waiting for oneself would take long.
    world = World(impatient_class(module.ANPRDatabase)(path))
    given = TIME_OF_THE_TEST.sub("now", repr(outcome(HOSTILE[name], world)))
    return given, world.notes, len(world.plates), contents(path)


@pytest.mark.parametrize("name", HOSTILE)
def test_a_hostile_call_does_what_it_does_in_python(name, db_path, sample):
    ours = result_of(native, db_path, sample, name)
    assert ours == result_of(twin, db_path, sample, name)


def test_a_row_to_convert_that_calls_back(sampled):
    class Row(dict):
        def keys(self) -> Any:
            notes.append(sampled.get_history(1)[0]["id"])
            return super().keys()

    notes: list[Any] = []
    given = Row(plates="[1]", other=2)
    assert sampled._row_to_dict(given) == {"plates": [1], "other": 2}
    assert set(notes) <= {4}  # whether keys() is asked of a subclass of dict is dict's business


TRUE, FALSE = odd("__bool__", True), odd("__bool__", False)
PAIRS = [("plates", "[1]"), ("bboxes", ""), ("mmc_data", None), ("x", "[2]")]


@pytest.mark.parametrize(
    "make",
    [
        lambda: dict(PAIRS),
        lambda: PAIRS,
        lambda: iter(PAIRS),
        lambda: (pair for pair in PAIRS),
        lambda: [["plates", "[1"]],
        lambda: ["ab", "cd"],
        dict,
        list,
        lambda: "",
        lambda: "plates",
        lambda: None,
        lambda: 5,
        lambda: [("plates",)],
        lambda: [("plates", "[1]", 3)],
        lambda: [(["unhashable"], 1)],
        lambda: [5],
        lambda: {"plates": TRUE},
        lambda: {"plates": odd("__bool__", True, lambda: 1 // 0)},
        lambda: {"plates": FALSE},
        lambda: {"plates": Text("[1]")},
        lambda: {Name("plates"): "[1]"},
        lambda: {"plates": Name('["x"]')},
        lambda: {"plates": 5},
        lambda: {"plates": [1]},
        lambda: {"plates": b"[1]", "bboxes": bytearray(b"[2]"), "mmc_data": memoryview(b"[3]")},
        lambda: {b"plates": "[1]", 5: 6, None: "[1]"},
        lambda: {"detection_confidences": "[NaN]", "plates": "[", "confidences": "nul"},
    ],
)
def test_what_is_converted_as_a_row_gives_what_it_gives_in_python(make: Callable[[], Any]) -> None:
    ours = outcome(native.ANPRDatabase._row_to_dict, make())
    assert ours == outcome(twin.ANPRDatabase._row_to_dict, make())


def test_the_row_that_is_converted_is_left_as_it_was(store):
    row = {"plates": '["AB123"]', "x": 1}
    record = store._row_to_dict(row)
    assert row == {"plates": '["AB123"]', "x": 1}
    assert record is not row


def test_an_object_that_dies_with_the_argument_list_may_call_the_store(sampled, db_path):
    seen: list[Any] = []
    with pytest.raises(sqlite3.ProgrammingError):
        sampled.get_detection(Dies(lambda: seen.append(sampled.get_detection(1)["id"])))
    assert seen == [1]
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]
