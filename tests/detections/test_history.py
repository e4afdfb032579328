"""The history and the lookup of one detection: whole records, in the file's own columns."""

from __future__ import annotations

from support import database
from support.samples import DETECTION, DETECTION_COLUMNS, add
from support.stored_rows import ids
from support.values import exactly


def test_the_record_has_every_column_in_order(store):
    detection_id = add(store)
    record = store.get_detection(detection_id=detection_id)
    assert type(record) is dict
    assert list(record) == DETECTION_COLUMNS
    assert record["id"] == detection_id
    assert exactly({name: record[name] for name in DETECTION}) == exactly(DETECTION)


def test_a_looked_up_record_equals_the_one_of_the_history(store):
    for number in range(3):
        add(store, plates=[str(number)])
    by_id = {record["id"]: record for record in store.get_history()}
    assert exactly([store.get_detection(n) for n in (1, 2, 3)]) == exactly(
        [by_id[n] for n in (1, 2, 3)]
    )


def test_a_row_of_another_program_comes_with_its_own_values(store, db_path):
    database.run_script(
        db_path,
        """
        INSERT INTO detections (id, timestamp, success, num_plates, plates, confidences, bboxes)
        VALUES (9000000000, 'whenever', 7, 'many', '"AB12"', '', 'broken')
        """,
    )
    record = store.get_detection(9_000_000_000)
    assert exactly(record["success"]) == exactly(7)
    assert record["num_plates"] == "many"
    assert (record["plates"], record["confidences"], record["bboxes"]) == ("AB12", "", "broken")
    assert record["timestamp"] == "whenever"


def test_records_keep_the_files_own_column_order(store, db_path):
    database.run_script(
        db_path,
        "ALTER TABLE detections DROP COLUMN image_path;"
        "ALTER TABLE detections ADD COLUMN image_path TEXT DEFAULT 'late'",
    )
    add(store)
    for record in (store.get_detection(1), *store.get_history(), *store.search_plates("AB")):
        assert list(record)[-1] == "image_path"


def test_many_rows_come_whole_and_in_order(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
        INSERT INTO detections (timestamp, num_plates, plates, bboxes)
            SELECT printf('t%05d', i), i, '["P' || i || '"]', '[[' || i || ', 2.5]]' FROM n;
        """,
    )
    history = store.get_history(-1)
    assert ids(history) == list(range(5000, 0, -1))
    assert all(r["plates"] == [f"P{r['id']}"] for r in history)
    assert all(r["bboxes"] == [[r["id"], 2.5]] for r in history)


def test_long_texts_come_whole(store):
    plate = "Ä" * 300_000
    for number in range(5):
        add(store, plates=[plate + str(number)])
    found = [record["plates"] for record in reversed(store.get_history())]
    assert found == [[plate + str(number)] for number in range(5)]
