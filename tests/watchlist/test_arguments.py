"""How the operations on watchlist and alerts are called: parameters, defaults, binding errors."""

from __future__ import annotations

import pytest

from support.values import error_of, exactly, type_and_text

# name: defaults, annotations
OPERATIONS = {
    "get_watchlist": (None, {"return": "List[Dict]"}),
    "add_watchlist": (("",), {"plate": "str", "label": "str", "return": "int"}),
    "remove_watchlist": (None, {"watchlist_id": "int", "return": "bool"}),
    "check_watchlist": (None, {"plates": "List[str]", "return": "List[Dict]"}),
    "add_alert": (
        None,
        {
            "plate": "str",
            "label": "str",
            "detection_id": "int",
            "confidence": "float",
            "return": "int",
        },
    ),
    "get_alerts": ((50,), {"limit": "int", "return": "List[Dict]"}),
    "get_alert_count": ((True,), {"unread_only": "bool", "return": "int"}),
    "mark_alerts_read": (None, {"return": "int"}),
    "get_alerts_for_detections": (
        None,
        {"detection_ids": "List[int]", "return": "Dict[int, List[Dict]]"},
    ),
}


@pytest.mark.parametrize("name", OPERATIONS)
def test_parameters_defaults_and_annotations(store_module, name):
    defaults, annotations = OPERATIONS[name]
    function = vars(store_module.ANPRDatabase)[name]
    assert type(function).__name__ == "function"  # a method, not a static one
    assert exactly(function.__defaults__) == exactly(defaults)
    assert exactly(function.__annotations__) == exactly(annotations)


@pytest.mark.parametrize(
    ("name", "given", "text"),
    [
        ("get_watchlist", 1, "get_watchlist() takes exactly 1 positional argument (2 given)"),
        ("add_watchlist", 0, "add_watchlist() takes at least 2 positional arguments (1 given)"),
        ("add_watchlist", 3, "add_watchlist() takes at most 3 positional arguments (4 given)"),
        (
            "remove_watchlist",
            0,
            "remove_watchlist() takes exactly 2 positional arguments (1 given)",
        ),
        (
            "remove_watchlist",
            2,
            "remove_watchlist() takes exactly 2 positional arguments (3 given)",
        ),
        ("check_watchlist", 0, "check_watchlist() takes exactly 2 positional arguments (1 given)"),
        ("check_watchlist", 2, "check_watchlist() takes exactly 2 positional arguments (3 given)"),
        ("add_alert", 3, "add_alert() takes exactly 5 positional arguments (4 given)"),
        ("add_alert", 5, "add_alert() takes exactly 5 positional arguments (6 given)"),
        ("get_alerts", 2, "get_alerts() takes at most 2 positional arguments (3 given)"),
        ("get_alert_count", 2, "get_alert_count() takes at most 2 positional arguments (3 given)"),
        ("mark_alerts_read", 1, "mark_alerts_read() takes exactly 1 positional argument (2 given)"),
        (
            "get_alerts_for_detections",
            0,
            "get_alerts_for_detections() takes exactly 2 positional arguments (1 given)",
        ),
        (
            "get_alerts_for_detections",
            2,
            "get_alerts_for_detections() takes exactly 2 positional arguments (3 given)",
        ),
    ],
)
def test_wrong_numbers_of_arguments(native, db_path, name, given, text):
    store = native.ANPRDatabase(db_path)
    assert type_and_text(error_of(getattr(store, name), *range(given))) == (TypeError, text)


def test_too_few_arguments_for_methods_with_defaults(native):
    for name in ("get_alerts", "get_alert_count"):
        function = getattr(native.ANPRDatabase, name)
        text = f"{name}() takes at least 1 positional argument (0 given)"
        assert type_and_text(error_of(function)) == (TypeError, text)


@pytest.mark.parametrize("name", ["add_watchlist", "add_alert"])
def test_an_unknown_keyword(store, name):
    error = error_of(getattr(store, name), "AB", note="x")
    assert type(error) is TypeError
    assert str(error).endswith(f"{name}() got an unexpected keyword argument 'note'")


@pytest.mark.parametrize("name", ["get_alert_count", "get_alerts"])
def test_an_argument_given_twice(native, db_path, name):
    store = native.ANPRDatabase(db_path)
    (parameter,) = (text for text in OPERATIONS[name][1] if text != "return")
    assert type_and_text(error_of(getattr(store, name), 1, **{parameter: 1})) == (
        TypeError,
        f"{name}() got multiple values for keyword argument '{parameter}'",
    )


def test_an_override_in_a_subclass_takes_effect_alone(store_module, db_path):
    # The operations do not call each other, so none of them sees another's override.
    class Loud(store_module.ANPRDatabase):
        def get_watchlist(self):
            raise AssertionError("not asked")

        def get_alerts(self, limit=50):
            return super().get_alerts(limit)[::-1]

        @staticmethod
        def _row_to_dict(row):
            raise AssertionError("entries and alerts are no detections")

    store = Loud(db_path)
    store.add_watchlist("AB")
    for label in ("first", "second"):
        store.add_alert("AB", label, 1, 0.5)
    assert len(store.check_watchlist(["AB"])) == 1
    assert [alert["watchlist_label"] for alert in store.get_alerts()] == ["first", "second"]
    assert len(store.get_alerts_for_detections([1])[1]) == 2
