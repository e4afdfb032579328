"""Files that earlier layouts or other programs made: records follow the file's own columns."""

from __future__ import annotations

import pytest

from support import database
from support.fakes import FakeConnection, give
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def old(store_module, db_path):
    """A store on a file from before `note` and `is_read`, with an entry and an alert in it."""
    database.run_script(
        db_path,
        """
        CREATE TABLE watchlist (
            id INTEGER PRIMARY KEY AUTOINCREMENT, plate TEXT NOT NULL, label TEXT DEFAULT '',
            created_at TEXT NOT NULL);
        CREATE TABLE alerts (
            id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp TEXT NOT NULL, plate TEXT NOT NULL,
            watchlist_label TEXT DEFAULT '', detection_id INTEGER, confidence REAL);
        INSERT INTO watchlist (plate, label, created_at) VALUES ('ol-d', 'was', '2020-01-01');
        INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence)
            VALUES ('2020-01-01', 'OLD', 'was', 7, 0.5);
        """,
    )
    return store_module.ANPRDatabase(db_path)


def test_entries_follow_the_files_own_columns(old, clock):
    assert old.add_watchlist("new") == 2
    stamp = "2024-05-01T14:03:27.512034"
    assert exactly(old.get_watchlist()) == exactly(
        [
            {"id": 2, "plate": "NEW", "label": "", "created_at": stamp, "note": ""},
            {"id": 1, "plate": "ol-d", "label": "was", "created_at": "2020-01-01", "note": ""},
        ]
    )
    (match,) = old.check_watchlist(["xoldy"])  # they match in their stored form
    assert (match["watchlist_plate"], match["label"], match["watchlist_id"]) == ("ol-d", "was", 1)
    assert old.remove_watchlist(1) is True


def test_alerts_follow_the_files_own_columns_and_are_unread(old, clock):
    alert = {
        "id": 1,
        "timestamp": "2020-01-01",
        "plate": "OLD",
        "watchlist_label": "was",
        "detection_id": 7,
        "confidence": 0.5,
        "note": "",
        "is_read": 0,
    }
    assert old.add_alert("NEW", "l", 7, 0.25) == 2
    listed = old.get_alerts()
    assert exactly(listed[1]) == exactly(alert)
    assert list(listed[0]) == list(alert)
    assert exactly(old.get_alerts_for_detections([7])) == exactly({7: listed[::-1]})
    assert (old.get_alert_count(), old.mark_alerts_read(), old.get_alert_count()) == (2, 2, 0)


def test_columns_that_others_added_do_not_get_into_matches(store, db_path):
    database.run_script(
        db_path,
        """
        ALTER TABLE watchlist ADD COLUMN camera TEXT DEFAULT 'north';
        ALTER TABLE alerts ADD COLUMN camera TEXT DEFAULT 'south';
        """,
    )
    store.add_watchlist("AB")
    store.add_alert("AB", "l", 7, 0.5)
    assert store.get_alerts_for_detections([7]) == {7: store.get_alerts()}
    assert list(store.check_watchlist(["AB"])[0])[-1] == "watchlist_id"


def watchlist_of(db_path, columns, *entries):
    database.run_script(db_path, f"DROP TABLE watchlist; CREATE TABLE watchlist ({columns})")
    places = ", ".join("?" * len(entries[0]))
    for entry in entries:
        database.query(db_path, f"INSERT INTO watchlist VALUES ({places})", entry)


def test_a_watchlist_without_labels_matches_with_the_empty_text(store, db_path):
    watchlist_of(db_path, "id INTEGER PRIMARY KEY, plate TEXT, created_at TEXT", (1, "AB", ""))
    assert exactly(store.check_watchlist(["ab"])) == exactly(
        [{"detected_plate": "ab", "watchlist_plate": "AB", "label": "", "watchlist_id": 1}]
    )
    assert exactly(store.get_watchlist()) == exactly([{"id": 1, "plate": "AB", "created_at": ""}])


def test_a_label_of_null_stays_null_and_keys_are_the_columns_names_to_the_letter(store, db_path):
    def matching(columns, label="l"):
        watchlist_of(db_path, f"{columns}, created_at", (1, "AB", label, ""))
        return store.check_watchlist

    check = matching("id INTEGER PRIMARY KEY, plate, label", None)
    assert exactly(check(["ab"])[0]["label"]) == exactly(None)
    check = matching("id INTEGER PRIMARY KEY, plate, LABEL")
    assert exactly(check(["ab"])[0]["label"]) == exactly("")
    check = matching("ID INTEGER PRIMARY KEY, plate, label")
    assert check(["cd"]) == []
    assert type_and_text(error_of(check, ["ab"])) == (KeyError, "'id'")
    check = matching("id INTEGER PRIMARY KEY, Plate, label")
    assert type_and_text(error_of(check, ["cd"])) == (KeyError, "'plate'")
    assert store.get_watchlist() == [{"id": 1, "Plate": "AB", "label": "l", "created_at": ""}]


def test_a_view_may_stand_for_the_table(store, db_path):
    # Where the key has no name of its own, matching fails only once it needs it.
    database.run_script(
        db_path,
        """
        ALTER TABLE watchlist RENAME TO kept;
        INSERT INTO kept (plate, created_at) VALUES ('AB', 'a'), ('CD', 'b');
        CREATE VIEW watchlist AS SELECT plate, label, created_at FROM kept WHERE plate < 'B';
        """,
    )
    assert store.get_watchlist() == [{"plate": "AB", "label": "", "created_at": "a"}]
    assert store.check_watchlist(["CD"]) == []
    assert type_and_text(error_of(store.check_watchlist, ["AB"])) == (KeyError, "'id'")


def test_two_columns_of_one_name_but_for_its_case_have_the_first_ones_value(store):
    # As a mapping made of the row has it: every name is looked up in the row, case ignored.
    odd = "SELECT 1 AS id, 'x' AS LABEL, 'AB' AS plate, 'y' AS label, 'CD' AS PLATE"
    give(store, FakeConnection(store._get_conn().execute(odd).fetchall()))
    entry = {"id": 1, "LABEL": "x", "plate": "AB", "label": "x", "PLATE": "AB"}
    assert exactly(store.get_watchlist()) == exactly([entry])
    (match,) = store.check_watchlist(["ab"])
    assert (match["label"], match["watchlist_plate"]) == ("x", "AB")
    assert store.check_watchlist(["cd"]) == []


def test_a_table_of_few_columns_still_gives_what_it_has(store, db_path):
    store.add_alert("AB", "l", 7, 0.5)
    database.run_script(db_path, "ALTER TABLE alerts DROP COLUMN is_read")
    assert store.get_alert_count(False) == 1
    assert "is_read" not in store.get_alerts()[0]
    database.run_script(
        db_path, "DROP TABLE alerts; CREATE TABLE alerts (id INTEGER PRIMARY KEY, timestamp TEXT)"
    )
    assert store.get_alerts() == []
