"""Deep documents and values fail where Python's do, from any depth of the Python stack."""

from __future__ import annotations

import json
import os
from collections.abc import Callable
from typing import Any

import pytest
from anpr_test_modules import store_internals

from support import child_process

# A sanitizer makes the writer's frames so large that the stack ends before the limit is reached.
deep_writing = pytest.mark.skipif(
    bool(os.environ.get("ZENTROPE_ANPR_SANITIZER")), reason="the stack ends first under a sanitizer"
)

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


READING: dict[str, Callable[[int], str | bytes]] = {
    "lists": lambda depth: "[" * depth + "]" * depth,
    "mappings": lambda depth: '{"a":' * depth + "1" + "}" * depth,
    "alternating": lambda depth: '[{"a":' * (depth // 2) + "[" * (depth % 2),
    "never closed": lambda depth: "[" * depth,
    "with siblings": lambda depth: "[[1], {}, " * depth + "1" + "]" * depth,
    "bytes": lambda depth: b"[" * depth + b"]" * depth,
}
WRITING: dict[str, Callable[[int], Any]] = {
    "lists": nested_lists,
    "mappings": nested_mappings,
    "alternating": nested_alternately,
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


@pytest.mark.parametrize("caller", CALLERS)
@pytest.mark.parametrize("shape", READING)
@pytest.mark.parametrize("depth", [1, 2, 50, 500, 1000, 20_000, 100_000])
def test_reading_far_from_the_limit_is_as_in_python(shape: str, depth: int, caller: Any) -> None:
    document = READING[shape](depth)
    assert caller(store_internals.loads, document) == caller(json.loads, document)


@deep_writing
@pytest.mark.parametrize("caller", CALLERS)
@pytest.mark.parametrize("shape", WRITING)
@pytest.mark.parametrize("depth", [1, 2, 50, 500, 1000, 20_000, 100_000])
def test_writing_far_from_the_limit_is_as_in_python(shape: str, depth: int, caller: Any) -> None:
    value = WRITING[shape](depth)
    assert caller(store_internals.dumps, value) == caller(json.dumps, value)


@pytest.mark.parametrize("caller", CALLERS)
@pytest.mark.parametrize("shape", READING)
def test_reading_ends_at_the_depth_at_which_python_ends(shape: str, caller: Any) -> None:
    make = READING[shape]
    limit = limit_of(json.loads, make)
    for depth in (*range(limit - 8, limit + 9), limit - 150, limit - 151, limit - 301):
        document = make(depth)
        assert (depth, caller(store_internals.loads, document)) == (
            depth,
            caller(json.loads, document),
        )


@deep_writing
@pytest.mark.parametrize("caller", CALLERS)
@pytest.mark.parametrize("shape", WRITING)
def test_writing_ends_at_the_depth_at_which_python_ends(shape: str, caller: Any) -> None:
    make = WRITING[shape]
    limit = limit_of(json.dumps, make)
    for depth in (*range(limit - 8, limit + 9), limit - 150, limit - 151, limit - 301):
        value = make(depth)
        assert (depth, caller(store_internals.dumps, value)) == (depth, caller(json.dumps, value))


@pytest.mark.parametrize(("opening", "what"), [("[", "array"), ('{"a":', "object")])
def test_the_text_says_what_was_read_too_deep(opening: str, what: str) -> None:
    with pytest.raises(RecursionError) as caught:
        store_internals.loads(opening * 100_000)
    assert str(caught.value) == (
        f"maximum recursion depth exceeded while decoding a JSON {what} from a unicode string"
    )


@deep_writing
def test_the_text_says_what_was_written_too_deep() -> None:
    for value in (nested_lists(100_000), nested_mappings(100_000)):
        with pytest.raises(RecursionError) as caught:
            store_internals.dumps(value)
        assert str(caught.value) == "maximum recursion depth exceeded while encoding a JSON object"


@deep_writing
def test_a_document_too_deep_leaves_the_reader_usable() -> None:
    for _ in range(10):
        with pytest.raises(RecursionError):
            store_internals.loads("[" * 100_000)
        assert store_internals.loads("[" * 100 + "]" * 100) == nested_lists(100)
        with pytest.raises(RecursionError):
            store_internals.dumps(nested_lists(100_000))
        assert store_internals.dumps(nested_lists(3)) == "[[[]]]"


def test_a_list_that_holds_itself_is_circular() -> None:
    direct: list = [1]
    direct.append(direct)
    around: dict = {"a": [()]}
    around["a"].append({"b": around})
    in_tuple: list = []
    in_tuple.append((in_tuple,))
    for value in (direct, [direct], around, {"x": around}, in_tuple):
        for function in (store_internals.dumps, json.dumps):
            with pytest.raises(ValueError) as caught:
                function(value)
            assert type(caught.value) is ValueError
            assert str(caught.value) == "Circular reference detected"


def test_the_same_value_twice_is_not_circular() -> None:
    shared: list = [{"a": 1}]
    for value in ([shared, shared], {"x": shared, "y": shared}, [[shared], shared, (shared,)]):
        assert store_internals.dumps(value) == json.dumps(value)


@deep_writing
def test_a_small_thread_stack_survives_the_deepest_document() -> None:
    # 1,500 levels must fit the stack of a thread as servers make them.
    output = child_process.output("""
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
