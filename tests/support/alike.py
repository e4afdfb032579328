"""Tests that are steps on a connection: run on the store's and on Python's, and compared."""

from __future__ import annotations

import functools
import inspect
from collections.abc import Callable
from pathlib import Path
from typing import Any

from support.sql_cases import assert_alike, open_native, open_python, outcome


def alike(setup: str = "") -> Callable[[Callable[..., Any]], Callable[..., None]]:
    """Makes a test of a function whose first parameter is a connection.

    What it returns, raises and warns of, and what is seen of the connection afterwards, must be
    the same on both sides.
    """

    def decorate(steps: Callable[..., Any]) -> Callable[..., None]:
        signature = inspect.signature(steps)

        @functools.wraps(steps)
        def test(**given: Any) -> None:
            failed = []

            def run(connection: Any) -> Any:
                try:
                    return steps(connection, **given)
                except AssertionError as error:
                    failed.append(error)
                    raise

            assert_alike(run, setup=setup)
            for error in failed:  # alike on both sides, and yet not what the test expects
                raise error

        del test.__wrapped__
        others = list(signature.parameters.values())[1:]
        test.__signature__ = signature.replace(parameters=others)  # type: ignore[attr-defined]
        return test

    return decorate


def assert_files_alike(top: Path, steps: Callable[[Any, Path], Any]) -> dict[str, Any]:
    """Calls `steps(open_one, folder)` for either kind of connection, in an empty folder.

    The folder has the same name for both, as errors may tell it; afterwards it has the opener's.
    """
    seen = []
    for open_one in (open_native, open_python):
        folder = top / "side"
        folder.mkdir()
        seen.append(outcome(steps, open_one, folder))
        folder.rename(top / open_one.__name__)
    assert seen[0] == seen[1]
    assert seen[0].get("error", {}).get("class") is not AssertionError, seen[0]
    return seen[0]
