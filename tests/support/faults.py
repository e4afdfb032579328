"""Failing and slow file operations and allocations of the engine, by the test modules' fault layer.

The faults hold for the whole process: for the store's connections and for Python's.
"""

from __future__ import annotations

import ctypes
import importlib.util
from functools import cache
from pathlib import Path
from typing import Any


@cache
def _library() -> Any:
    # Found without importing its modules: allocation faults come before the engine's first use.
    package = importlib.util.find_spec("anpr_test_modules")
    assert package is not None
    for folder in package.submodule_search_locations or ():
        file = Path(folder) / "libfault_layer.so"
        if file.exists():
            library = ctypes.CDLL(str(file))
            library.fault_layer_fail_at.argtypes = [ctypes.c_long, ctypes.c_int, ctypes.c_int]
            library.fault_layer_fail_at.restype = None
            library.fault_layer_calls.restype = ctypes.c_long
            library.fault_layer_slow.argtypes = [ctypes.c_char_p, ctypes.c_int]
            library.fault_layer_slow.restype = None
            library.fault_memory_fail_at.argtypes = [ctypes.c_long, ctypes.c_int]
            library.fault_memory_fail_at.restype = None
            library.fault_memory_calls.restype = ctypes.c_long
            return library
    raise FileNotFoundError("libfault_layer.so")


def install_file_layer() -> None:
    """Puts the layer under every file opened from now on; once a process."""
    code = _library().fault_layer_install()
    assert code == 0, code


def fail_file_operation(nth: int, code: int = 10, count: int = 1) -> None:
    """The n-th operation from now on fails with this code, and `count` in a row; 0 disarms."""
    _library().fault_layer_fail_at(nth, code, count)


def file_operations() -> int:
    return int(_library().fault_layer_calls())


def slow_down(operation: str, milliseconds: int) -> None:
    _library().fault_layer_slow(operation.encode(), milliseconds)


def install_allocator() -> None:
    """Takes the engine's allocator over; before its first use, so before importing `sqlite3`."""
    code = _library().fault_memory_install()
    assert code == 0, code


def fail_allocation(nth: int, count: int = 1) -> None:
    _library().fault_memory_fail_at(nth, count)


def allocations() -> int:
    return int(_library().fault_memory_calls())
