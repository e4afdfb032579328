"""Methods kept from an import that failed: refused, before and after an import that works."""

from __future__ import annotations

from support import child

PROGRAM = """
import builtins, gc, importlib, sys, types
import datetime, json, pathlib, sqlite3, typing
NAME = "zentrope_anpr.zentrope_anpr_server_db"
standard = staticmethod
kept = []

class Keeping:
    def __init__(self, function):
        # The other methods are in the class namespace by now, which nobody else has yet.
        kept.extend(
            found
            for found in gc.get_objects()
            if isinstance(found, types.FunctionType)
            and found.__module__ == NAME
        )
        kept.append(function)
        raise ValueError("no static methods here")

builtins.staticmethod = Keeping
try:
    importlib.import_module(NAME)
except ValueError as error:
    print(error)
builtins.staticmethod = standard
methods = {function.__name__: function for function in kept}
assert {"_row_to_dict", "__init__", "add_watchlist", "get_history"} <= set(methods), methods

def told(function, *arguments):
    try:
        function(*arguments)
    except Exception as error:
        return f"{type(error).__name__}: {error}"

class Stranger:
    db_path = sys.argv[1]

def try_all():
    calls = [
        ("_row_to_dict", {"a": 1}),
        ("__init__", Stranger(), sys.argv[1]),
        ("add_watchlist", Stranger(), "AB123"),
        ("get_history", Stranger()),
    ]
    return {told(methods[name], *arguments) for name, *arguments in calls}

print(*try_all())
native = importlib.import_module(NAME)
print(native.ANPRDatabase(sys.argv[1]).get_history())
print(*try_all())
"""


def test_a_method_kept_from_a_failed_import_is_refused(tmp_path):
    refused = (
        "RuntimeError: this method was made by an import of "
        "zentrope_anpr.zentrope_anpr_server_db that failed"
    )
    assert child.output(PROGRAM, str(tmp_path / "x.db")).splitlines() == [
        "no static methods here",
        refused,
        "[]",
        refused,
    ]
