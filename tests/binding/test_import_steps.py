"""The create step and the execute step, each alone, in processes that never imported the module."""

from __future__ import annotations

import pytest

from support import child
from support.child import NATIVE

pytestmark = pytest.mark.slow

SOURCES = {
    "sqlite3": ["sqlite3"],
    "json": ["json"],
    "datetime": ["datetime", "timedelta"],
    "typing": ["List", "Optional", "Dict"],
    "pathlib": ["Path"],
}
IMPORTED = [*(name for names in SOURCES.values() for name in names), "ANPRDatabase"]

PRELUDE = f"""
import _imp, builtins, ctypes, datetime, importlib, importlib.util, json, os, pathlib, sqlite3, sys
import traceback, types, typing, warnings
NAME = {NATIVE!r}
IMPORTED = {IMPORTED}
spec = importlib.util.find_spec(NAME)

def bare_spec(**attributes):
    return types.SimpleNamespace(name=NAME, origin=spec.origin, **attributes)

def failure(action, *arguments):
    try:
        action(*arguments)
    except BaseException as error:
        return error
    raise AssertionError("no error")

def text(error):
    return type(error).__name__ + ": " + str(error)

def bound(module):
    return [name for name in vars(module) if name in IMPORTED]

def definition_and_execute():
    definition = ctypes.PyDLL(spec.origin).PyInit_zentrope_anpr_server_db
    definition.argtypes, definition.restype = [], ctypes.c_void_p
    execute = ctypes.pythonapi.PyModule_ExecDef
    execute.argtypes, execute.restype = [ctypes.py_object, ctypes.c_void_p], ctypes.c_int
    return definition, execute

def run_in(interpreter, code):
    import _xxsubinterpreters
    same_path = "import os, sys\\nsys.path[:] = " + repr(sys.path) + "\\n"
    _xxsubinterpreters.run_string(interpreter, same_path + code)
"""

STEPS = {
    "the create step makes a module named by the spec and nothing more": """
module = _imp.create_dynamic(spec)
assert type(module) is types.ModuleType
assert module.__name__ == NAME
assert module.__loader__ is spec.loader
assert module.__file__ == spec.origin
assert module.__package__ == spec.parent == "zentrope_anpr"
assert NAME not in sys.modules
assert [name for name in vars(module) if not name.startswith("__")] == []
assert not {"__path__", "__test__", "__builtins__"} & set(vars(module))
""",
    "the create step copies only what the spec has": """
module = _imp.create_dynamic(bare_spec())
assert module.__name__ == NAME
assert module.__file__ == spec.origin
assert module.__loader__ is None  # what every new module has
assert module.__package__ is None
assert "__path__" not in vars(module)
""",
    "the create step copies the search locations of a spec that has them": """
loader, locations = object(), ["somewhere"]
module = _imp.create_dynamic(
    bare_spec(loader=loader, parent="a.parent", submodule_search_locations=locations)
)
assert module.__loader__ is loader
assert module.__package__ == "a.parent"
assert module.__path__ is locations
""",
    "the create step leaves out search locations that are none": """
module = _imp.create_dynamic(bare_spec(submodule_search_locations=None))
assert "__path__" not in vars(module)
""",
    "the create step passes on an error of reading the spec": """
class Spec:
    name = NAME
    origin = spec.origin
    @property
    def loader(self):
        raise ValueError("a broken spec")

assert text(failure(_imp.create_dynamic, Spec())) == "ValueError: a broken spec"
assert importlib.import_module(NAME).__name__ == NAME
""",
    "the create step called twice gives the same module": """
first = _imp.create_dynamic(spec)
assert _imp.create_dynamic(spec) is first
assert _imp.create_dynamic(bare_spec(parent="another")) is first
assert first.__package__ == "zentrope_anpr"
""",
    "the execute step fills the module that was created": """
module = _imp.create_dynamic(spec)
assert _imp.exec_dynamic(module) == 0
assert sys.modules[NAME] is module
assert module.ANPRDatabase.__module__ == NAME
assert importlib.import_module(NAME) is module
""",
    "a module created under another name is kept under the full name": """
other = types.SimpleNamespace(name="elsewhere.zentrope_anpr_server_db", origin=spec.origin)
module = _imp.create_dynamic(other)
assert module.__name__ == other.name
_imp.exec_dynamic(module)
assert sys.modules[NAME] is module
assert module.ANPRDatabase.__module__ == NAME
assert module.ANPRDatabase.get_history.__module__ == NAME
""",
    "names are bound in the order of the imports": """
module = importlib.import_module(NAME)
assert [name for name in vars(module) if not name.startswith("_")] == IMPORTED
assert list(vars(module))[-1] == "__test__"
""",
    "the init function hands over the module definition and does nothing else": """
definition, _ = definition_and_execute()
before = set(sys.modules)
first = definition()
assert first and definition() == first
assert set(sys.modules) == before
""",
    "executing the same module again returns at once": """
definition, execute = definition_and_execute()
module = importlib.import_module(NAME)
store_class, module.json = module.ANPRDatabase, None
assert execute(module, definition()) == 0
assert module.ANPRDatabase is store_class
assert module.json is None
""",
    "executing into another module fails and leaves the imported one": """
definition, execute = definition_and_execute()
module = importlib.import_module(NAME)
other = types.ModuleType(NAME)
before = dict(vars(other))
assert text(failure(execute, other, definition())) == (
    "RuntimeError: Module 'zentrope_anpr_server_db' has already been imported."
    " Re-initialisation is not supported."
)
assert vars(other) == before
assert sys.modules[NAME] is module
assert importlib.import_module(NAME) is module
assert module.ANPRDatabase("after.db").get_history() == []
""",
}


