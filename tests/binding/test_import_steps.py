"""The create step and the execute step, each alone, in processes that never imported the module."""

from __future__ import annotations

import pytest

from support import child
from support.child import NATIVE

pytestmark = pytest.mark.slow

PRELUDE = f"""
import _imp, builtins, ctypes, importlib, importlib.util, sys, types
NAME = {NATIVE!r}
spec = importlib.util.find_spec(NAME)

def bare_spec(**attributes):
    return types.SimpleNamespace(name=NAME, origin=spec.origin, **attributes)

def failure(action, *arguments):
    try:
        action(*arguments)
    except BaseException as error:
        return error
    raise AssertionError("no error")

def run_in(interpreter, code):
    import _xxsubinterpreters
    same_path = "import os, sys\\nsys.path[:] = " + repr(sys.path) + "\\n"
    _xxsubinterpreters.run_string(interpreter, same_path + code)
"""


def run(code: str, **options) -> None:
    assert child.output(PRELUDE + code + "\nprint('done')\n", **options).endswith("done\n")


def test_the_create_step_makes_a_module_named_by_the_spec_and_nothing_more(native):
    run("""
module = _imp.create_dynamic(spec)
assert type(module) is types.ModuleType
assert module.__name__ == NAME
assert module.__loader__ is spec.loader
assert module.__file__ == spec.origin
assert module.__package__ == spec.parent == "zentrope_anpr"
assert "__path__" not in vars(module)
assert NAME not in sys.modules
assert [name for name in vars(module) if not name.startswith("__")] == []
assert "__test__" not in vars(module)
assert "__builtins__" not in vars(module)
""")


def test_the_create_step_copies_only_what_the_spec_has(native):
    run("""
module = _imp.create_dynamic(bare_spec())
assert module.__name__ == NAME
assert module.__file__ == spec.origin
assert module.__loader__ is None  # what every new module has
assert module.__package__ is None
assert "__path__" not in vars(module)
""")


def test_the_create_step_copies_the_search_locations_of_a_spec_that_has_them(native):
    run("""
loader, locations = object(), ["somewhere"]
module = _imp.create_dynamic(
    bare_spec(loader=loader, parent="a.parent", submodule_search_locations=locations)
)
assert module.__loader__ is loader
assert module.__package__ == "a.parent"
assert module.__path__ is locations
""")


def test_the_create_step_leaves_out_search_locations_that_are_none(native):
    run("""
module = _imp.create_dynamic(bare_spec(submodule_search_locations=None))
assert "__path__" not in vars(module)
""")


def test_the_create_step_passes_on_an_error_of_reading_the_spec(native):
    run("""
class Spec:
    name = NAME
    origin = spec.origin
    @property
    def loader(self):
        raise ValueError("a broken spec")

error = failure(_imp.create_dynamic, Spec())
assert type(error) is ValueError and str(error) == "a broken spec", error
module = importlib.import_module(NAME)
assert module.__name__ == NAME
""")


def test_the_create_step_called_twice_gives_the_same_module(native):
    run("""
first = _imp.create_dynamic(spec)
assert _imp.create_dynamic(spec) is first
assert _imp.create_dynamic(bare_spec(parent="another")) is first
assert first.__package__ == "zentrope_anpr"
""")


def test_the_execute_step_fills_the_module_that_was_created(native):
    run("""
module = _imp.create_dynamic(spec)
assert _imp.exec_dynamic(module) == 0
assert sys.modules[NAME] is module
assert module.ANPRDatabase.__module__ == NAME
assert importlib.import_module(NAME) is module
""")


def test_a_module_created_under_another_name_is_kept_under_the_full_name(native):
    run("""
other = types.SimpleNamespace(name="elsewhere.zentrope_anpr_server_db", origin=spec.origin)
module = _imp.create_dynamic(other)
assert module.__name__ == other.name
_imp.exec_dynamic(module)
assert sys.modules[NAME] is module
assert module.ANPRDatabase.__module__ == NAME
assert module.ANPRDatabase.get_history.__module__ == NAME
""")


def test_names_are_bound_in_the_order_of_the_imports(native):
    run("""
module = importlib.import_module(NAME)
names = [name for name in vars(module) if not name.startswith("_")]
assert names == [
    "sqlite3", "json", "datetime", "timedelta", "List", "Optional", "Dict", "Path", "ANPRDatabase",
], names
assert list(vars(module))[-1] == "__test__"
""")


EXECUTE = """
definition = ctypes.PyDLL(spec.origin).PyInit_zentrope_anpr_server_db
definition.argtypes, definition.restype = [], ctypes.c_void_p
execute = ctypes.pythonapi.PyModule_ExecDef
execute.argtypes, execute.restype = [ctypes.py_object, ctypes.c_void_p], ctypes.c_int
"""


def test_the_init_function_hands_over_the_module_definition_and_does_nothing_else(native):
    run(
        EXECUTE
        + """
before = set(sys.modules)
first = definition()
assert first and definition() == first
assert set(sys.modules) == before
"""
    )


def test_executing_the_same_module_again_returns_at_once(native):
    run(
        EXECUTE
        + """
module = importlib.import_module(NAME)
store_class, module.json = module.ANPRDatabase, None
assert execute(module, definition()) == 0
assert module.ANPRDatabase is store_class
assert module.json is None
"""
    )


def test_executing_into_another_module_fails_and_leaves_the_imported_one(native, tmp_path):
    run(
        EXECUTE
        + """
module = importlib.import_module(NAME)
other = types.ModuleType(NAME)
before = dict(vars(other))
error = failure(execute, other, definition())
assert type(error) is RuntimeError, error
assert str(error) == (
    "Module 'zentrope_anpr_server_db' has already been imported."
    " Re-initialisation is not supported."
), error
assert vars(other) == before
assert sys.modules[NAME] is module
assert importlib.import_module(NAME) is module
store = module.ANPRDatabase("after.db")
assert store.get_history() == []
""",
        cwd=tmp_path,
    )


@pytest.mark.parametrize("style", ["plain", "isolated"])
def test_a_second_interpreter_is_refused(native, style):
    out = child.output(
        PRELUDE
        + f"""
import os, _xxsubinterpreters
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
    assert out == (
        "ImportError: Interpreter change detected - this module can only be loaded into one"
        " interpreter per process. False"
    )


def test_the_first_interpreter_keeps_the_module_also_when_it_is_not_the_main_one(native):
    out = child.output(
        PRELUDE
        + """
import os, _xxsubinterpreters
other = _xxsubinterpreters.create(isolated=False)
run_in(other, "import zentrope_anpr.zentrope_anpr_server_db")
error = failure(importlib.import_module, NAME)
os.write(1, (type(error).__name__ + ": " + str(error)).encode())
os._exit(0)
"""
    )
    assert out == (
        "ImportError: Interpreter change detected - this module can only be loaded into one"
        " interpreter per process."
    )
