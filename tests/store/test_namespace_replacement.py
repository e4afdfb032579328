"""Names of the module namespace are looked up at each use, so a replacement is what is called."""

from __future__ import annotations

import builtins
import json
import pathlib
import sqlite3
from types import SimpleNamespace
from unittest import mock

import pytest

from support import database
from support.samples import add
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def replace(store_module, monkeypatch):
    return lambda name, value: monkeypatch.setattr(store_module, name, value)


class Calls:
    """A function that writes its calls down and passes them on."""

    def __init__(self, function):
        self.function = function
        self.made = []

    def __call__(self, *arguments, **named):
        self.made.append((arguments, named))
        return self.function(*arguments, **named)


def test_a_replaced_sqlite3_opens_the_connection_from_the_path_alone(store, replace, db_path):
    connect = Calls(sqlite3.connect)
    replace("sqlite3", SimpleNamespace(connect=connect, Row=sqlite3.Row))
    assert add(store) == 1
    assert connect.made == [((str(db_path),), {})]
    assert type(connect.made[0][0][0]) is str
    connection = store._get_conn()
    assert type(connection) is sqlite3.Connection
    assert connection.row_factory is sqlite3.Row


def test_a_replaced_sqlite3_gives_its_own_row_factory(store, replace):
    def row_factory(cursor, values):
        return {"id": values[0], "mmc_data": "[5]"}

    replace("sqlite3", SimpleNamespace(connect=sqlite3.connect, Row=row_factory))
    add(store)
    assert store.get_history() == [{"id": 1, "mmc_data": [5]}]
    assert store.get_detection(1) == {"id": 1, "mmc_data": [5]}
    assert store._get_conn().row_factory is row_factory


def test_the_row_factory_is_set_on_whatever_connect_returns(store, replace):
    connection = SimpleNamespace()
    marker = object()
    replace("sqlite3", SimpleNamespace(connect=lambda name: connection, Row=marker))
    assert store._get_conn() is connection
    assert vars(connection) == {"row_factory": marker}


def test_the_row_is_looked_up_after_connecting(store, replace):
    replace("sqlite3", SimpleNamespace(connect=sqlite3.connect))
    assert type_and_text(error_of(store._get_conn)) == (
        AttributeError,
        "'types.SimpleNamespace' object has no attribute 'Row'",
    )
    replace("sqlite3", SimpleNamespace())
    assert type_and_text(error_of(store._get_conn)) == (
        AttributeError,
        "'types.SimpleNamespace' object has no attribute 'connect'",
    )


def test_a_patched_connect_of_the_standard_module_is_called(store, db_path):
    with mock.patch("sqlite3.connect", wraps=sqlite3.connect) as connect:
        add(store)
    connect.assert_called_once_with(str(db_path))
    assert len(store.get_history()) == 1
    connect.assert_called_once()


def test_a_connect_that_fails_fails_the_operation(store):
    with mock.patch("sqlite3.connect", side_effect=RuntimeError("no connection today")):
        assert type_and_text(error_of(store.get_history)) == (RuntimeError, "no connection today")


def test_a_patched_row_of_the_standard_module_is_set(store):
    add(store)
    with mock.patch("sqlite3.Row", lambda cursor, values: list(zip("ab", values, strict=False))):
        assert store.get_detection(1)["a"] == 1


