"""Every method that the class has counts and names its arguments as the table says."""

from __future__ import annotations

import re

import pytest

from support.method_table import METHODS, REQUIRED, methods_of
from support.values import error_of, type_and_text


@pytest.fixture(params=METHODS, ids=lambda method: method.name)
def method(request, native):
    if request.param not in methods_of(native.ANPRDatabase):
        pytest.skip("not built yet")
    return request.param


@pytest.fixture
def function(native, method):
    return getattr(native.ANPRDatabase, method.name)


def required(method) -> list[str]:
    return [p.name for p in method.all_parameters if p.default is REQUIRED]


def count_text(method, given: int) -> str:
    fewest, most = len(required(method)), len(method.all_parameters)
    if fewest == most:
        bound, number = "exactly", most
    elif given < fewest:
        bound, number = "at least", fewest
    else:
        bound, number = "at most", most
    plural = "" if number == 1 else "s"
    return f"{method.name}() takes {bound} {number} positional argument{plural} ({given} given)"


def test_too_few_positional_arguments(function, method):
    for given in range(len(required(method))):
        error = error_of(function, *range(given))
        assert type_and_text(error) == (TypeError, count_text(method, given))


def test_too_many_positional_arguments(function, method):
    most = len(method.all_parameters)
    for given in (most + 1, most + 5):
        error = error_of(function, *range(given))
        assert type_and_text(error) == (TypeError, count_text(method, given))


def test_each_required_parameter_missing_beside_keywords(function, method):
    names = required(method)
    for position, missing in enumerate(names):
        named = {name: 5 for name in names if name != missing}
        error = error_of(function, **named)
        assert type_and_text(error) == (TypeError, count_text(method, position))


def test_an_unknown_keyword(function, method):
    for given in range(len(required(method)) + 1):
        error = error_of(function, *range(given), note=5)
        text = f"{method.name}() got an unexpected keyword argument 'note'"
        assert type_and_text(error) == (TypeError, text)


def test_each_parameter_given_twice(function, method):
    names = [p.name for p in method.all_parameters]
    for number, name in enumerate(names, start=1):
        error = error_of(function, *range(number), **{name: 5})
        text = f"{method.name}() got multiple values for keyword argument '{name}'"
        assert type_and_text(error) == (TypeError, text)


def test_a_call_that_binds_reaches_the_operation(function, method):
    """With an object that is no store, so that nothing is touched: its error is another one."""
    by_position = error_of(function, *[5] * len(required(method)))
    by_keyword = error_of(function, **dict.fromkeys(required(method), 5))
    for error in (by_position, by_keyword):
        assert not re.search("(positional|keyword) argument", str(error))
        assert type(error) in (AttributeError, TypeError)
