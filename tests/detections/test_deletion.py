"""Deleting detections, and what a deletion leaves alone."""

from __future__ import annotations

import sqlite3

import pytest

from support import database
from support.samples import add
from support.stored_rows import stored_ids
from support.values import error_of, exactly, type_and_text


@pytest.fixture
def three(store):
    for plate in ("KEPT", "KEPT", "GONE"):
        add(store, plates=[plate])
    return store


def test_true_once_and_false_from_then_on(three, db_path):
    assert three.delete_detection(2) is True
    assert stored_ids(db_path) == [1, 3]
    assert three.delete_detection(2) is False
    assert three.delete_detection(detection_id=3) is True
    assert stored_ids(db_path) == [1]


DELETIONS = {
    "delete_detection": lambda store: store.delete_detection(3),
    "delete_detections": lambda store: store.delete_detections([3, 99]),
    "cleanup_old": lambda store: store.cleanup_old(2),
}


@pytest.fixture(params=DELETIONS)
def delete(request, three, clock, db_path):
    """Each way to delete detection 3 alone."""
    database.run_script(db_path, "UPDATE detections SET timestamp = '1999' WHERE id = 3")
    return DELETIONS[request.param]


def test_a_deleted_detection_is_gone_for_every_reader(three, db_path, delete):
    delete(three)
    assert stored_ids(db_path) == [1, 2]
    assert three.get_detection(3) is None
    assert [record["id"] for record in three.get_history()] == [2, 1]
    assert three.search_plates("GONE") == []
    assert three.get_statistics()["total_detections"] == 2
    assert [entry["plate"] for entry in three.get_top_plates()] == ["KEPT"]
    assert database.query(db_path, "PRAGMA integrity_check") == [("ok",)]


def test_ids_are_never_used_again(three, delete):
    delete(three)
    assert add(three) == 4


def test_alerts_watched_plates_and_image_files_stay_as_they_are(three, db_path, tmp_path, delete):
    three.add_alert("AB12", "stolen", 3, 0.5)
    three.add_watchlist("AB12", "stolen")
    image, thumbnail = tmp_path / "image.jpg", tmp_path / "thumbnail.jpg"
    for file in (image, thumbnail):
        file.write_bytes(b"picture")
    three.update_image_paths(3, str(image), str(thumbnail))
    before = database.contents(db_path)
    grouped = three.get_alerts_for_detections([3])
    assert list(grouped) == [3]
    delete(three)
    after = database.contents(db_path)
    assert {name for name in after if after[name] != before[name]} == {"detections"}
    assert exactly(three.get_alerts_for_detections([3])) == exactly(grouped)
    assert image.read_bytes() == thumbnail.read_bytes() == b"picture"


def test_the_connection_does_not_enforce_foreign_keys(store):
    assert tuple(store._get_conn().execute("PRAGMA foreign_keys").fetchone()) == (0,)


@pytest.mark.parametrize(("ids", "deleted", "left"), [
    ([2], 1, [1, 3]), ([1, 2], 2, [3]), ((3, 1), 2, [2]), ([3, 3, 999], 1, [1, 2]),
    ([999], 0, [1, 2, 3]), ([None], 0, [1, 2, 3]), (["1", 2.0, True, "x", b"3"], 2, [3]),
    ([1, 2, 3], 3, []), (range(2, 5), 2, [1]), ("13", 2, [2]), (b"\x01\x02", 2, [3]),
], ids=repr)  # fmt: skip
def test_how_many_of_many_were_deleted(three, db_path, ids, deleted, left):
    assert exactly(three.delete_detections(ids)) == exactly(deleted)
    assert stored_ids(db_path) == left
    assert three.delete_detections(ids) == 0


def test_ids_of_half_a_statement_are_not_deleted(three, db_path):
    # A row that refuses to go takes the whole statement back.
    database.run_script(
        db_path,
        "CREATE TRIGGER keep BEFORE DELETE ON detections WHEN old.id = 3"
        " BEGIN SELECT RAISE(ABORT, 'kept'); END",
    )
    error = error_of(three.delete_detections, [1, 2, 3])
    assert type_and_text(error) == (sqlite3.IntegrityError, "kept")
    assert stored_ids(db_path) == [1, 2, 3]
    assert three.delete_detections([1, 2]) == 2