def test_a_file_name_reaches_a_replaced_connect_as_it_is(store, replace, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    connect = Calls(lambda name: sqlite3.connect(":memory:"))
    replace("sqlite3", SimpleNamespace(connect=connect, Row=sqlite3.Row))
    store.db_path = "file:anpr.db"
    store._get_conn()
    assert connect.made == [(("file:anpr.db",), {})]


def test_the_guarded_steps_catch_the_namespaces_error(store, store_module, replace, db_path):
    class Other(Exception):
        pass

    replace(
        "sqlite3",
        SimpleNamespace(connect=sqlite3.connect, Row=sqlite3.Row, OperationalError=Other),
    )
    assert type_and_text(error_of(store_module.ANPRDatabase, db_path)) == (
        sqlite3.OperationalError,
        "duplicate column name: mmc_data",
    )


def test_the_error_is_looked_up_only_when_a_step_has_failed(store_module, replace, db_path):
    replace("sqlite3", SimpleNamespace(connect=sqlite3.connect, Row=sqlite3.Row))
    error = error_of(store_module.ANPRDatabase, db_path)
    assert type_and_text(error) == (
        AttributeError,
        "'types.SimpleNamespace' object has no attribute 'OperationalError'",
    )
    assert type_and_text(error.__context__) == (
        sqlite3.OperationalError,
        "duplicate column name: note",
    )


def test_a_guarded_step_may_catch_several_errors(store_module, replace, db_path):
    replace(
        "sqlite3",
        SimpleNamespace(
            connect=sqlite3.connect,
            Row=sqlite3.Row,
            OperationalError=(LookupError, sqlite3.OperationalError),
        ),
    )
    assert add(store_module.ANPRDatabase(db_path)) == 1


def test_a_replaced_writer_is_called_once_for_each_json_column_in_order(store, replace, db_path):
    dumps = Calls(lambda value: f"<{value}>")
    replace("json", SimpleNamespace(dumps=dumps))
    plates, confidences, bboxes, detector = ["A"], [0.5], [[1]], [0.25]
    store.add_detection(plates, confidences, bboxes, 0, 0, 0, None, None, True, detector)
    assert dumps.made == [((v,), {}) for v in (plates, confidences, bboxes, detector)]
    assert all(
        made[0][0] is v
        for made, v in zip(dumps.made, (plates, confidences, bboxes, detector), strict=True)
    )
    row = database.detection(db_path, 1)
    assert (row["plates"], row["confidences"], row["bboxes"]) == ("<['A']>", "<[0.5]>", "<[[1]]>")
    assert row["detection_confidences"] == "<[0.25]>"
    dumps.made.clear()
    store.add_detection([], [], [], 0, 0, 0)
    assert len(dumps.made) == 3
    dumps.made.clear()
    store.update_mmc_data(1, None)
    assert dumps.made == [((None,), {})]
    assert database.detection(db_path, 1)["mmc_data"] == "<None>"


def test_what_a_replaced_writer_gives_is_bound_as_it_is(store, replace, db_path):
    replace("json", SimpleNamespace(dumps=lambda value: b"bytes"))
    store.update_mmc_data(add(store), {})
    assert database.detection(db_path, 1)["mmc_data"] == b"bytes"


def test_a_patched_writer_of_the_standard_module_is_called(store, db_path):
    with mock.patch("json.dumps", return_value="patched"):
        add(store)
    assert database.detection(db_path, 1)["plates"] == "patched"
    add(store)
    assert database.detection(db_path, 2)["plates"] == '["AB123", "XY-9"]'


def test_a_replaced_reader_is_given_the_stored_text(store, replace):
    add(store)
    loads = Calls(lambda text: (text, "read"))
    replace("json", SimpleNamespace(loads=loads, JSONDecodeError=json.JSONDecodeError))
    record = store.get_detection(1)
    assert record["plates"] == ('["AB123", "XY-9"]', "read")
    assert loads.made == [
        (('["AB123", "XY-9"]',), {}),
        (("[0.93, 0.5]",), {}),
        (("[[10, 20, 110, 60], [200, 20, 310, 60]]",), {}),
    ]


def test_the_conversion_catches_the_namespaces_syntax_error(store, replace, store_module):
    class Broken(Exception):
        pass

    def loads(text):
        raise Broken(text)

    add(store)
    replace("json", SimpleNamespace(loads=loads, JSONDecodeError=Broken))
    assert store.get_detection(1)["plates"] == '["AB123", "XY-9"]'
    replace("json", SimpleNamespace(loads=loads, JSONDecodeError=json.JSONDecodeError))
    assert type_and_text(error_of(store.get_detection, 1)) == (Broken, '["AB123", "XY-9"]')
    replace("json", SimpleNamespace(loads=json.loads, JSONDecodeError=Broken))
    broken = {"plates": "broken"}
    error = error_of(store_module.ANPRDatabase._row_to_dict, broken)
    assert type(error) is json.JSONDecodeError


def test_a_patched_reader_of_the_standard_module_is_called(store):
    add(store)
    with mock.patch("json.loads", return_value="patched"):
        assert store.get_history()[0]["plates"] == "patched"
    assert store.get_history()[0]["plates"] == ["AB123", "XY-9"]


def test_a_patched_syntax_error_of_the_standard_module_is_what_is_caught(store):
    add(store)
    with mock.patch("json.JSONDecodeError", KeyError):
        error = error_of(store._row_to_dict, {"plates": "broken"})
    assert type(error) is json.JSONDecodeError
    assert store._row_to_dict({"plates": "broken"}) == {"plates": "broken"}


def test_a_replaced_clock_is_asked_for_now_and_its_iso_text(store, replace, db_path):
    now = Calls(lambda: SimpleNamespace(isoformat=iso))
    iso = Calls(lambda: "the time")
    replace("datetime", SimpleNamespace(now=now))
    add(store)
    assert database.detection(db_path, 1)["timestamp"] == "the time"
    assert now.made == iso.made == [((), {})]


def test_what_a_replaced_clock_gives_is_bound_as_it_is(store, replace, db_path):
    replace("datetime", SimpleNamespace(now=lambda: SimpleNamespace(isoformat=lambda: b"12:00")))
    add(store)
    assert database.detection(db_path, 1)["timestamp"] == b"12:00"
    replace("datetime", SimpleNamespace(now=lambda: SimpleNamespace(isoformat=lambda: None)))
    assert type_and_text(error_of(add, store)) == (
        sqlite3.IntegrityError,
        "NOT NULL constraint failed: detections.timestamp",
    )


def test_a_replaced_path_is_made_and_its_parents_directory(store_module, replace, db_path):
    mkdir = Calls(lambda **named: None)
    path = mock.MagicMock(name="path")
    path.parent.mkdir = mkdir
    path.__str__.return_value = str(db_path)
    make = Calls(lambda given: path)
    replace("Path", make)
    store = store_module.ANPRDatabase("anything at all")
    assert make.made == [(("anything at all",), {})]
    assert mkdir.made == [((), {"parents": True, "exist_ok": True})]
    assert store.db_path is path
    assert add(store) == 1
    assert len(make.made) == len(mkdir.made) == 1


def test_a_patched_mkdir_of_the_standard_path_is_called(store_module, db_path):
    with mock.patch.object(pathlib.Path, "mkdir", autospec=True) as mkdir:
        store_module.ANPRDatabase(db_path)
    mkdir.assert_called_once_with(db_path.parent, parents=True, exist_ok=True)


NEEDED = {
    "sqlite3": lambda store: store.get_history(),
    "json": lambda store: store.update_mmc_data(1, {}),
    "datetime": add,
    "Path": lambda store: type(store)("another.db"),
}


@pytest.mark.parametrize("name", NEEDED)
def test_a_name_that_is_gone_is_a_name_error(store, store_module, monkeypatch, tmp_path, name):
    monkeypatch.chdir(tmp_path)
    monkeypatch.delattr(store_module, name)
    error = error_of(NEEDED[name], store)
    assert type_and_text(error) == (NameError, f"name '{name}' is not defined")


@pytest.mark.parametrize("name", NEEDED)
def test_a_name_that_is_gone_is_found_among_the_builtins(
    store, store_module, monkeypatch, tmp_path, name
):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setattr(builtins, name, getattr(store_module, name), raising=False)
    monkeypatch.delattr(store_module, name)
    NEEDED[name](store)


def test_a_name_among_the_builtins_does_not_hide_the_modules(store, monkeypatch):
    monkeypatch.setattr(builtins, "json", None, raising=False)
    assert add(store) == 1


def test_a_replaced_module_without_the_function_says_so(store, replace):
    replace("json", SimpleNamespace())
    assert type_and_text(error_of(add, store)) == (
        AttributeError,
        "'types.SimpleNamespace' object has no attribute 'dumps'",
    )
    replace("datetime", None)
    assert type_and_text(error_of(add, store)) == (
        AttributeError,
        "'NoneType' object has no attribute 'now'",
    )


def test_names_the_operations_do_not_use_may_be_anything(store, replace):
    for name in ("List", "Optional", "Dict"):
        replace(name, None)
    add(store)
    assert exactly(store.get_detection(1)["plates"]) == exactly(["AB123", "XY-9"])


def test_replacing_takes_effect_on_objects_made_before(store, store_module, replace):
    add(store)
    kept = store.get_history
    replace("json", SimpleNamespace(loads=len, JSONDecodeError=ValueError))
    assert kept()[0]["plates"] == len('["AB123", "XY-9"]')
