"""What the operations on the watchlist ask of their connection, and when."""

from __future__ import annotations

from types import SimpleNamespace

import pytest

from support import database
from support.recording import executed, recording_class, steps
from support.values import error_of, exactly

LIST = "SELECT * FROM watchlist ORDER BY created_at DESC"
INSERT = "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)"
DELETE = "DELETE FROM watchlist WHERE id = ?"
READ = "SELECT * FROM watchlist"


def test_the_statement_of_listing(recorded):
    store, log = recorded
    store.get_watchlist()
    assert executed(log) == (LIST,)
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
    assert log[-1] == ("exit", None)


def test_the_statement_of_adding_and_its_three_values(recorded, clock):
    store, log = recorded
    store.add_watchlist(" ab-12 ", " l ")
    statement, parameters = executed(log)
    assert statement == INSERT
    assert exactly(list(parameters)) == exactly(["AB-12", "l", "2024-05-01T14:03:27.512034"])


def test_an_entry_is_committed_before_its_id_is_read(recorded):
    store, log = recorded
    assert store.add_watchlist("AB") == 1
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "lastrowid", "exit"]
    assert log[-1] == ("exit", None)


def test_the_statement_of_removing(recorded):
    store, log = recorded
    given = "5"
    store.remove_watchlist(given)
    statement, parameters = executed(log)
    assert statement == DELETE
    assert tuple(parameters) == ("5",)
    assert parameters[0] is given
    assert steps(log) == ["_get_conn", "enter", "execute", "commit", "rowcount", "exit"]


def test_the_statement_of_matching(recorded):
    store, log = recorded
    store.add_watchlist("AB")
    log.clear()
    assert len(store.check_watchlist(["AB", "CD", "ab"])) == 2
    assert executed(log) == (READ,)
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]
    assert log[-1] == ("exit", None)


@pytest.mark.parametrize("nothing", [[], None, (), "", {}, 0, False, set(), b""], ids=repr)
def test_nothing_to_match_opens_no_connection(recorded, nothing):
    store, log = recorded
    first = store.check_watchlist(nothing)
    assert exactly(first) == exactly([])
    assert log == []
    assert store.check_watchlist(nothing) is not first


def test_nothing_to_match_needs_no_database(store, db_path):
    db_path.unlink()
    assert store.check_watchlist([]) == []
    assert store.check_watchlist(None) == []
    assert not db_path.exists()


def test_the_truth_of_the_plates_is_asked_before_a_connection_is_opened(recorded):
    class Undecided:
        def __bool__(self):
            raise ArithmeticError("undecided")

    store, log = recorded
    assert str(error_of(store.check_watchlist, Undecided())) == "undecided"
    assert log == []


def test_the_plates_are_walked_after_the_scope_has_ended(recorded):
    store, log = recorded
    store.add_watchlist("AB")
    log.clear()

    class Plates:
        def __bool__(self):
            log.append(("truth",))
            return True

        def __iter__(self):
            log.append(("iter",))
            yield "AB"
            log.append(("next",))
            yield "ab"

    assert len(store.check_watchlist(Plates())) == 2
    assert steps(log) == [
        "truth",
        "_get_conn",
        "enter",
        "execute",
        "fetchall",
        "exit",
        "iter",
        "next",
    ]


def test_the_table_is_read_also_when_no_plate_follows(recorded):
    store, log = recorded
    store.add_watchlist("AB")
    log.clear()
    assert exactly(store.check_watchlist(iter([]))) == exactly([])
    assert steps(log) == ["_get_conn", "enter", "execute", "fetchall", "exit"]


@pytest.mark.parametrize("operation", ["get_watchlist", "check_watchlist"])
def test_rows_become_entries_inside_the_scope(store, answering, operation):
    class Row:
        def __init__(self, number):
            self.number = number

        def keys(self):
            asked.append(f"row {self.number}")
            return ["id", "plate"]

        def __getitem__(self, name):
            return {"id": self.number, "plate": "AB"}[name]

    asked = answering([Row(2), Row(1)])
    arguments = [["AB"]] if operation == "check_watchlist" else []
    result = getattr(store, operation)(*arguments)
    assert [step for step in asked if isinstance(step, str)] == [
        "enter",
        "row 2",
        "row 1",
        "exit",
    ]
    if operation == "get_watchlist":
        assert exactly(result) == exactly([{"id": 2, "plate": "AB"}, {"id": 1, "plate": "AB"}])


def test_the_clock_is_asked_inside_the_scope_and_before_the_statement(
    store_module, db_path, monkeypatch
):
    log = []
    recording = recording_class(store_module.ANPRDatabase, log)
    store = recording(db_path)
    log.clear()

    def now():
        log.append(("now",))
        return SimpleNamespace(isoformat=lambda: log.append(("isoformat",)) or "then")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    store.add_watchlist("AB")
    assert steps(log)[:5] == ["_get_conn", "enter", "now", "isoformat", "execute"]
    assert store.get_watchlist()[0]["created_at"] == "then"


def test_a_failing_clock_writes_nothing(recorded, store_module, monkeypatch, db_path):
    def now():
        raise OSError("no clock")

    monkeypatch.setattr(store_module, "datetime", SimpleNamespace(now=now))
    store, log = recorded
    assert str(error_of(store.add_watchlist, "AB")) == "no clock"
    assert steps(log) == ["_get_conn", "enter", "exit"]
    assert log[-1] == ("exit", OSError)
    assert database.count(db_path, "watchlist") == 0


def test_the_id_is_the_one_that_the_cursor_tells(store):
    told = object()

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement, parameters):
            return SimpleNamespace(lastrowid=told)

        def commit(self):
            pass

    store._get_conn = Connection
    assert store.add_watchlist("AB") is told


PLANS = {
    LIST: ["SCAN watchlist", "USE TEMP B-TREE FOR ORDER BY"],
    READ: ["SCAN watchlist"],
    DELETE: ["SEARCH watchlist USING INTEGER PRIMARY KEY (rowid=?)"],
}


@pytest.mark.parametrize("statement", PLANS)
def test_the_table_has_no_index_but_its_key(store, db_path, statement):
    parameters = (1,) if "?" in statement else ()
    plan = database.query(db_path, "EXPLAIN QUERY PLAN " + statement, parameters)
    assert [row[3] for row in plan] == PLANS[statement]


def test_each_call_opens_one_connection_of_its_own(store_module, db_path):
    opened = []

    class Counting(store_module.ANPRDatabase):
        def _get_conn(self):
            opened.append(super()._get_conn())
            return opened[-1]

    store = Counting(db_path)
    opened.clear()
    store.add_watchlist("AB")
    store.get_watchlist()
    store.check_watchlist(["AB", "CD"])
    store.remove_watchlist(1)
    assert len({id(connection) for connection in opened}) == len(opened) == 4
