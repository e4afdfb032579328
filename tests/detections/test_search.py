"""What a search finds: plate texts, times, pages."""

from __future__ import annotations

import sqlite3
from concurrent.futures import ThreadPoolExecutor

import pytest

from support import database
from support.samples import DETECTION_COLUMNS, add
from support.stored_rows import ids, put
from support.values import exactly

PLATES = [["AB12"], ["ab12", "XY-9"], ["CD34"], [], ["É 1"], ["100%"]]


@pytest.fixture
def filled(store, clock):
    """Detections 1 to 6 with the plates above, an hour apart."""
    for hour, plates in enumerate(PLATES):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        add(store, plates=plates)
    return store


def test_an_empty_table_is_an_empty_list(store):
    assert exactly(store.search_plates()) == exactly([])


def test_without_filters_it_is_the_history(filled):
    found = filled.search_plates()
    assert type(found) is list
    assert ids(found) == [6, 5, 4, 3, 2, 1]
    assert all(list(record) == DETECTION_COLUMNS for record in found)
    assert exactly(found) == exactly(filled.get_history())


def test_without_filters_it_is_the_hundred_newest_with_and_without_plates(store, db_path):
    database.run_script(
        db_path,
        """
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 120)
        INSERT INTO detections (timestamp, num_plates) SELECT printf('%06d', i), i % 2 FROM n;
        """,
    )
    assert ids(store.search_plates()) == list(range(120, 20, -1))
    assert ids(store.search_plates(offset=100)) == list(range(20, 0, -1))


@pytest.mark.parametrize(
    ("query", "found"),
    [
        ("AB12", [2, 1]),
        ("ab12", [2, 1]),
        ("aB1", [2, 1]),
        ("B", [2, 1]),
        ("AB12 ", []),
        (" AB12", []),
        ("ABC", []),
        ("", [6, 5, 4, 3, 2, 1]),
        (12, [2, 1]),
        (34, [3]),
        # The list is searched as its text: quotes, commas and brackets are part of it.
        ('"AB12"', [2, 1]),
        ('"AB12"]', [1]),
        ('", "', [2]),
        ("[]", [4]),
        ("[", [6, 5, 4, 3, 2, 1]),
        # Wildcards are wildcards.
        ("%", [6, 5, 4, 3, 2, 1]),
        ("_", [6, 5, 4, 3, 2, 1]),
        ("A_1", [2, 1]),
        ("C%4", [3]),
        ("b%y", [2]),
        ("100%", [6]),
        ("________", [6, 5, 3, 2, 1]),
        ("_" * 9, [5, 2]),
        # A letter outside ASCII is found in the form in which it is stored.
        ("É", []),
        ("\\u00c9 1", [5]),
        ("\\U00C9", [5]),
    ],
)
def test_queries(filled, query, found):
    assert ids(filled.search_plates(query)) == found
    assert ids(filled.search_plates(query=query)) == found


def test_a_letter_outside_ascii_matches_in_its_own_case_only(store, db_path):
    # As a program writes it that does not escape.
    put(db_path, plates='["ÄB"]')
    assert ids(store.search_plates("ÄB")) == [1]
    assert ids(store.search_plates("Äb")) == [1]
    assert ids(store.search_plates("äb")) == []


def test_wildcards_need_a_text(store, db_path):
    put(db_path, plates=None)
    put(db_path, plates="")
    put(db_path, plates="x")
    assert sorted(ids(store.search_plates("%"))) == [2, 3]
    assert ids(store.search_plates("_")) == [3]
    assert sorted(ids(store.search_plates(""))) == [1, 2, 3]


@pytest.mark.parametrize(
    ("date_from", "date_to", "found"),
    [
        (None, None, [6, 5, 4, 3, 2, 1]),
        ("", "", [6, 5, 4, 3, 2, 1]),
        ("2024-05-01", None, [6, 5, 4, 3, 2, 1]),
        (None, "2024-05-01", []),
        (None, "2024-05-02", [6, 5, 4, 3, 2, 1]),
        ("2024-05-01T02:00:00", None, [6, 5, 4, 3]),
        ("2024-05-01T02:00:00.000001", None, [6, 5, 4]),
        (None, "2024-05-01T02:00:00", [3, 2, 1]),
        ("2024-05-01T02:00:00", "2024-05-01T02:00:00", [3]),
        ("2024-05-01T02", "2024-05-01T04", [4, 3]),
        ("2024-05-02", "2024-05-01", []),
        (2024, None, [6, 5, 4, 3, 2, 1]),
    ],
)
def test_bounds_are_compared_as_text_and_inclusive(filled, date_from, date_to, found):
    assert ids(filled.search_plates(date_from=date_from, date_to=date_to)) == found