@pytest.mark.parametrize("step", STEPS)
def test_a_step(native, tmp_path, step):
    assert child.output(PRELUDE + STEPS[step] + "print('done')", cwd=tmp_path) == "done\n"


REFUSED = (
    "ImportError: Interpreter change detected - this module can only be loaded into one"
    " interpreter per process."
)


@pytest.mark.parametrize("style", ["plain", "isolated"])
def test_a_second_interpreter_is_refused(native, style):
    out = child.output(
        PRELUDE
        + f"""
import _xxsubinterpreters
module = importlib.import_module(NAME)
other = _xxsubinterpreters.create(isolated={style == "isolated"})
run_in(other, '''
try:
    import zentrope_anpr.zentrope_anpr_server_db
except BaseException as error:
    text = type(error).__name__ + ": " + str(error)
else:
    text = "imported"
held = "zentrope_anpr.zentrope_anpr_server_db" in sys.modules
os.write(1, (text + " " + str(held)).encode())
''')
assert importlib.import_module(NAME) is module
os._exit(0)  # ending other interpreters is not what this is about
"""
    )
    assert out == REFUSED + " False"


def test_the_first_interpreter_keeps_the_module_also_when_it_is_not_the_main_one(native):
    out = child.output(
        PRELUDE
        + """
import _xxsubinterpreters
other = _xxsubinterpreters.create(isolated=False)
run_in(other, "import zentrope_anpr.zentrope_anpr_server_db")
os.write(1, text(failure(importlib.import_module, NAME)).encode())
os._exit(0)
"""
    )
    assert out == REFUSED


# Failures: which error, what is bound by then, and that it is all forgotten: a later import makes
# a new module that works.

FORGOTTEN = """
assert NAME not in sys.modules
fresh = importlib.import_module(NAME)
assert fresh is not module
assert sys.modules[NAME] is fresh
assert bound(fresh) == IMPORTED
assert fresh.ANPRDatabase("fresh.db").get_history() == []
print("done")
"""


def fail(code: str, cwd) -> None:
    assert child.output(PRELUDE + code + FORGOTTEN, cwd=cwd) == "done\n"


@pytest.mark.parametrize("missing", SOURCES)
def test_a_missing_module_fails_with_the_interpreters_error(native, tmp_path, missing):
    fail(
        f"""
kept, sys.modules[{missing!r}] = sys.modules[{missing!r}], None
module = _imp.create_dynamic(spec)
error = failure(_imp.exec_dynamic, module)
sys.modules[{missing!r}] = kept
expected = "ModuleNotFoundError: import of {missing} halted; None in sys.modules"
assert text(error) == expected, error
assert bound(module) == IMPORTED[:{IMPORTED.index(SOURCES[missing][0])}], bound(module)
# One traceback entry for the execute step.
entries = [frame.f_code.co_name for frame, _ in traceback.walk_tb(error.__traceback__)]
assert entries.count("init " + NAME) == 1, entries
""",
        tmp_path,
    )


@pytest.mark.parametrize(
    ("source", "name"),
    [(s, name) for s in ("datetime", "typing", "pathlib") for name in SOURCES[s]],
)
def test_a_missing_name_fails_and_the_names_before_it_are_bound(native, tmp_path, source, name):
    fail(
        f"""
kept = sys.modules[{source!r}]
lacking = types.ModuleType({source!r})
vars(lacking).update({{k: v for k, v in vars(kept).items() if k != {name!r}}})
sys.modules[{source!r}] = lacking
module = _imp.create_dynamic(spec)
error = failure(_imp.exec_dynamic, module)
sys.modules[{source!r}] = kept
assert text(error) == "ImportError: cannot import name {name}", error
assert bound(module) == IMPORTED[:{IMPORTED.index(name)}], bound(module)
""",
        tmp_path,
    )


@pytest.mark.parametrize("name", ["staticmethod", "round", "TypeError", "sorted"])
def test_a_missing_builtin_fails_before_anything_is_imported(native, tmp_path, name):
    fail(
        f"""
module = _imp.create_dynamic(spec)
kept_modules = {{name: sys.modules[name] for name in ("json", "sqlite3")}}
sys.modules.update(dict.fromkeys(kept_modules))
kept = vars(builtins).pop({name!r})
try:
    _imp.exec_dynamic(module)
except BaseException as caught:
    error = caught
finally:
    vars(builtins)[{name!r}] = kept
sys.modules.update(kept_modules)
assert text(error) == "NameError: name '{name}' is not defined", error
assert bound(module) == []
assert "__builtins__" in vars(module)
""",
        tmp_path,
    )


def test_an_import_statement_that_fails_forgets_the_module_too(native, tmp_path):
    fail(
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
    fail(
        """
module = _imp.create_dynamic(spec)
kept, sys.modules["typing"] = sys.modules["typing"], None
failure(_imp.exec_dynamic, module)
sys.modules["typing"] = kept
assert _imp.create_dynamic(spec) is not module
""",
        tmp_path,
    )
