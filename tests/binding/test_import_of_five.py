"""Importing asks for five modules and for nothing else, as Python's import statements do."""

from __future__ import annotations

import pytest

from support import child

PRELUDE = """
import builtins, collections.abc, datetime, importlib, json, pathlib, sqlite3, sys, typing
NAME = "zentrope_anpr.zentrope_anpr_server_db"
"""


def test_the_five_imports_are_asked_for_as_statements_ask(tmp_path):
    program = """
import zentrope_anpr
asked = []
standard = builtins.__import__

def recording(name, *given):
    asked.append((name, *given[2:]))
    return standard(name, *given)

builtins.__import__ = recording
try:
    importlib.import_module(NAME)
finally:
    builtins.__import__ = standard
native = list(asked)
asked.clear()
builtins.__import__ = recording
try:
    exec(
        "import sqlite3\\\\nimport json\\\\nfrom datetime import datetime, timedelta\\\\n"
        "from typing import List, Optional, Dict\\\\nfrom pathlib import Path",
        {"__builtins__": builtins},
    )
finally:
    builtins.__import__ = standard
print(native == asked or (native, asked))
"""
    assert child.output(PRELUDE + program.replace("\\\\n", "\\n")) == "True\n"


@pytest.mark.parametrize("missing", ["_sqlite3", "collections.abc"])
@pytest.mark.parametrize("how", ["None", "gone"])
def test_another_module_may_be_missing(tmp_path, missing, how):
    program = f"""
if {how == "None"}:
    sys.modules[{missing!r}] = None
else:
    del sys.modules[{missing!r}]
    sys.meta_path.insert(0, type("Blocked", (), {{
        "find_spec": staticmethod(lambda name, *rest: exec("raise ImportError(name)")
        if name == {missing!r} else None)
    }}))
store = importlib.import_module(NAME).ANPRDatabase(sys.argv[1])
given = (["AB123"], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
store.update_mmc_data(store.add_detection(*given), {{"mmc_color": "red"}})
print(store.get_detection(1)["mmc_data"], len(store.search_plates("AB")))
store.add_watchlist("AB")
print(len(store.check_watchlist(["AB123"])), store.get_top_plates())
try:
    store.get_history([])
except sqlite3.ProgrammingError as error:
    print(error)
"""
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == (
        "{'mmc_color': 'red'} 1\n"
        "1 [{'plate': 'AB123', 'count': 1}]\n"
        "Error binding parameter 1: type 'list' is not supported\n"
    )


def test_without_an_import_function_the_error_is_pythons(tmp_path):
    program = """
import zentrope_anpr
standard = builtins.__import__
del builtins.__import__
told = []
for work in (
    lambda: exec("import sqlite3"),
    lambda: importlib.import_module(NAME),
):
    try:
        work()
    except BaseException as error:
        told.append((type(error), str(error)))
builtins.__import__ = standard
print(told[0] == told[1] or told, told[0])
print(importlib.import_module(NAME).ANPRDatabase.__name__)
"""
    assert child.output(PRELUDE + program) == (
        "True (<class 'ImportError'>, '__import__ not found')\nANPRDatabase\n"
    )
