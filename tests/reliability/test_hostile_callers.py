"""Arguments whose methods call back in, change other arguments, or die in the middle of a call.

What happens is what happens in the same class written in Python: both run the same hostile call.
"""

from __future__ import annotations

import re
import sqlite3
from collections.abc import Callable, Iterator
from contextlib import closing
from pathlib import Path
from typing import Any

import pytest
from zentrope_anpr import zentrope_anpr_server_db as native

from support.sample_file import contents, make_sample, restore
from support import twin
from support.json_cases import outcome

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
    def __init__(self, world: World, action: Callable[[], object]) -> None:
        super().__init__(a=1)
        self.world, self.action = world, action

    def items(self) -> Any:
        self.action()
        return [("k", "v")]


class Length:
    def __init__(self, action: Callable[[], object], answer: Any) -> None:
        self.action, self.answer = action, answer

    def __len__(self) -> int:
        self.action()
        return self.answer


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


class Truth:
    def __init__(self, action: Callable[[], object], answer: Any) -> None:
        self.action, self.answer = action, answer

    def __bool__(self) -> bool:
        self.action()
        return self.answer

    def __repr__(self) -> str:
        return "Truth"


class Conforms:
    def __init__(self, action: Callable[[], object], answer: Any) -> None:
        self.action, self.answer = action, answer

    def __conform__(self, protocol: Any) -> Any:
        self.action()
        return self.answer


class Float(float):
    def __repr__(self) -> str:
        raise LookupError("spelled")

    def __float__(self) -> float:
        raise LookupError("converted")


class Int(int):
    def __index__(self) -> int:
        raise LookupError("index asked")

    def __eq__(self, other: object) -> bool:
        raise LookupError("compared")

    def __hash__(self) -> int:
        return 1


class Text(str):
    def __eq__(self, other: object) -> bool:
        raise LookupError("compared")

    def __hash__(self) -> int:
        raise LookupError("hashed")

    def __bool__(self) -> bool:
        raise LookupError("truth asked")

    def __len__(self) -> int:
        raise LookupError("length asked")


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
    "a length that is not written": lambda w: record(w, Length(w.call_back, 3)),
    "a negative length": lambda w: record(w, Length(lambda: None, -1)),
    "a huge length": lambda w: record(w, Length(lambda: None, 2**70)),
    "a length that is no number": lambda w: record(w, Length(lambda: None, "x")),
    "a truth that calls back": lambda w: record(w, ["x"], success=Truth(w.call_back, False)),
    "a truth that is no truth": lambda w: record(w, ["x"], success=Truth(lambda: None, 5)),
    "a true list that is empty": lambda w: record(
        w, ["x"], detection_confidences=LongList([], lambda: None)
    ),
    "items that call back": lambda w: record(w, [Dict(w, w.call_back)]),
    "items that clear the list": lambda w: record(w, clearing(w)),
    "items that grow the list": lambda w: record(w, growing(w)),
    "floats with methods": lambda w: record(w, ["x"], [Float(0.5), Float("nan")]),
    "ints with methods": lambda w: record(w, [Int(5), {Int(7): Int(8)}]),
    "texts with methods": lambda w: record(w, [Text("x")], image_path=Text("path")),
    "a time that conforms": lambda w: w.store.add_detection(
        *LISTS, Conforms(lambda: None, 2.5), 1, 2
    ),
    "a time that calls back": lambda w: w.store.add_detection(
        *LISTS, Conforms(w.call_back, 2.5), 1, 2
    ),
    "an id that conforms": lambda w: w.store.get_detection(Conforms(w.call_back, 1)),
    "an id with methods": lambda w: w.store.get_detection(Int(2)),
    "a limit with methods": lambda w: w.store.get_history(Int(2), Int(1)),
    "a bound that calls back": lambda w: w.store.get_history(date_from=Truth(w.call_back, False)),
    "a bound that cannot be bound": lambda w: w.store.get_history(
        date_from=Truth(w.call_back, True)
    ),
    "a bound without truth": lambda w: w.store.get_history(date_to=Text("2001")),
    "attributes that call back": lambda w: w.store.update_mmc_data(1, Dict(w, w.call_back)),
    "an update of an id that calls back": lambda w: w.store.update_mmc_data(
        Conforms(w.call_back, 1), {"a": 1}
    ),
    "a path that is dropped": lambda w: w.store.update_image_paths(
        1, Conforms(lambda: None, "x"), None
    ),
    "a name that is no plain text": lambda w: w.store.get_detection(**{Name("detection_id"): 1}),
    "a name that is equal to nothing": lambda w: w.store.get_detection(
        **{Text.__new__(Name, "detection_id"): 1}
    ),
    "a record that dies": lambda w: dying(w),
    "an error that dies": lambda w: failing_and_dying(w),
}


