"""What a search finds by the text of the plates, and how its conditions work together."""

from __future__ import annotations

import sqlite3
from concurrent.futures import ThreadPoolExecutor

import pytest

from support.samples import add
from support.stored_rows import ids, put
from support.values import exactly

PLATES = [["AB12"], ["ab12", "XY-9"], ["CD34"], [], ["É 1"], ["100%"]]
ALL = [6, 5, 4, 3, 2, 1]


@pytest.fixture
def filled(store, clock):
    """Detections 1 to 6 with the plates above, an hour apart."""
    for hour, plates in enumerate(PLATES):
        clock.set(f"2024-05-01T{hour:02}:00:00")
        add(store, plates=plates)
    return store


def test_without_filters_it_is_the_history(filled):
    found = filled.search_plates()
    assert ids(found) == ALL
    assert exactly(found) == exactly(filled.get_history())


@pytest.mark.parametrize(("query", "found"), [
    ("AB12", [2, 1]), ("ab12", [2, 1]), ("aB1", [2, 1]), ("B", [2, 1]), ("AB12 ", []),
    (" AB12", []), ("ABC", []), ("", ALL), (12, [2, 1]), (34, [3]),
    # The list is searched as its text: quotes, commas and brackets are part of it.
    ('"AB12"', [2, 1]), ('"AB12"]', [1]), ('", "', [2]), ("[]", [4]), ("[", ALL),
    # Wildcards are wildcards.
    ("%", ALL), ("_", ALL), ("A_1", [2, 1]), ("C%4", [3]), ("b%y", [2]), ("100%", [6]),
    ("________", [6, 5, 3, 2, 1]), ("_" * 9, [5, 2]),
    # A letter outside ASCII is found in the form in which it is stored.
    ("É", []), ("\\u00c9 1", [5]), ("\\U00C9", [5]),
    # A null character ends the pattern: LIKE reads up to there, and no wildcard follows.
    ("AB12\0", []), ('"AB12"]\0XX', [1]),
])  # fmt: skip
def test_queries(filled, query, found):
    assert ids(filled.search_plates(query)) == found
    assert ids(filled.search_plates(query=query)) == found


def test_a_letter_outside_ascii_matches_in_its_own_case_only(store, db_path):
    # As a program writes it that does not escape.
    put(db_path, plates='["ÄB"]')
    assert [len(store.search_plates(query)) for query in ("ÄB", "Äb", "äb")] == [1, 1, 0]


def test_wildcards_need_a_text(store, db_path):
    for plates in (None, "", "x"):
        put(db_path, plates=plates)
    assert sorted(ids(store.search_plates("%"))) == [2, 3]
    assert ids(store.search_plates("_")) == [3]
    assert sorted(ids(store.search_plates(""))) == [1, 2, 3]


def test_a_page_is_of_what_is_found(filled):
    for limit, offset, found in ((1, 0, [2]), (1, 1, [1]), (1, 2, []), (0, 0, [])):
        assert ids(filled.search_plates("AB", limit=limit, offset=offset)) == found


def test_all_conditions_must_hold(filled):
    for detection_id in (1, 2, 3):
        filled.update_mmc_data(detection_id, {"mmc_color": "red"})
    assert ids(filled.search_plates("AB", mmc_color="red")) == [2, 1]
    assert ids(filled.search_plates("AB", "2024-05-01T01", mmc_color="red")) == [2]
    assert ids(filled.search_plates("AB", "2024-05-01T01", min_confidence=0.93)) == [2]
    assert ids(filled.search_plates("AB", "2024-05-01T01", "2024-05-01T02", 0.94)) == []


def test_lists_and_mappings_come_decoded(filled):
    filled.update_mmc_data(1, {"mmc_color": "red"})
    (record,) = filled.search_plates('"AB12"]')
    assert record["plates"] == ["AB12"]
    assert record["confidences"] == [0.93, 0.5]
    assert record["mmc_data"] == {"mmc_color": "red"}
    assert record["detection_confidences"] is None


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
