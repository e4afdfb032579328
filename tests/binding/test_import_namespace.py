"""What an import leaves: the module, its namespace, and one module object a process."""

from __future__ import annotations

import builtins
import datetime
import importlib
import importlib.machinery
import json
import pathlib
import sqlite3
import sys
import typing

import pytest

from support.child import NATIVE

NAMES = {
    "sqlite3": sqlite3,
    "json": json,
    "datetime": datetime.datetime,
    "timedelta": datetime.timedelta,
    "List": typing.List,  # noqa: UP006
    "Optional": typing.Optional,
    "Dict": typing.Dict,  # noqa: UP006
    "Path": pathlib.Path,
}


@pytest.mark.parametrize("name", NAMES)
def test_the_namespace_binds_what_was_imported(native, name):
    assert vars(native)[name] is NAMES[name]


def test_the_namespace_holds_the_class_and_an_empty_mapping_of_tests(native):
    assert isinstance(native.ANPRDatabase, type)
    assert native.__test__ == {}
    assert type(native.__test__) is dict


def test_the_namespace_holds_nothing_else_but_module_attributes(native):
    others = set(vars(native)) - set(NAMES) - {"ANPRDatabase"}
    assert {name for name in others if not (name.startswith("__") and name.endswith("__"))} == set()


def test_the_module_has_the_attributes_of_its_import(native):
    spec = native.__spec__
    assert native.__name__ == NATIVE
    assert spec.name == NATIVE
    assert native.__file__ == spec.origin
    assert native.__loader__ is spec.loader
    assert isinstance(native.__loader__, importlib.machinery.ExtensionFileLoader)
    assert native.__package__ == "zentrope_anpr"
    assert not hasattr(native, "__path__")


def test_the_module_has_builtins_set(native):
    assert any(native.__builtins__ is known for known in (builtins, vars(builtins)))


def test_the_module_table_holds_the_module_under_its_full_name(native):
    assert sys.modules[NATIVE] is native


def test_importing_twice_gives_the_same_module_and_class(native):
    store_class = native.ANPRDatabase
    again = importlib.import_module(NATIVE)
    assert again is native
    assert again.ANPRDatabase is store_class


def test_importing_after_the_module_table_lost_it_gives_the_same_without_executing(
    native, monkeypatch
):
    store_class = native.ANPRDatabase
    marker = object()
    monkeypatch.setattr(native, "json", marker)
    monkeypatch.setattr(native, "__test__", marker)
    monkeypatch.delitem(sys.modules, NATIVE)
    again = importlib.import_module(NATIVE)
    assert again is native
    assert again.ANPRDatabase is store_class
    assert again.json is marker
    assert again.__test__ is marker


def test_a_reload_gives_the_same_without_executing(native, monkeypatch):
    marker = object()
    monkeypatch.setattr(native, "json", marker)
    assert importlib.reload(native) is native
    assert native.json is marker


def test_the_package_root_has_no_file_of_its_own(native):
    package = sys.modules["zentrope_anpr"]
    assert getattr(package, "__file__", None) is None
