"""A failing execute step: which error, what is bound by then, and that it is all forgotten."""

from __future__ import annotations

import pytest

from support import child
from support.child import NATIVE

pytestmark = pytest.mark.slow

PRELUDE = f"""
import _imp, builtins, importlib, importlib.util, sys, traceback, types, warnings
import datetime, json, pathlib, sqlite3, typing
NAME = {NATIVE!r}
spec = importlib.util.find_spec(NAME)
IMPORTED = [
    "sqlite3", "json", "datetime", "timedelta", "List", "Optional", "Dict", "Path", "ANPRDatabase",
]

def bound(module):
    return [name for name in IMPORTED if name in vars(module)]

def execute_failing(module):
    try:
        _imp.exec_dynamic(module)
    except BaseException as error:
        return error
    raise AssertionError("no error")
"""

# After a failure: forgotten, and a later import makes a new module that works.
FORGOTTEN = """
assert NAME not in sys.modules
fresh = importlib.import_module(NAME)
assert fresh is not module
assert sys.modules[NAME] is fresh
assert bound(fresh) == IMPORTED
assert fresh.ANPRDatabase("fresh.db").get_history() == []
print("done")
"""


def run(code: str, cwd) -> None:
    assert child.output(PRELUDE + code + FORGOTTEN, cwd=cwd).endswith("done\n")


@pytest.mark.parametrize(
    ("missing", "arrived"),
    [
        ("sqlite3", 0),
        ("json", 1),
        ("datetime", 2),
        ("typing", 4),
        ("pathlib", 7),
    ],
)
def test_a_missing_module_fails_with_the_interpreters_error(native, tmp_path, missing, arrived):
    run(
        f"""
kept = sys.modules[{missing!r}]
sys.modules[{missing!r}] = None
module = _imp.create_dynamic(spec)
error = execute_failing(module)
assert type(error) is ModuleNotFoundError, error
assert str(error) == "import of {missing} halted; None in sys.modules", error
assert bound(module) == IMPORTED[:{arrived}], bound(module)
sys.modules[{missing!r}] = kept
""",
        tmp_path,
    )


@pytest.mark.parametrize(
    ("source", "name", "arrived"),
    [
        ("datetime", "datetime", 2),
        ("datetime", "timedelta", 3),
        ("typing", "List", 4),
        ("typing", "Optional", 5),
        ("typing", "Dict", 6),
        ("pathlib", "Path", 7),
    ],
)
def test_a_missing_name_fails_and_the_names_before_it_are_bound(
    native, tmp_path, source, name, arrived
):
    run(
        f"""
kept = sys.modules[{source!r}]
lacking = types.ModuleType({source!r})
vars(lacking).update({{k: v for k, v in vars(kept).items() if k != {name!r}}})
sys.modules[{source!r}] = lacking
module = _imp.create_dynamic(spec)
error = execute_failing(module)
sys.modules[{source!r}] = kept
assert type(error) is ImportError, error
assert str(error) == "cannot import name {name}", error
assert bound(module) == IMPORTED[:{arrived}], bound(module)
""",
        tmp_path,
    )


@pytest.mark.parametrize("name", ["staticmethod", "round", "TypeError", "sorted"])
def test_a_missing_builtin_fails_before_anything_is_imported(native, tmp_path, name):
    run(
        f"""
module = _imp.create_dynamic(spec)
kept_json, sys.modules["json"] = sys.modules["json"], None
kept_sqlite3, sys.modules["sqlite3"] = sys.modules["sqlite3"], None
kept = vars(builtins).pop({name!r})
try:
    error = execute_failing(module)
finally:
    vars(builtins)[{name!r}] = kept
sys.modules["json"], sys.modules["sqlite3"] = kept_json, kept_sqlite3
assert type(error) is NameError, error
assert str(error) == "name '{name}' is not defined", error
assert bound(module) == []
assert "__builtins__" in vars(module)
""",
        tmp_path,
    )


def test_the_error_has_one_traceback_entry_for_the_execute_step(native, tmp_path):
    run(
        """
kept, sys.modules["json"] = sys.modules["json"], None
module = _imp.create_dynamic(spec)
error = execute_failing(module)
sys.modules["json"] = kept
entries = [frame.f_code.co_name for frame, _ in traceback.walk_tb(error.__traceback__)]
assert entries.count("init " + NAME) == 1, entries
""",
        tmp_path,
    )


def test_an_import_statement_that_fails_forgets_the_module_too(native, tmp_path):
    run(
        """
kept, sys.modules["pathlib"] = sys.modules["pathlib"], None
module = None
for attempt in range(2):
    try:
        import zentrope_anpr.zentrope_anpr_server_db
    except ImportError as error:
        assert str(error) == "import of pathlib halted; None in sys.modules"
    else:
        raise AssertionError("imported")
    assert NAME not in sys.modules
    assert not hasattr(sys.modules["zentrope_anpr"], "zentrope_anpr_server_db")
sys.modules["pathlib"] = kept
""",
        tmp_path,
    )


def test_after_a_failure_the_create_step_makes_a_new_module(native, tmp_path):
    run(
        """
module = _imp.create_dynamic(spec)
kept, sys.modules["typing"] = sys.modules["typing"], None
execute_failing(module)
sys.modules["typing"] = kept
assert _imp.create_dynamic(spec) is not module
""",
        tmp_path,
    )
