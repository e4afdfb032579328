"""Deep documents and values fail where Python's do, from any depth of the Python stack."""

from __future__ import annotations

import json
import os
from collections.abc import Callable
from typing import Any

import pytest

from support import child
from support.json_cases import assert_written_alike, dumps, loads
from support.values import error_of, type_and_text

# A sanitizer makes the writer's frames so large that the stack ends before the limit is reached.
deep_writing = pytest.mark.skipif(
    bool(os.environ.get("ZENTROPE_ANPR_SANITIZER")), reason="the stack ends first under a sanitizer"
)

slow = pytest.mark.slow
Function = Callable[[Any], Any]


def nested_lists(depth: int) -> list:
    value: list = []
    for _ in range(depth - 1):
        value = [value]
    return value


def nested_mappings(depth: int) -> dict:
    value: dict = {}
    for _ in range(depth - 1):
        value = {"a": value}
    return value


def nested_alternately(depth: int) -> Any:
    value: Any = ()
    for level in range(depth - 1):
        value = {"a": value} if level % 2 else (value,)
    return value


READING = {
    "lists": lambda depth: "[" * depth + "]" * depth,
    "mappings": lambda depth: '{"a":' * depth + "1" + "}" * depth,
    "alternating": lambda depth: '[{"a":' * (depth // 2) + "[" * (depth % 2),
    "never closed": lambda depth: "[" * depth,
    "with siblings": lambda depth: "[[1], {}, " * depth + "1" + "]" * depth,
    "bytes": lambda depth: b"[" * depth + b"]" * depth,
}
WRITING = {
    "lists": nested_lists,
    "mappings": nested_mappings,
    "alternating": nested_alternately,
}
# Our function, Python's, and what makes an argument of some depth.
SIDES = {
    **{f"reading {name}": (loads, json.loads, make) for name, make in READING.items()},
    **{f"writing {name}": (dumps, json.dumps, make) for name, make in WRITING.items()},
}


def brief(function: Function, argument: Any) -> tuple:
    """The outcome without describing a deep value: its size and depth tell it apart well enough."""
    try:
        value = function(argument)
    except Exception as error:
        return type(error), str(error)
    if isinstance(value, str):
        return "text", value
    depth = 0
    while isinstance(value, (list, dict)) and value:
        value = value[-1] if isinstance(value, list) else value["a"]
        depth += 1
    return "depth", depth


def limit_of(function: Function, make: Callable[[int], Any]) -> int:
    """The smallest depth that Python refuses."""
    low, high = 1, 100_000
    while low < high:
        middle = (low + high) // 2
        try:
            function(make(middle))
        except RecursionError:
            high = middle
        except ValueError:
            low = middle + 1
        else:
            low = middle + 1
    return low


def from_shallow(function: Function, argument: Any) -> tuple:
    return brief(function, argument)


def from_deep_python(function: Function, argument: Any, frames: int = 700) -> tuple:
    if frames:
        return from_deep_python(function, argument, frames - 1)
    return brief(function, argument)


def from_deep_c(function: Function, argument: Any, frames: int = 150) -> tuple:
    if frames:
        # map() calls back from C, so each level takes one of the interpreter's C frames.
        return next(map(lambda left: from_deep_c(function, argument, left), [frames - 1]))
    return brief(function, argument)


CALLERS = [from_shallow, from_deep_python, from_deep_c]


@pytest.fixture(
    params=[
        pytest.param(sides, id=name, marks=[deep_writing] if name.startswith("writing") else [])
        for name, sides in SIDES.items()
    ]
)
def sides(request):
    return request.param


@pytest.mark.parametrize("caller", CALLERS)
@pytest.mark.parametrize(
    "depth", [1, 2, 50, 500, 1000, *(pytest.param(n, marks=slow) for n in (20_000, 100_000))]
)
def test_far_from_the_limit_it_is_as_in_python(sides, depth, caller):
    ours, theirs, make = sides
    argument = make(depth)
    assert caller(ours, argument) == caller(theirs, argument)


@slow  # each of some thirty depths is made and dropped
@pytest.mark.parametrize("caller", CALLERS)
def test_it_ends_at_the_depth_at_which_python_ends(sides, caller):
    ours, theirs, make = sides
    limit = limit_of(theirs, make)
    for depth in (*range(limit - 8, limit + 9), limit - 150, limit - 151, limit - 301):
        argument = make(depth)
        assert (depth, caller(ours, argument)) == (depth, caller(theirs, argument))


@pytest.mark.parametrize(("opening", "what"), [("[", "array"), ('{"a":', "object")])
def test_the_text_says_what_was_read_too_deep(opening, what):
    assert type_and_text(error_of(loads, opening * 100_000)) == (
        RecursionError,
        f"maximum recursion depth exceeded while decoding a JSON {what} from a unicode string",
    )


WRITTEN_TOO_DEEP = (
    RecursionError,
    "maximum recursion depth exceeded while encoding a JSON object",
)


@slow
@deep_writing
@pytest.mark.parametrize("make", [nested_lists, nested_mappings])
def test_the_text_says_what_was_written_too_deep(make):
    assert type_and_text(error_of(dumps, make(100_000))) == WRITTEN_TOO_DEEP


@slow
@deep_writing
def test_what_is_too_deep_leaves_reader_and_writer_usable():
    for _ in range(10):
        assert type(error_of(loads, "[" * 100_000)) is RecursionError
        assert loads("[" * 100 + "]" * 100) == nested_lists(100)
        assert type(error_of(dumps, nested_lists(100_000))) is RecursionError
        assert dumps(nested_lists(3)) == "[[[]]]"


def test_a_list_that_holds_itself_is_circular():
    direct: list = [1]
    direct.append(direct)
    around: dict = {"a": [()]}
    around["a"].append({"b": around})
    in_tuple: list = []
    in_tuple.append((in_tuple,))
    for value in (direct, [direct], around, {"x": around}, in_tuple):
        for function in (dumps, json.dumps):
            assert type_and_text(error_of(function, value)) == (
                ValueError,
                "Circular reference detected",
            )


def test_the_same_value_twice_is_not_circular():
    shared: list = [{"a": 1}]
    assert_written_alike(
        [shared, shared], {"x": shared, "y": shared}, [[shared], shared, (shared,)]
    )


@slow
@deep_writing
def test_a_small_thread_stack_survives_the_deepest_document():
    # 1,500 levels must fit the stack of a thread as servers make them.
    output = child.output("""
        import threading
        from anpr_test_modules import store_internals
        value = {}
        for _ in range(100_000):
            value = {"a": value}
        def work():
            for call in (
                lambda: store_internals.loads("[" * 100_000),
                lambda: store_internals.loads('{"a":' * 100_000),
                lambda: store_internals.dumps(value),
            ):
                try:
                    call()
                except RecursionError:
                    print("refused")
        threading.stack_size(1 << 20)
        thread = threading.Thread(target=work)
        thread.start()
        thread.join()
    """)
    assert output == "refused\n" * 3
