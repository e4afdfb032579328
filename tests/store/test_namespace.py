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
from support.values import error_of, type_and_text

PLATES = '["AB123", "XY-9"]'  # as `add` has them stored


@pytest.fixture
def replace(store_module, monkeypatch):
    """Puts an object with just these attributes in the place of a name."""
    return lambda name, **parts: monkeypatch.setattr(store_module, name, SimpleNamespace(**parts))


class Calls:
    """A function that writes its calls down and passes them on."""

    def __init__(self, function):
        self.function = function
        self.made = []

    def __call__(self, *arguments, **named):
        self.made.append((arguments, named))
        return self.function(*arguments, **named)


def missing(owner, name):
    return AttributeError, f"'{owner}' object has no attribute '{name}'"


def test_a_replaced_sqlite3_opens_the_connection_from_the_path_alone(store, replace, db_path):
    connect = Calls(sqlite3.connect)
    replace("sqlite3", connect=connect, Row=sqlite3.Row)
    assert add(store) == 1
    assert connect.made == [((str(db_path),), {})]
    assert type(connect.made[0][0][0]) is str
    connection = store._get_conn()
    assert type(connection) is sqlite3.Connection
    assert connection.row_factory is sqlite3.Row


def test_a_replaced_sqlite3_gives_its_own_row_factory(store, replace):
    def row_factory(cursor, values):
        return {"id": values[0], "mmc_data": "[5]"}

    replace("sqlite3", connect=sqlite3.connect, Row=row_factory)
    add(store)
    assert store.get_history() == [{"id": 1, "mmc_data": [5]}]
    assert store.get_detection(1) == {"id": 1, "mmc_data": [5]}
    assert store._get_conn().row_factory is row_factory


def test_the_row_factory_is_looked_up_after_connecting_and_set_on_whatever_that_returns(
    store, replace
):
    connection, marker = SimpleNamespace(), object()
    replace("sqlite3", connect=lambda name: connection, Row=marker)
    assert store._get_conn() is connection
    assert vars(connection) == {"row_factory": marker}
    replace("sqlite3", connect=sqlite3.connect)
    assert type_and_text(error_of(store._get_conn)) == missing("types.SimpleNamespace", "Row")
    replace("sqlite3")
    assert type_and_text(error_of(store._get_conn)) == missing("types.SimpleNamespace", "connect")


def test_a_file_name_reaches_a_replaced_connect_as_it_is(store, replace):
    connect = Calls(lambda name: sqlite3.connect(":memory:"))
    replace("sqlite3", connect=connect, Row=sqlite3.Row)
    store.db_path = "file:anpr.db"
    store._get_conn()
    assert connect.made == [(("file:anpr.db",), {})]


def test_patched_functions_of_the_standard_modules_are_called_while_patched(store, db_path):
    with mock.patch("sqlite3.connect", wraps=sqlite3.connect) as connect:
        add(store)
    connect.assert_called_once_with(str(db_path))
    with mock.patch("json.loads", return_value="patched"):
        assert store.get_history()[0]["plates"] == "patched"
    assert store.get_history()[0]["plates"] == ["AB123", "XY-9"]
    connect.assert_called_once()
    with mock.patch("json.dumps", return_value="patched"):
        add(store)
    assert database.detection(db_path, 2)["plates"] == "patched"
    add(store)
    assert database.detection(db_path, 3)["plates"] == PLATES
    with mock.patch("sqlite3.connect", side_effect=RuntimeError("no connection today")):
        assert type_and_text(error_of(store.get_history)) == (RuntimeError, "no connection today")
    with mock.patch("sqlite3.Row", lambda cursor, row: list(zip("ab", row, strict=False))):
        assert store.get_detection(1)["a"] == 1
    broken = {"plates": "broken"}
    with mock.patch("json.JSONDecodeError", KeyError):
        error = error_of(store._row_to_dict, broken)
    assert type(error) is json.JSONDecodeError
    assert store._row_to_dict(broken) == broken


class Other(Exception):
    pass


CAUGHT = {
    "another": (Other, "duplicate column name: mmc_data"),
    "several": ((LookupError, sqlite3.OperationalError), None),
}


@pytest.mark.parametrize("name", CAUGHT)
def test_the_guarded_steps_catch_the_namespaces_error(store_module, store, replace, name):
    caught, text = CAUGHT[name]
    replace("sqlite3", connect=sqlite3.connect, Row=sqlite3.Row, OperationalError=caught)
    if text is None:
        assert add(store_module.ANPRDatabase(store.db_path)) == 1
        return
    error = error_of(store_module.ANPRDatabase, store.db_path)
    assert type_and_text(error) == (sqlite3.OperationalError, text)


def test_the_error_is_looked_up_only_when_a_step_has_failed(store_module, replace, db_path):
    replace("sqlite3", connect=sqlite3.connect, Row=sqlite3.Row)
    error = error_of(store_module.ANPRDatabase, db_path)
    assert type_and_text(error) == missing("types.SimpleNamespace", "OperationalError")
    assert type_and_text(error.__context__) == (
        sqlite3.OperationalError,
        "duplicate column name: note",
    )