class Name(str):
    __slots__ = ()


def clearing(world: World) -> list:
    world.plates[1:1] = [Dict(world, world.plates.clear)]
    return world.plates


def growing(world: World) -> list:
    world.plates[1:1] = [Dict(world, lambda: world.plates.append("grown"))]
    return world.plates


def dying(world: World) -> Any:
    class Holding(type(world.store)):  # type: ignore[misc]
        @staticmethod
        def _row_to_dict(row: Any) -> Any:
            return Dies(lambda: world.note(lambda: world.store.get_detection(2)["plates"]))

    store = Holding.__new__(Holding)
    store.db_path = world.store.db_path
    return len(store.get_history())


def failing_and_dying(world: World) -> Any:
    class Failing(type(world.store)):  # type: ignore[misc]
        @staticmethod
        def _row_to_dict(row: Any) -> Any:
            error = ValueError("from the conversion")
            error.last_wish = Dies(lambda: world.note(lambda: len(world.store.get_history())))  # type: ignore[attr-defined]
            raise error

    store = Failing.__new__(Failing)
    store.db_path = world.store.db_path
    try:
        return store.get_history()
    except ValueError as error:
        return str(error)


def impatient(kind: type) -> type:
    """With calls inside calls, waiting five seconds for oneself would take long."""

    class Impatient(kind):  # type: ignore[misc, valid-type]
        def _get_conn(self) -> Any:
            connection = super()._get_conn()
            connection.execute("PRAGMA busy_timeout = 0")
            return connection

    return Impatient


def result_of(module: Any, path: Path, sample: bytes, name: str) -> tuple:
    restore(path, sample)
    world = World(impatient(module.ANPRDatabase)(path))
    given = TIME_OF_THE_TEST.sub("now", repr(outcome(HOSTILE[name], world)))
    return given, world.notes, len(world.plates), contents(path)


@pytest.mark.parametrize("name", HOSTILE)
def test_a_hostile_call_does_what_it_does_in_python(name: str, tmp_path: Path) -> None:
    path = tmp_path / "anpr.db"
    sample = make_sample(path)
    ours = result_of(native, path, sample, name)
    theirs = result_of(twin, path, sample, name)
    assert ours == theirs


def test_a_row_to_convert_that_calls_back(tmp_path: Path) -> None:
    class Row(dict):
        def keys(self) -> Any:
            notes.append(store.get_history(1)[0]["id"])
            return super().keys()

        def __getitem__(self, key: str) -> Any:
            return super().__getitem__(key)

    for module in (native, twin):
        path = tmp_path / f"{module.__name__}.db"
        make_sample(path)
        store = module.ANPRDatabase(path)
        notes: list[Any] = []
        assert module.ANPRDatabase._row_to_dict(Row(plates="[1]", other=2)) == {
            "plates": [1],
            "other": 2,
        }


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
        lambda: {"plates": Truth(lambda: None, True)},
        lambda: {"plates": Truth(lambda: 1 // 0, True)},
        lambda: {"plates": Truth(lambda: None, False)},
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


def test_the_row_that_is_converted_is_left_as_it_was() -> None:
    row = {"plates": '["AB123"]', "x": 1}
    record = native.ANPRDatabase._row_to_dict(row)
    assert row == {"plates": '["AB123"]', "x": 1}
    assert record is not row


def test_an_object_that_dies_with_the_argument_list_may_call_the_store(tmp_path: Path) -> None:
    path = tmp_path / "anpr.db"
    make_sample(path)
    store: Any = native.ANPRDatabase(path)
    seen: list[Any] = []
    with pytest.raises(sqlite3.ProgrammingError):
        store.get_detection(Dies(lambda: seen.append(store.get_detection(1)["id"])))
    assert seen == [1]
    with closing(sqlite3.connect(path)) as connection:
        assert connection.execute("PRAGMA integrity_check").fetchone() == ("ok",)
