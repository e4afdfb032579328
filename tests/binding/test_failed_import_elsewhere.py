"""A first import that failed in another interpreter leaves the module to the next one."""

from __future__ import annotations

import pytest

from support import child

PROGRAM = """
import _xxsubinterpreters, importlib, sys
NAME = "zentrope_anpr.zentrope_anpr_server_db"
FAILING = f'''
import builtins, importlib, sys
import datetime, json, pathlib, sqlite3, typing
sys.path[:] = {sys.path!r}
def refuse(function):
    raise ValueError("no static methods here")
if {sys.argv[3]!r} == "late":
    builtins.staticmethod = refuse
else:
    sys.modules["sqlite3"] = None
try:
    importlib.import_module({NAME!r})
except (ImportError, ValueError) as error:
    kept = str(error)
'''
GOOD = f'''
import importlib, sys
sys.path[:] = {sys.path!r}
ANPRDatabase = importlib.import_module({NAME!r}).ANPRDatabase
store = ANPRDatabase({sys.argv[1]!r})
given = (["AB123"], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
store.update_mmc_data(store.add_detection(*given), dict(mmc_color="red"))
assert store.get_detection(1)["mmc_data"] == dict(mmc_color="red")
store.add_watchlist("AB")
assert len(store.check_watchlist(["AB123"])) == 1
assert store.get_statistics()["total_detections"] == 1
try:
    store.get_history([])
except importlib.import_module("sqlite3").ProgrammingError as error:
    assert str(error) == "Error binding parameter 1: type 'list' is not supported"
'''
for _ in range(3):
    other = _xxsubinterpreters.create(isolated=False)
    _xxsubinterpreters.run_string(other, FAILING)
    if sys.argv[2] == "gone":
        _xxsubinterpreters.destroy(other)
if sys.argv[4] == "main":
    exec(GOOD)
    print("works")
else:
    good = _xxsubinterpreters.create(isolated=False)
    _xxsubinterpreters.run_string(good, GOOD)
    try:
        importlib.import_module(NAME)
    except ImportError as error:
        print("works" if str(error).startswith("Interpreter change detected") else error)
sys.stdout.flush()
"""


@pytest.mark.parametrize("where", ["main", "another"])
@pytest.mark.parametrize("when", ["early", "late"])
@pytest.mark.parametrize("then", ["gone", "alive"])
def test_the_next_interpreter_may_import_it(tmp_path, then, when, where):
    output = child.output(PROGRAM, str(tmp_path / "x.db"), then, when, where)
    assert output == "works\n"