def test_a_replaced_writer_is_called_once_for_each_json_column_in_order(store, replace, db_path):
    dumps = Calls(lambda value: f"<{value}>")
    replace("json", dumps=dumps)
    plates, confidences, bboxes, detector = ["A"], [0.5], [[1]], [0.25]
    store.add_detection(plates, confidences, bboxes, 0, 0, 0, None, None, True, detector)
    assert [named for _, named in dumps.made] == [{}] * 4
    for ((made,), _), given in zip(
        dumps.made, (plates, confidences, bboxes, detector), strict=True
    ):
        assert made is given
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
    replace("json", dumps=lambda value: b"bytes")  # bound as it is
    store.update_mmc_data(1, {})
    assert database.detection(db_path, 1)["mmc_data"] == b"bytes"


def test_a_replaced_reader_is_given_the_stored_text(store, replace):
    add(store)
    loads = Calls(lambda text: (text, "read"))
    replace("json", loads=loads, JSONDecodeError=json.JSONDecodeError)
    assert store.get_detection(1)["plates"] == (PLATES, "read")
    texts = (PLATES, "[0.93, 0.5]", "[[10, 20, 110, 60], [200, 20, 310, 60]]")
    assert loads.made == [((text,), {}) for text in texts]


def test_the_conversion_catches_the_namespaces_syntax_error(store, replace):
    class Broken(Exception):
        pass

    def loads(text):
        raise Broken(text)

    add(store)
    replace("json", loads=loads, JSONDecodeError=Broken)
    assert store.get_detection(1)["plates"] == PLATES
    replace("json", loads=loads, JSONDecodeError=json.JSONDecodeError)
    assert type_and_text(error_of(store.get_detection, 1)) == (Broken, PLATES)
    replace("json", loads=json.loads, JSONDecodeError=Broken)
    error = error_of(type(store)._row_to_dict, {"plates": "broken"})
    assert type(error) is json.JSONDecodeError


def test_a_replaced_clock_is_asked_for_now_and_its_iso_text(store, replace, db_path):
    now = Calls(lambda: SimpleNamespace(isoformat=iso))
    iso = Calls(lambda: "the time")
    replace("datetime", now=now)
    add(store)
    assert database.detection(db_path, 1)["timestamp"] == "the time"
    assert now.made == iso.made == [((), {})]
    iso.function = lambda: b"12:00"  # bound as it is
    add(store)
    assert database.detection(db_path, 2)["timestamp"] == b"12:00"
    iso.function = lambda: None
    assert type_and_text(error_of(add, store)) == (
        sqlite3.IntegrityError,
        "NOT NULL constraint failed: detections.timestamp",
    )


def test_a_replaced_path_is_made_and_its_parents_directory(store_module, monkeypatch, db_path):
    path = mock.MagicMock(name="path")
    path.parent.mkdir = mkdir = Calls(lambda **named: None)
    path.__str__.return_value = str(db_path)
    make = Calls(lambda given: path)
    monkeypatch.setattr(store_module, "Path", make)
    store = store_module.ANPRDatabase("anything at all")
    assert store.db_path is path
    assert add(store) == 1
    assert make.made == [(("anything at all",), {})]
    assert mkdir.made == [((), {"parents": True, "exist_ok": True})]


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
def test_a_name_that_is_gone_is_found_among_the_builtins_or_a_name_error(
    store, store_module, monkeypatch, tmp_path, name
):
    monkeypatch.chdir(tmp_path)
    original = getattr(store_module, name)
    # A name among the builtins does not hide the module's.
    monkeypatch.setattr(builtins, name, None, raising=False)
    NEEDED[name](store)
    monkeypatch.delattr(store_module, name)
    monkeypatch.setattr(builtins, name, original)
    NEEDED[name](store)
    monkeypatch.delattr(builtins, name)
    error = error_of(NEEDED[name], store)
    assert type_and_text(error) == (NameError, f"name '{name}' is not defined")


def test_a_replaced_module_without_the_function_says_so(store, store_module, replace, monkeypatch):
    replace("json")
    assert type_and_text(error_of(add, store)) == missing("types.SimpleNamespace", "dumps")
    monkeypatch.setattr(store_module, "datetime", None)
    assert type_and_text(error_of(add, store)) == missing("NoneType", "now")


def test_names_the_operations_do_not_use_may_be_anything(store, store_module, monkeypatch):
    for name in ("List", "Optional", "Dict"):
        monkeypatch.setattr(store_module, name, None)
    add(store)
    assert store.get_detection(1)["plates"] == ["AB123", "XY-9"]


def test_replacing_takes_effect_on_objects_made_before(store, replace):
    add(store)
    kept = store.get_history
    replace("json", loads=len, JSONDecodeError=ValueError)
    assert kept()[0]["plates"] == len(PLATES)
