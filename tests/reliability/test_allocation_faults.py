"""The n-th allocation of an operation fails, in Python or in the engine: nothing is half done."""

from __future__ import annotations

import os
from pathlib import Path

import pytest

from reliability.operations import good_calls
from support import child_process

SANITIZED = bool(os.environ.get("ZENTROPE_ANPR_SANITIZER"))

PYTHON = """
    import sys
    import _testcapi
    from reliability.fault_runs import Faults, run_with_faults
    arm = lambda nth: _testcapi.set_nomemory(nth, nth + 1)
    faults = Faults(arm, _testcapi.remove_mem_hooks, None)
    print(run_with_faults(*sys.argv[1:], faults, (MemoryError,)) > 0)
"""

ENGINE = """
    import sys
    from support import faults as layer
    layer.install_allocator()
    from reliability.fault_runs import Faults, run_with_faults
    # One allocation, or all from there on.
    for count in (1, -1):
        faults = Faults(
            lambda nth: layer.fail_allocation(nth, count),
            lambda: layer.fail_allocation(0, 0),
            None,
        )
        print(run_with_faults(*sys.argv[1:], faults, (MemoryError,)) > 0)
"""

# For an empty list an operation returns at once, and need not allocate anything.
WORKING = [label for label in good_calls() if not label.endswith(": an empty list")]


@pytest.mark.skipif(SANITIZED, reason="a sanitizer's own allocator takes Python's place")
@pytest.mark.parametrize("label", WORKING)
def test_each_allocation_of_python_fails(label: str, tmp_path: Path) -> None:
    assert child_process.output(PYTHON, label, str(tmp_path)) == "True\n"


@pytest.mark.parametrize("label", WORKING)
def test_each_allocation_of_the_engine_fails(label: str, tmp_path: Path) -> None:
    assert child_process.output(ENGINE, label, str(tmp_path)) == "True\nTrue\n"
