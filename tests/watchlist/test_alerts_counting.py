"""Counting alerts, and marking all of them read."""

from __future__ import annotations

from types import SimpleNamespace

import pytest

from support import database
from support.values import error_of, exactly, type_and_text


def fill(store, number):
    for _ in range(number):
        store.add_alert("AB", "l", 1, 0.5)


def states(path):
    return [row[0] for row in database.query(path, "SELECT is_read FROM alerts ORDER BY id")]


def test_an_empty_table_counts_zero(store):
    for arguments in ((), (True,), (False,)):
        assert exactly(store.get_alert_count(*arguments)) == exactly(0)


def test_a_fresh_alert_is_counted_until_it_is_read(store):
    fill(store, 1)
    assert exactly(store.get_alert_count()) == exactly(1)
    assert exactly(store.get_alert_count(False)) == exactly(1)
    assert exactly(store.mark_alerts_read()) == exactly(1)
    assert exactly(store.get_alert_count()) == exactly(0)
    assert exactly(store.get_alert_count(False)) == exactly(1)


def test_marking_twice_in_a_row_changes_nothing_the_second_time(store, db_path):
    fill(store, 3)
    assert store.mark_alerts_read() == 3
    before = database.contents(db_path)
    assert exactly(store.mark_alerts_read()) == exactly(0)
    assert database.contents(db_path) == before


def test_marking_an_empty_table(store):
    assert exactly(store.mark_alerts_read()) == exactly(0)


def test_an_alert_added_later_is_unread(store, db_path):
    fill(store, 2)
    store.mark_alerts_read()
    fill(store, 1)
    assert states(db_path) == [1, 1, 0]
    assert (store.get_alert_count(), store.get_alert_count(False)) == (1, 3)
    assert store.mark_alerts_read() == 1


def test_reading_an_alert_changes_nothing_else(store):
    fill(store, 2)
    before = store.get_alerts()
    store.mark_alerts_read()
    assert exactly(store.get_alerts()) == exactly([alert | {"is_read": 1} for alert in before])


def test_only_zero_is_unread(store, db_path):
    fill(store, 6)
    for alert_id, state in enumerate((0, 1, 2, -1, None, "no"), 1):
        database.query(db_path, "UPDATE alerts SET is_read = ? WHERE id = ?", (state, alert_id))
    assert store.get_alert_count() == 1
    assert store.get_alert_count(False) == 6
    assert store.mark_alerts_read() == 1
    assert states(db_path) == [1, 1, 2, -1, None, "no"]


def test_alerts_already_read_are_not_rewritten(store, db_path):
    fill(store, 3)
    database.run_script(
        db_path,
        """
        UPDATE alerts SET is_read = 1 WHERE id = 2;
        CREATE TABLE rewritten (id INTEGER);
        CREATE TRIGGER t AFTER UPDATE ON alerts BEGIN INSERT INTO rewritten VALUES (new.id); END;
        """,
    )
    assert store.mark_alerts_read() == 2
    assert database.query(db_path, "SELECT id FROM rewritten ORDER BY id") == [(1,), (3,)]


@pytest.mark.parametrize("flag", [True, 1, "no", [0], 0.5, b"0", object], ids=repr)
def test_a_true_flag_counts_the_unread(store, db_path, flag):
    fill(store, 3)
    database.query(db_path, "UPDATE alerts SET is_read = 1 WHERE id = 1")
    assert store.get_alert_count(flag) == 2
    assert store.get_alert_count(unread_only=flag) == 2


@pytest.mark.parametrize("flag", [False, 0, None, "", [], 0.0, b"", {}], ids=repr)
def test_a_false_flag_counts_all(store, db_path, flag):
    fill(store, 3)
    database.query(db_path, "UPDATE alerts SET is_read = 1 WHERE id = 1")
    assert store.get_alert_count(flag) == 3
    assert store.get_alert_count(unread_only=flag) == 3


def test_the_count_is_read_by_its_name(store, answering):
    for told in (7, "seven", [0]):
        asked = answering([{"first": 5, "cnt": told}])
        assert store.get_alert_count() is told
        assert len(asked) == 3


@pytest.mark.parametrize("told", [None, 0, 0.0, False, "", []], ids=repr)
def test_a_false_count_is_the_integer_zero(store, answering, told):
    answering([{"cnt": told}])
    assert exactly(store.get_alert_count()) == exactly(0)
    assert exactly(store.get_alert_count(False)) == exactly(0)


def test_a_row_without_the_count(store, answering):
    answering([{"count": 5}])
    assert type_and_text(error_of(store.get_alert_count)) == (KeyError, "'cnt'")
    answering([])
    assert type_and_text(error_of(store.get_alert_count)) == (
        TypeError,
        "'NoneType' object is not subscriptable",
    )


def test_the_number_marked_is_the_one_that_the_cursor_tells(store):
    told = object()

    class Connection:
        def __enter__(self):
            return self

        def __exit__(self, *error):
            pass

        def execute(self, statement):
            return SimpleNamespace(rowcount=told)

        def commit(self):
            pass

    store._get_conn = Connection
    assert store.mark_alerts_read() is told


def test_thousands_are_marked_at_once(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO alerts (timestamp, plate, is_read) SELECT 't', i, i % 5 = 0 FROM n;
        """,
    )
    assert store.get_alert_count() == 4000
    assert store.mark_alerts_read() == 4000
    assert (store.get_alert_count(), store.get_alert_count(False)) == (0, 5000)
