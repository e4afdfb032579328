"""The class object as introspection sees it, held against the table of its methods."""

from __future__ import annotations

import copy
import inspect
import pickle
import pydoc
import types
import typing
import weakref
from unittest import mock

import pytest

from support.child import NATIVE
from support.operations import BY_NAME, OPERATIONS, REQUIRED, Operation
from support.values import error_of, exactly


@pytest.fixture
def store_class(store_module):
    return store_module.ANPRDatabase


@pytest.fixture(params=OPERATIONS, ids=str)
def method(request):
    return request.param


@pytest.fixture
def function(store_class, method) -> types.FunctionType:
    held = vars(store_class)[method.name]
    return held.__func__ if method.static else held


def expected_signature(method: Operation) -> inspect.Signature:
    empty = inspect.Parameter.empty
    return inspect.Signature(
        [
            inspect.Parameter(
                p.name,
                inspect.Parameter.POSITIONAL_OR_KEYWORD,
                default=empty if p.default is REQUIRED else p.default,
                annotation=empty if p.annotation is None else p.annotation,
            )
            for p in method.all_parameters
        ],
        return_annotation=inspect.Signature.empty if method.returns is None else method.returns,
    )


def test_the_class_is_an_ordinary_one(store_class, store_module):
    assert type(store_class) is type
    assert store_class.__bases__ == (object,)
    assert store_class.__module__ == store_module.__name__
    assert store_class.__qualname__ == "ANPRDatabase"
    assert store_class.__name__ == "ANPRDatabase"


def test_the_class_belongs_to_the_module_by_its_full_name(native):
    assert native.ANPRDatabase.__module__ == NATIVE
    assert repr(native.ANPRDatabase) == f"<class '{NATIVE}.ANPRDatabase'>"


def test_the_class_defines_its_methods_in_table_order_and_nothing_else(store_class):
    made_by_type = {"__module__", "__dict__", "__weakref__", "__doc__"}
    names = [name for name in vars(store_class) if name not in made_by_type]
    assert names == list(BY_NAME)
    assert len(names) == 25


def test_a_method_is_a_genuine_function_named_after_itself(
    store_class, store_module, function, method
):
    assert type(function) is types.FunctionType
    assert isinstance(vars(store_class)[method.name], staticmethod) is method.static
    assert function.__name__ == method.name
    assert function.__qualname__ == f"ANPRDatabase.{method.name}"
    assert function.__module__ == store_class.__module__
    assert function.__globals__ is vars(store_module)


def test_a_method_has_the_defaults_and_annotations_of_the_table(function, method):
    assert exactly(function.__defaults__) == exactly(method.defaults)
    assert function.__kwdefaults__ is None
    assert exactly(function.__annotations__) == exactly(method.annotations)


def test_the_code_of_a_method_tells_its_parameters(function, method):
    code = function.__code__
    assert code.co_varnames[: code.co_argcount] == tuple(p.name for p in method.all_parameters)
    assert (code.co_posonlyargcount, code.co_kwonlyargcount) == (0, 0)
    assert not code.co_flags & (inspect.CO_VARARGS | inspect.CO_VARKEYWORDS)


def test_the_signature_of_a_method_is_the_one_of_the_table(function, method):
    assert inspect.signature(function) == expected_signature(method)
    assert str(inspect.signature(function)) == str(expected_signature(method))


def test_the_hints_of_a_method_evaluate_in_the_module(function, store_module, method):
    expected = {n: eval(text, vars(store_module)) for n, text in method.annotations.items()}
    assert typing.get_type_hints(function) == expected


def test_the_hints_of_recording_are_typings_own(store_class):
    hints = typing.get_type_hints(store_class.add_detection)
    assert hints["plates"] == typing.List[str]  # noqa: UP006
    assert hints["detection_confidences"] == typing.Optional[typing.List[float]]  # noqa: UP006, UP045
    assert hints["return"] is int


def test_help_shows_every_method_with_its_signature(store_class):
    page = pydoc.render_doc(store_class, renderer=pydoc.plaintext)
    assert "class ANPRDatabase(builtins.object)" in page
    for method in OPERATIONS:
        if not method.name.startswith("_") or method.name == "__init__":
            assert f"{method.name}{expected_signature(method)}" in page


def test_every_public_method_has_a_docstring(native):
    for method in OPERATIONS:
        if not method.name.startswith("_"):
            assert inspect.getdoc(getattr(native.ANPRDatabase, method.name)), method.name


def test_an_autospec_takes_what_the_class_takes(store_class):
    double = mock.create_autospec(store_class)
    instance = double("anpr.db")
    instance.get_history.return_value = []
    assert instance.get_history(5, date_from="2024") == []
    instance.get_history.assert_called_once_with(limit=5, date_from="2024")
    assert type(error_of(instance.get_history, page=1)) is TypeError
    assert type(error_of(instance.get_detection)) is TypeError
    assert type(error_of(double)) is TypeError
    assert not hasattr(instance, "get_nothing")


def test_a_patched_method_can_be_autospecced(store_class, store):
    with mock.patch.object(store_class, "get_detection", autospec=True) as patched:
        patched.return_value = {"id": 5}
        assert store.get_detection(5) == {"id": 5}
    patched.assert_called_once_with(store, 5)
    assert store.get_detection(5) is None


def test_an_instance_has_an_attribute_dictionary_and_can_be_referred_to_weakly(store):
    assert type(vars(store)) is dict
    assert weakref.ref(store)() is store
    store.anything = 5
    assert vars(store)["anything"] == 5


def test_an_instance_can_be_copied_and_pickled(store, db_path):
    for twin in (copy.copy(store), copy.deepcopy(store), pickle.loads(pickle.dumps(store))):
        assert type(twin) is type(store)
        assert vars(twin) == {"db_path": db_path}
        assert twin.get_history() == []


def test_methods_are_bound_to_the_object(store, store_class):
    bound = store.get_history
    assert type(bound) is types.MethodType
    assert bound.__self__ is store
    assert bound.__func__ is store_class.get_history
    assert str(inspect.signature(bound)) == (
        "(limit: 'int' = 100, offset: 'int' = 0, date_from: 'str' = None, date_to: 'str' = None)"
        " -> 'List[Dict]'"
    )


def test_the_class_needs_no_object_for_row_conversion(store_class, store):
    assert store_class._row_to_dict({"plates": "[]"}) == {"plates": []}
    assert store._row_to_dict({"plates": "[]"}) == {"plates": []}
    assert store_class._row_to_dict is store._row_to_dict
