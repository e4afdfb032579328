"""Methods reach each other only through the object, so whatever stands there is what is called."""

from __future__ import annotations

import sys
from unittest import mock

from support import database
from support.fakes import FakeConnection, give
from support.operations import OPERATIONS
from support.samples import add
from support.values import error_of, type_and_text


def test_a_subclass_may_replace_the_schema(store_module, db_path):
    class WithoutSchema(store_module.ANPRDatabase):
        def _init_schema(self):
            self.called = True

    store = WithoutSchema(db_path)
    assert store.called
    assert not db_path.exists()


def test_a_subclass_may_extend_the_schema(store_module, db_path):
    class WithCamera(store_module.ANPRDatabase):
        def _init_schema(self):
            super()._init_schema()
            with self._get_conn() as connection:
                connection.execute("CREATE TABLE IF NOT EXISTS cameras (id INTEGER PRIMARY KEY)")

    WithCamera(db_path)
    assert database.count(db_path, "cameras") == 0
    assert len(database.columns(db_path, "detections")) == 14


def test_a_subclass_may_convert_rows_its_own_way(store_module, db_path):
    class Raw(store_module.ANPRDatabase):
        @staticmethod
        def _row_to_dict(row):
            return tuple(row)[3]

    store = Raw(db_path)
    add(store, plates=["A"])
    assert store.get_history() == ['["A"]']
    assert store.get_detection(1) == '["A"]'


def test_a_row_conversion_that_takes_the_object_is_given_it(store_module, db_path):
    class Bound(store_module.ANPRDatabase):
        def _row_to_dict(self, row):
            return self, row["id"]

    store = Bound(db_path)
    add(store)
    assert store.get_history() == [(store, 1)]


def test_a_subclass_may_call_on_through_super(store_module, db_path):
    class Tagged(store_module.ANPRDatabase):
        def get_detection(self, detection_id):
            record = super().get_detection(detection_id)
            return record and {**record, "tagged": True}

        def add_detection(self, plates, **rest):
            return super().add_detection([p.upper() for p in plates], **rest)

    store = Tagged(db_path)
    add(store, plates=["ab"])
    assert store.get_detection(1)["plates"] == ["AB"]
    assert store.get_detection(1)["tagged"]
    assert store.get_detection(2) is None


def test_an_attribute_set_on_one_object_takes_effect_on_it_alone(store, store_module, db_path):
    other = store_module.ANPRDatabase(db_path)
    add(store)
    store._row_to_dict = lambda row: row["id"]
    assert store.get_history() == [1]
    assert other.get_history()[0]["plates"] == ["AB123", "XY-9"]


def test_a_connection_factory_set_on_one_object_takes_effect(store, store_module, tmp_path):
    elsewhere = store_module.ANPRDatabase(tmp_path / "elsewhere.db")
    store._get_conn = elsewhere._get_conn
    add(store)
    assert len(elsewhere.get_history()) == 1
    assert database.count(store.db_path) == 0


def test_a_patched_class_takes_effect_on_every_object(store, store_module):
    add(store)
    with mock.patch.object(store_module.ANPRDatabase, "_row_to_dict", staticmethod(len)):
        assert store.get_history() == [14]
        assert store.get_detection(1) == 14
    assert store.get_detection(1)["id"] == 1


def test_a_class_attribute_replaced_by_assignment_takes_effect(store, store_module, monkeypatch):
    add(store)
    monkeypatch.setattr(store_module.ANPRDatabase, "_row_to_dict", staticmethod(lambda row: 5))
    assert store.get_history() == [5]


def test_attribute_lookup_is_the_objects_own(store_module, db_path):
    asked = []

    class Watching(store_module.ANPRDatabase):
        def __getattribute__(self, name):
            asked.append(name)
            return super().__getattribute__(name)

    store = Watching(db_path)
    add(store)
    add(store)
    asked.clear()
    store.get_history()
    assert asked == ["get_history", "_get_conn", "db_path", "_row_to_dict", "_row_to_dict"]


def test_the_schema_is_made_by_the_constructor_only(store_module, db_path):
    calls = []

    class Counting(store_module.ANPRDatabase):
        def _init_schema(self):
            calls.append("schema")
            super()._init_schema()

    store = Counting(db_path)
    for operation in OPERATIONS:
        if operation.name not in ("__init__", "_init_schema"):
            operation.run(store)
    assert calls == ["schema"]


def test_a_foreign_object_may_lend_its_methods(store_module, db_path):
    """Anything with the attributes that an operation asks for will do for the object."""

    class Foreign:
        def __init__(self, store):
            self._get_conn = store._get_conn
            self._row_to_dict = dict

    store = store_module.ANPRDatabase(db_path)
    add(store)
    (record,) = store_module.ANPRDatabase.get_history(Foreign(store))
    assert record["plates"] == '["AB123", "XY-9"]'


def references(record):
    """How often a record and its part are referred to; a rewritten assert would add some."""
    whole = sys.getrefcount(record)
    part = sys.getrefcount(record["plates"])
    return whole, part


def test_the_store_keeps_no_reference_to_what_it_returns(store):
    add(store)
    own = references({"plates": []})
    looked_up = references(store.get_detection(1))
    paged = references(store.get_history().pop())
    assert looked_up == own
    assert paged == own


def test_rows_may_come_in_anything_that_can_be_walked(store):
    connection = give(store, FakeConnection({"plates": f"[{n}]"} for n in range(3)))
    assert store.get_history() == [{"plates": [0]}, {"plates": [1]}, {"plates": [2]}]
    connection.rows = [[("plates", "[5]"), ("id", 1)]]
    assert store.get_detection(1) == {"plates": [5], "id": 1}


def test_rows_that_cannot_be_walked_are_a_type_error(store):
    give(store, FakeConnection(5))
    error = error_of(store.get_history)
    assert type_and_text(error) == (TypeError, "'int' object is not iterable")


def test_results_are_built_anew_at_every_call(store):
    add(store)
    first, second = store.get_detection(1), store.get_detection(1)
    assert first == second
    assert first is not second
    assert first["plates"] is not second["plates"]
    first["plates"].append("changed")
    assert store.get_detection(1) == second
    history = store.get_history()
    history.clear()
    assert store.get_history() == [second]
