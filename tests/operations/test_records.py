"""Rows become records while the scope is open, in their order; what a reader makes of odd rows."""

from __future__ import annotations

import pytest

from support.fakes import FakeConnection, FakeRow, give, recording_class, steps, wrap_connections
from support.operations import BY_NAME
from support.samples import add
from support.values import error_of, exactly, type_and_text

INSIDE = ["enter", "execute", "fetchall", ("row", 2), ("row", 1), "exit"]
MADE_BY = {
    "get_history": INSIDE,
    "search_plates": INSIDE,
    "get_hourly_stats": INSIDE,
    "get_watchlist": INSIDE,
    "check_watchlist": INSIDE,
    "get_alerts": INSIDE,
    "get_alerts_for_detections": ["enter", "execute", "fetchall", "exit", ("row", 2), ("row", 1)],
}


@pytest.mark.parametrize("name", MADE_BY)
def test_rows_become_mappings_in_the_order_fetched(store, name):
    log = []
    values = [{"id": n, "plate": "AB", "detection_id": 5, "confidences": "[0.9]"} for n in (2, 1)]
    give(store, FakeConnection([FakeRow(row, log, row["id"]) for row in values], log=log))
    result = BY_NAME[name].run(store)
    made = [entry if entry[0] == "row" else entry[0] for entry in log if entry[0] != "item"]
    assert made == MADE_BY[name]
    if name in ("get_history", "search_plates"):
        values = [row | {"confidences": [0.9]} for row in values]
    if name == "get_alerts_for_detections":
        assert exactly(result) == exactly({5: values})
    elif name != "check_watchlist":
        assert exactly(result) == exactly(values)


CONVERTED = {
    "get_history": ("fetchall", [3, 2, 1], lambda store: store.get_history()),
    "search_plates": ("fetchall", [3, 2, 1], lambda store: store.search_plates(min_confidence=0.5)),
    "get_detection": ("fetchone", [2], lambda store: store.get_detection(2)),
}


@pytest.fixture
def converting(store_module, db_path):
    """A store that writes down which rows it converts, with three detections; and the log."""
    log = []

    class Converting(recording_class(store_module.ANPRDatabase, log)):
        raised = None

        @staticmethod
        def _row_to_dict(row):
            log.append(("convert", row["id"]))
            if Converting.raised is not None:
                raise Converting.raised
            return {"confidences": [0.9], "id": row["id"]}

    store = Converting(db_path)
    for _ in range(3):
        add(store)
    store.add_watchlist("AB")
    store.add_alert("AB", "l", 1, 0.5)
    log.clear()
    return store, log


@pytest.mark.parametrize("name", CONVERTED)
def test_an_overridden_conversion_is_used_inside_the_scope_for_each_row(converting, name):
    store, log = converting
    fetch, ids, call = CONVERTED[name]
    result = call(store)
    records = [{"confidences": [0.9], "id": n} for n in ids]
    assert (result if isinstance(result, list) else [result]) == records
    assert steps(log) == ["_get_conn", "enter", "execute", fetch, *["convert"] * len(ids), "exit"]
    assert [entry[1] for entry in log if entry[0] == "convert"] == ids


@pytest.mark.parametrize("name", CONVERTED)
def test_a_conversion_that_fails_ends_the_scope_with_its_error(converting, name):
    store, log = converting
    type(store).raised = LookupError("no record")
    assert error_of(CONVERTED[name][2], store) is type(store).raised
    assert log[-1] == ("exit", LookupError)


def test_what_is_no_detection_is_not_converted_by_it(converting):
    store, log = converting
    assert store.get_detection(99) is None
    assert len(store.get_watchlist()) == len(store.get_alerts()) == 1
    assert len(store.check_watchlist(["AB"])) == len(store.get_alerts_for_detections([1])) == 1
    assert len(store.get_top_plates()) == 2
    assert "convert" not in steps(log)


def test_no_operation_is_made_of_another(store_module, db_path):
    def refuse(name):
        def refusing(self, *arguments, **named):
            raise AssertionError(f"{name} was asked")

        return refusing

    names = [name for name, operation in BY_NAME.items() if operation.connects]
    made = store_module.ANPRDatabase(db_path)
    for _ in range(2):
        made.add_watchlist("AB")
    for name in names:
        others = {other: refuse(other) for other in names if other != name}
        lonely = type("Lonely", (store_module.ANPRDatabase,), others)
        store = lonely.__new__(lonely)
        store.db_path = db_path
        BY_NAME[name].run(store)


def test_a_row_that_is_no_mapping_cannot_become_a_record(store):
    def plain(connection):
        connection.row_factory = None
        return connection

    store.add_watchlist("AB")
    store.add_alert("AB", "l", 1, 0.5)
    wrap_connections(store, plain)
    for name in ("get_watchlist", "check_watchlist", "get_alerts", "get_alerts_for_detections"):
        assert type_and_text(error_of(BY_NAME[name].run, store)) == (
            TypeError,
            "cannot convert dictionary update sequence element #0 to a sequence",
        )
