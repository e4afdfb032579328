"""Other `__defaults__` set on a method fill its parameters as those of a Python function do."""

from __future__ import annotations

import pytest

from support.values import error_of


class Recorder:
    """In the place of `self`: tells what an operation was given."""

    def __init__(self):
        self.given = None

    def _get_conn(self):
        return self

    def __enter__(self):
        return self

    def __exit__(self, *error):
        return None

    def execute(self, sql, parameters=()):
        self.given = tuple(parameters)
        return self

    def commit(self):
        pass

    lastrowid = 1


@pytest.mark.parametrize(
    "defaults",
    [
        ("c",),
        ("b", "c"),
        ("p", "l", 3, 4.0),
        ("self", "p", "l", 3, 4.0),
        ("too", "self", "p", "l", 3, 4.0),
        tuple(range(40)),
    ],
)
def test_defaults_fill_from_the_right(native, monkeypatch, defaults):
    def python_function(self, plate, label, detection_id, confidence):
        return (plate, label, detection_id, confidence)

    method = native.ANPRDatabase.add_alert
    monkeypatch.setattr(method, "__defaults__", defaults)
    python_function.__defaults__ = defaults
    for count in range(5):
        recorder = Recorder()
        arguments = (recorder, "P", "L", "I")[:count]
        try:
            expected = python_function(*arguments)
        except TypeError:
            assert type(error_of(method, *arguments)) is TypeError
            continue
        if count == 0:
            # The default for `self` is no store.
            assert type(error_of(method)) is AttributeError
            continue
        method(*arguments)
        assert recorder.given[1:] == expected
