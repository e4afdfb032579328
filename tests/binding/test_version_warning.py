"""The warning of an interpreter that is not 3.12, seen by loading the file into a newer one."""

from __future__ import annotations

import os
import shutil
import subprocess
from pathlib import Path

import pytest

from support import child
from support.child import NATIVE

pytestmark = pytest.mark.slow

NEWER = "3.13"
TEXT = (
    f"compile time Python version 3.12 of module '{NATIVE}' does not match runtime version {NEWER}"
)


def newer_pythons() -> list[str]:
    roots = [Path(os.environ.get("PYENV_ROOT", Path.home() / ".pyenv")) / "versions"]
    managed = [str(p) for r in roots for p in sorted(r.glob(f"{NEWER}.*/bin/python{NEWER}"))]
    on_path = shutil.which(f"python{NEWER}")
    return managed + ([on_path] if on_path else [])


@pytest.fixture(scope="module")
def newer_python():
    for python in newer_pythons():
        works = subprocess.run(
            [python, "-c", "import sqlite3, sys; sys.exit(sys.version_info[:2] != (3, 13))"],
            capture_output=True,
            check=False,
        )
        if works.returncode == 0:
            return python
    pytest.skip(f"no Python {NEWER} on this machine")


LOAD = f"""
import sys, warnings
from importlib.machinery import ExtensionFileLoader
from importlib.util import module_from_spec, spec_from_file_location
NAME, path = {NATIVE!r}, sys.argv[1]

def load():
    spec = spec_from_file_location(NAME, path, loader=ExtensionFileLoader(NAME, path))
    module = module_from_spec(spec)
    spec.loader.exec_module(module)
    return module
"""


def test_a_newer_interpreter_is_warned_of_and_the_import_continues(native, newer_python):
    out = child.output(
        LOAD
        + """
with warnings.catch_warnings(record=True) as caught:
    warnings.simplefilter("always")
    module = load()
print([(w.category.__name__, str(w.message)) for w in caught if "compile time" in str(w.message)])
print(sys.modules[NAME] is module, isinstance(module.ANPRDatabase, type), module.__test__)
""",
        native.__file__,
        python=newer_python,
    )
    assert out.splitlines() == [repr([("RuntimeWarning", TEXT)]), "True True {}"]


def test_a_filter_that_makes_the_warning_an_error_fails_the_import(native, newer_python):
    out = child.output(
        LOAD
        + """
warnings.simplefilter("error", RuntimeWarning)
try:
    load()
except RuntimeWarning as error:
    print(str(error))
print(NAME in sys.modules)
warnings.simplefilter("ignore", RuntimeWarning)
print(isinstance(load().ANPRDatabase, type))
""",
        native.__file__,
        python=newer_python,
    )
    assert out.splitlines() == [TEXT, "False", "True"]


def test_the_interpreter_it_was_made_for_is_not_warned_of(native):
    out = child.output(
        f"""
import warnings
warnings.simplefilter("error")
import {NATIVE}
print("done")
"""
    )
    assert out == "done\n"
