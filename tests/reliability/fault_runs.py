"""Runs one call again and again, each time with another fault, and looks at what it left.

Imported by child processes, each for one call: a fault that ends the process ends only that child.
"""

from __future__ import annotations

import os
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

# A fault may be absorbed (a cache that stays empty), so one success is no sign of the end.
SUCCESSES_IN_A_ROW = 15
MOST_FAULTS = 20_000


class Faults:
    """How one kind of fault is armed, and whether it happened."""

    def __init__(
        self,
        arm: Callable[[int], None],
        disarm: Callable[[], None],
        happened: Callable[[int], bool] | None,
    ) -> None:
        self.arm = arm
        self.disarm = disarm
        self.happened = happened


class Failure(AssertionError):
    pass


def run_with_faults(
    label: str, folder: str, faults: Faults, allowed: tuple[type[BaseException], ...]
) -> int:
    """Fails the first, second, third ... event of the call; how many of the calls failed."""
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    from support.operations import GOOD_CALLS
    from support.sample_file import contents, make_sample, restore

    unraisable: list[str] = []
    sys.unraisablehook = lambda given: unraisable.append(
        f"{given.exc_type.__name__}: {given.exc_value}"
    )

    call = GOOD_CALLS[label]
    path = Path(folder) / "anpr.db"
    sample = make_sample(path)
    store = ANPRDatabase(path)
    old = contents(path)
    call.run(store)
    new = contents(path)
    restore(path, sample)
    expected = masked(call.run(store))
    restore(path, sample)

    failed = successes = 0
    for nth in range(1, MOST_FAULTS):
        value, error = with_fault(faults, nth, call.run, store)
        where = f"{label}, fault {nth}: {error!r}"
        after = old if is_untouched(path, sample) else contents(path)
        if error is None:
            check(
                after == new,
                where,
                "the call succeeded, but the file is not as it should be",
                after,
            )
            check(masked(value) == expected, where, "another result", value)
            successes += 1
        else:
            check(is_allowed(error, allowed), where, "another error than", allowed)
            check(after in (old, new), where, "neither the old state nor the new", after)
            failed += 1
            successes = 0
        check(not unraisable, where, "errors nobody saw", unraisable)
        if after is not old:
            restore(path, sample)
        check(masked(call.run(store)) == expected, where, "the next call gave something else", "")
        if not is_untouched(path, sample):
            restore(path, sample)
        if faults.happened is not None:
            if not faults.happened(nth):
                return failed
        elif successes >= SUCCESSES_IN_A_ROW:
            return failed
    raise Failure(f"{label} still fails at fault {MOST_FAULTS}")


def is_allowed(error: BaseException, allowed: tuple[type[BaseException], ...]) -> bool:
    # Python's own file functions say this of any error of a path, lack of memory included.
    return type(error) in allowed or ": path should be string, bytes" in str(error)


def with_fault(
    faults: Faults, nth: int, run: Callable[[Any], Any], store: Any
) -> tuple[Any, BaseException | None]:
    error = None
    value = None
    faults.arm(nth)
    try:
        value = run(store)
    except BaseException as caught:
        error = caught
    finally:
        faults.disarm()
    if error is not None:
        # Its frames hold what the call made.
        error.__traceback__ = None
    return value, error


def is_untouched(path: Path, sample: bytes) -> bool:
    return os.listdir(path.parent) == [path.name] and path.read_bytes() == sample


def masked(value: Any) -> str:
    """The result as text; stores are alike, and so are connections."""
    return type(value).__name__ if " object at 0x" in repr(value) else repr(value)


def check(holds: bool, where: str, problem: str, seen: object) -> None:
    if not holds:
        raise Failure(f"{where}: {problem}: {seen!r}")