@pytest.mark.parametrize(
    ("limit", "offset", "found"),
    [
        (2, 0, [6, 5]),
        (2, 2, [4, 3]),
        (4, 4, [2, 1]),
        (2, 6, []),
        (0, 0, []),
        (-1, 0, [6, 5, 4, 3, 2, 1]),
        (-1, 4, [2, 1]),
        (2, -1, [6, 5]),
        (True, False, [6]),
        ("2", "1", [5, 4]),
        (2.0, 1.0, [5, 4]),
    ],
)
def test_pages(filled, limit, offset, found):
    assert ids(filled.search_plates(limit=limit, offset=offset)) == found


def test_a_page_is_of_what_is_found(filled):
    assert ids(filled.search_plates("AB", limit=1)) == [2]
    assert ids(filled.search_plates("AB", limit=1, offset=1)) == [1]
    assert ids(filled.search_plates("AB", limit=1, offset=2)) == []
    assert ids(filled.search_plates("AB", limit=0)) == []


def test_all_conditions_must_hold(filled):
    filled.update_mmc_data(1, {"mmc_color": "red"})
    filled.update_mmc_data(2, {"mmc_color": "red"})
    filled.update_mmc_data(3, {"mmc_color": "red"})
    assert ids(filled.search_plates("AB", mmc_color="red")) == [2, 1]
    assert ids(filled.search_plates("AB", "2024-05-01T01", mmc_color="red")) == [2]
    assert ids(filled.search_plates("AB", "2024-05-01T01", min_confidence=0.93)) == [2]
    assert ids(filled.search_plates("AB", "2024-05-01T01", "2024-05-01T02", 0.94)) == []


def test_newest_first_by_the_text_of_the_time(filled, clock):
    clock.set("2024-05-01T00:30:00")
    add(filled, plates=["AB12"])
    assert ids(filled.search_plates("AB12")) == [2, 7, 1]


def test_lists_and_mappings_come_decoded(filled):
    filled.update_mmc_data(1, {"mmc_color": "red"})
    (record,) = filled.search_plates('"AB12"]')
    assert record["plates"] == ["AB12"]
    assert record["confidences"] == [0.93, 0.5]
    assert record["mmc_data"] == {"mmc_color": "red"}
    assert record["detection_confidences"] is None


def test_searching_writes_nothing(filled, db_path):
    before = db_path.read_bytes()
    filled.search_plates("AB", min_confidence=0.5, mmc_color="red")
    assert db_path.read_bytes() == before


def test_every_search_reads_the_file_anew(filled, db_path):
    assert ids(filled.search_plates("AB12")) == [2, 1]
    database.run_script(db_path, "DELETE FROM detections WHERE id = 2")
    assert ids(filled.search_plates("AB12")) == [1]


def test_what_a_search_returns_belongs_to_the_caller(filled):
    first = filled.search_plates("AB12")
    first[0]["plates"].append("more")
    first[0]["extra"] = 1
    assert [record["plates"] for record in filled.search_plates("AB12")] == [PLATES[1], PLATES[0]]


def test_columns_of_another_layout_come_in_their_own_order(store, db_path):
    database.run_script(
        db_path,
        "ALTER TABLE detections DROP COLUMN image_path;"
        "ALTER TABLE detections ADD COLUMN image_path TEXT DEFAULT 'late'",
    )
    add(store)
    assert list(store.search_plates("AB")[0])[-1] == "image_path"


def test_a_null_character_ends_the_pattern(filled):
    # As the engine has it: LIKE reads its pattern up to there, and no wildcard follows.
    assert ids(filled.search_plates("AB12\0")) == []
    assert ids(filled.search_plates('"AB12"]\0XX')) == [1]


def test_many_threads_search_at_once(filled):
    expected = exactly(filled.search_plates("AB", min_confidence=0.5))
    with ThreadPoolExecutor(4) as threads:
        found = threads.map(lambda _: filled.search_plates("AB", min_confidence=0.5), range(40))
        assert all(exactly(records) == expected for records in found)


def test_a_search_beside_a_writer_sees_what_was_committed(filled, db_path):
    with sqlite3.connect(db_path) as writer:
        writer.execute("DELETE FROM detections WHERE id = 1")
        assert ids(filled.search_plates("AB12")) == [2, 1]
        writer.commit()
        assert ids(filled.search_plates("AB12")) == [2]
    writer.close()
