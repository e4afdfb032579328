"""What the operations on alerts ask of their connection, and when."""

from __future__ import annotations

from types import SimpleNamespace

import pytest

from support import database
from support.recording import executed, recording_class, steps
from support.values import error_of, exactly

INSERT = (
    "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence)"
    " VALUES (?, ?, ?, ?, ?)"
)
LIST = "SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?"
COUNT_UNREAD = "SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0"
COUNT_ALL = "SELECT COUNT(*) as cnt FROM alerts"
MARK = "UPDATE alerts SET is_read = 1 WHERE is_read = 0"
OF_DETECTIONS = "SELECT * FROM alerts WHERE detection_id IN (?,?)"


def test_the_statement_of_recording_and_its_five_values(recorded, clock):
    store, log = recorded
    store.add_alert(" ab ", " l ", "7", 1)
    statement, parameters = executed(log)
    assert statement == INSERT
    assert exactly(list(parameters)) == exactly(
        ["2024-05-01T14:03:27.512034", " ab ", " l ", "7", 1]
    )


def test_values_reach_the_statement_as_the_objects_passed(store):
    given = [object() for _ in range(4)]
    seen = []

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement, parameters):
            seen.extend(parameters)
            return SimpleNamespace(lastrowid=given)

        def commit(self):
            pass

    store._get_conn = Connection
    assert store.add_alert(*given) is given
    assert all(bound is passed for bound, passed in zip(seen[1:], given, strict=True))


def test_an_alert_is_committed_before_its_id_is_read(recorded):
    store, log = recorded
    assert store.add_alert("AB", "l", 1, 0.5) == 1
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "lastrowid", "exit"]
    assert log[-1] == ("exit", None)


def test_the_clock_is_asked_inside_the_scope_and_before_the_statement(
    store_module, db_path, monkeypatch
):
    log = []
    store = recording_class(store_module.ANPRDatabase, log)(db_path)
    log.clear()

    def now():
        log.append(("now",))
        return SimpleNamespace(isoformat=lambda: log.append(("isoformat",)) or "then")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    store.add_alert("AB", "l", 1, 0.5)
    assert steps(log)[:5] == ["_get_conn", "enter", "now", "isoformat", "execute"]
    assert store.get_alerts()[0]["timestamp"] == "then"


def test_a_failing_clock_writes_nothing(recorded, store_module, monkeypatch, db_path):
    def now():
        raise OSError("no clock")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    store, log = recorded
    assert str(error_of(store.add_alert, "AB", "l", 1, 0.5)) == "no clock"
    assert steps(log) == ["_get_conn", "enter", "exit"]
    assert log[-1] == ("exit", OSError)
    assert database.count(db_path, "alerts") == 0


def test_a_refused_alert_is_rolled_back_by_its_scope(recorded):
    store, log = recorded
    error = error_of(store.add_alert, None, "l", 1, 0.5)
    assert steps(log) == ["_get_conn", "enter", "execute", "exit"]
    assert log[-1] == ("exit", type(error))


def test_the_statement_of_listing(recorded):
    store, log = recorded
    store.get_alerts()
    statement, parameters = executed(log)
    assert statement == LIST
    assert exactly(list(parameters)) == exactly([50])
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
    limit = "7"
    log.clear()
    store.get_alerts(limit)
    assert executed(log)[1][0] is limit


@pytest.mark.parametrize(
    ("arguments", "statement"),
    [((), COUNT_UNREAD), ((True,), COUNT_UNREAD), ((False,), COUNT_ALL), ((None,), COUNT_ALL)],
)
def test_the_two_statements_of_counting(recorded, arguments, statement):
    store, log = recorded
    store.get_alert_count(*arguments)
    assert executed(log) == (statement,)
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchone", "exit"]


def test_the_flag_is_tested_once_inside_the_scope(recorded):
    store, log = recorded

    class Flag:
        def __bool__(self):
            log.append(("truth",))
            return False

    store.get_alert_count(Flag())
    assert steps(log) == ["_get_conn", "enter", "truth", "execute", "fetchone", "exit"]
    assert executed(log) == (COUNT_ALL,)


def test_a_flag_that_cannot_be_tested_ends_the_scope(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

    store, log = recorded
    assert str(error_of(store.get_alert_count, Undecided())) == "undecided"
    assert steps(log) == ["_get_conn", "enter", "exit"]
    assert log[-1] == ("exit", ArithmeticError)


def test_the_statement_of_marking(recorded):
    store, log = recorded
    store.mark_alerts_read()
    assert executed(log) == (MARK,)
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "rowcount", "exit"]


def test_the_statement_of_grouping(recorded):
    store, log = recorded
    store.get_alerts_for_detections([9, 7])
    assert executed(log) == (OF_DETECTIONS, [9, 7])
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize(
    ("call", "order"),
    [
        (lambda store: store.get_alerts(), ["enter", "row 2", "row 1", "exit"]),
        (
            lambda store: store.get_alerts_for_detections([5]),
            ["enter", "exit", "row 2", "row 1"],
        ),
    ],
    ids=["listing", "grouping"],
)
def test_listed_rows_become_alerts_inside_the_scope_and_grouped_ones_after_it(
    store, answering, call, order
):
    class Row:
        def __init__(self, number):
            self.number = number

        def keys(self):
            asked.append(f"row {self.number}")
            return ["id", "detection_id"]

        def __getitem__(self, name):
            return {"id": self.number, "detection_id": 5}[name]

    asked = answering([Row(2), Row(1)])
    result = call(store)
    assert [step for step in asked if isinstance(step, str)] == order
    alerts = [{"id": 2, "detection_id": 5}, {"id": 1, "detection_id": 5}]
    assert exactly(result) == exactly(alerts if isinstance(result, list) else {5: alerts})


PLANS = {
    LIST: "SCAN alerts USING INDEX idx_alerts_ts",
    COUNT_UNREAD: "SCAN alerts",
    OF_DETECTIONS: "SCAN alerts",
    MARK: "SCAN alerts",
}


@pytest.mark.parametrize("statement", PLANS)
def test_the_index_serves_the_listing_and_the_rest_walks_the_table(store, db_path, statement):
    parameters = (1,) * statement.count("?")
    plan = database.query(db_path, "EXPLAIN QUERY PLAN " + statement, parameters)
    assert [row[3] for row in plan] == [PLANS[statement]]  # nothing is sorted


def test_counting_all_reads_no_row(store, db_path):
    plan = database.query(db_path, "EXPLAIN QUERY PLAN " + COUNT_ALL)
    assert [row[3] for row in plan] == ["SCAN alerts USING COVERING INDEX idx_alerts_ts"]


def test_each_call_opens_one_connection_of_its_own(store_module, db_path):
    opened = []

    class Counting(store_module.ANPRDatabase):
        def _get_conn(self):
            opened.append(super()._get_conn())
            return opened[-1]

    store = Counting(db_path)
    opened.clear()
    store.add_alert("AB", "l", 1, 0.5)
    store.get_alerts()
    store.get_alert_count()
    store.get_alert_count(False)
    store.mark_alerts_read()
    store.get_alerts_for_detections([1, 2])
    assert len({id(connection) for connection in opened}) == len(opened) == 6
