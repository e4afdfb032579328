"""Runs a call in batches and tells what each batch left behind."""

from __future__ import annotations

import ctypes
import gc
import os
import sys
from collections.abc import Callable

from support.engine_library import memory_used

BATCH = 24
BATCHES = 4


class _MallocInfo(ctypes.Structure):
    _fields_ = [
        (name, ctypes.c_size_t)
        for name in (
            "arena",
            "ordblks",
            "smblks",
            "hblks",
            "hblkhd",
            "usmblks",
            "fsmblks",
            "uordblks",
            "fordblks",
            "keepcost",
        )
    ]


def _allocated_bytes() -> int:
    """Bytes that C and C++ code has allocated and not freed; 0 where the C library cannot tell."""
    try:
        mallinfo = ctypes.CDLL(None).mallinfo2
    except AttributeError:
        return 0
    mallinfo.restype = _MallocInfo
    info = mallinfo()
    return info.uordblks + info.hblkhd


def _measure() -> dict[str, int]:
    gc.collect()
    return {
        "python blocks": sys.getallocatedblocks(),
        "descriptors": len(os.listdir("/proc/self/fd")),
        "engine bytes": memory_used(),
        "allocated bytes": _allocated_bytes(),
        "uncollectable": len(gc.garbage),
    }


def growth(run: Callable[[], object]) -> dict[str, int]:
    """The least that any batch of calls left behind: what grows in every batch is a leak."""
    for _ in range(BATCH):
        run()
    gc.collect()
    gc.freeze()  # the collections between batches then look at the calls' objects alone
    try:
        least: dict[str, int] = {}
        before = _measure()
        for _ in range(BATCHES):
            for _ in range(BATCH):
                run()
            after = _measure()
            for name, value in after.items():
                least[name] = min(least.get(name, sys.maxsize), value - before[name])
            before = after
        return least
    finally:
        gc.unfreeze()


def assert_no_growth(run: Callable[[], object]) -> None:
    leaked = growth(run)
    if os.environ.get("ZENTROPE_ANPR_SANITIZER"):
        # Allocations are the sanitizer's then: it keeps what was freed, and looks for leaks itself.
        leaked.update({"python blocks": 0, "allocated bytes": 0})
    # One thing left by every second call is found; a table that grows now and then is not one.
    assert leaked["python blocks"] < BATCH // 2, leaked
    assert leaked["descriptors"] <= 0, leaked
    assert leaked["engine bytes"] <= 0, leaked
    assert leaked["allocated bytes"] < BATCH * 8, leaked
    assert leaked["uncollectable"] == 0, leaked
