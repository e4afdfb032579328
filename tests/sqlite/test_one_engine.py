"""The process holds one copy of SQLite: two would undo each other's file locks."""

from __future__ import annotations

import _sqlite3
import ctypes
import sqlite3
import subprocess

import pytest
from anpr_test_modules import store_internals
from zentrope_anpr import zentrope_anpr_server_db as native

from support import child
from support.engine_library import engine_of, loaded_engines
from support.sql_cases import open_native


def address(library: str, symbol: str) -> int:
    return ctypes.cast(getattr(engine_of(library), symbol), ctypes.c_void_p).value or 0


def test_the_store_and_python_call_the_same_functions() -> None:
    for symbol in ("sqlite3_open_v2", "sqlite3_step", "sqlite3_libversion", "sqlite3_vfs_find"):
        assert address(native.__file__, symbol) == address(_sqlite3.__file__, symbol) != 0
        assert address(store_internals.__file__, symbol) == address(native.__file__, symbol)


def test_one_file_of_the_engine_is_loaded() -> None:
    assert len(loaded_engines()) == 1


def test_the_extension_holds_no_engine_of_its_own() -> None:
    # A static copy would define these names, whether or not it exported them.
    exported = subprocess.run(
        ["nm", "-D", "--defined-only", native.__file__], capture_output=True, text=True, check=True
    )
    assert "sqlite3_" not in exported.stdout
    needed = subprocess.run(
        ["readelf", "-d", native.__file__], capture_output=True, text=True, check=True
    ).stdout
    assert "libsqlite3.so.0" in needed
    assert "RPATH" not in needed
    assert "RUNPATH" not in needed


def test_both_report_the_same_version() -> None:
    connection = open_native()
    assert connection.execute("SELECT sqlite_version()").fetchone()[0] == sqlite3.sqlite_version
    ours = [tuple(row) for row in connection.execute("PRAGMA compile_options")]
    theirs = sqlite3.connect(":memory:")
    assert ours == theirs.execute("PRAGMA compile_options").fetchall()
    theirs.close()
    connection.close()


@pytest.mark.slow
def test_an_extension_registered_in_one_is_called_by_the_other() -> None:
    # Registration lasts as long as the process, so this takes one of its own.
    output = child.output("""
        import _sqlite3, ctypes, sqlite3
        from support.engine_library import engine_of
        from support.sql_cases import open_native
        from zentrope_anpr import zentrope_anpr_server_db as native

        Entry = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p)
        for name, library in (("ours", native.__file__), ("Python's", _sqlite3.__file__)):
            calls = []
            entry = Entry(lambda database, message, api: calls.append(database is not None) or 0)
            engine = engine_of(library)
            assert engine.sqlite3_auto_extension(entry) == 0
            sqlite3.connect(":memory:").close()
            open_native().close()
            assert engine.sqlite3_cancel_auto_extension(entry) == 1
            sqlite3.connect(":memory:").close()
            open_native().close()
            print(name, calls)
    """)
    assert output == "ours [True, True]\nPython's [True, True]\n"
