"""Which recognised plates match which watched ones."""

from __future__ import annotations

import pytest

from support import database
from support.values import exactly


def matches(store, *plates):
    """Which detected plate met which entry."""
    return [(m["detected_plate"], m["watchlist_id"]) for m in store.check_watchlist(list(plates))]


def test_an_empty_watchlist_matches_nothing(store):
    assert exactly(store.check_watchlist(["AB123", "", "-"])) == exactly([])


def test_a_match_has_four_keys_in_their_order(store):
    entry_id = store.add_watchlist("AB123", "stolen")
    assert exactly(store.check_watchlist(plates=["ab-123"])) == exactly(
        [
            {
                "detected_plate": "ab-123",
                "watchlist_plate": "AB123",
                "label": "stolen",
                "watchlist_id": entry_id,
            }
        ]
    )


def test_case_blanks_and_hyphens_do_not_count_and_parts_match(store):
    store.add_watchlist("AB-123")
    like = ["AB-123", "ab 123", "AB123", "XAB123Y", "B12", "a-b-1-2-3", "  -ab123", "b", "3"]
    like.append("AB1 23 x")
    other = ["AB124", "BA123", "AB12X3", "1AB23", "321BA", "X", "ABB123", "A123", "O"]
    other.append("AB\u2010123")
    assert matches(store, *like, *other) == [(plate, 1) for plate in like]


LOOK_ALIKE = (
    *(("O1", "01"), ("I1", "11"), ("É1", "E1"), ("E\u03011", "É1"), ("А1", "A1"), ("Α1", "A1")),
    *(("１2", "12"), ("ａb", "AB"), ("ﾌ", "フ"), ("İ", "I"), ("i\u0307", "İ"), ("ẞ", "SS")),
    *(("ª", "A"), ("Ⅷ", "VIII"), ("\u212a", "K"), ("\u212b", "Å"), ("Ǆ", "DŽ")),
)
ALIKE = (
    *(("ß", "ss"), ("straße", "STRASSE"), ("ŉ", "ʼn"), ("ǰ", "j\u030c"), ("ﬁ", "FI")),
    *(("ﬃ1", "f-f i1"), ("ος", "ΟΣ"), ("οσ", "ος"), ("ı", "i"), ("ſ", "s"), ("µ", "μ")),
    *(("ÿ", "Ÿ"), ("ǆ", "ǅ"), ("ᾳ", "αι"), ("ᾼ", "ᾳ"), ("ΐ", "ΐ"), ("a\u0345", "aι")),
    *(("ა", "Ა"), ("ꭰ", "Ꭰ"), ("\U00010428", "\U00010400"), ("è\U0001f697", "È\U0001f697")),
    ("ß", "S"),
)


@pytest.mark.parametrize(("detected", "watched"), LOOK_ALIKE, ids=ascii)
def test_look_alikes_are_not_folded(store, watch, detected, watched):
    watch(watched)
    assert store.check_watchlist([detected]) == []


@pytest.mark.parametrize(("detected", "watched"), ALIKE, ids=ascii)
def test_capitals_follow_the_full_unicode_mapping_on_both_sides(store, watch, detected, watched):
    watch(watched, detected)
    expected = [(plate, n) for plate in (detected, watched) for n in (1, 2)]
    assert matches(store, detected, watched) == expected


def test_capitals_come_before_blanks_and_hyphens_go(store, watch):
    # A letter that becomes several keeps its place: nothing is removed from in between.
    watch("x-ß y")
    assert matches(store, "xssy", "SSY", "s s", "ß-ß") == [("xssy", 1), ("SSY", 1), ("s s", 1)]


@pytest.mark.parametrize(
    "character",
    "\t\n\x1c\x85\xa0\u2000\u2007\u2009\u200b\u202f\u3000\xad\u2010\u2011\u2012\u2013\u2014\u2212\uff0d_.\0",
    ids=ascii,
)
def test_other_white_space_and_dashes_stay(store, watch, character):
    watch("AB12", f"C{character}D")
    assert matches(store, f"A{character}B12", f"{character}AB1", f"AB12{character}") == [
        (f"AB12{character}", 1)
    ]
    assert matches(store, "CD", f"c{character} -d") == [(f"c{character} -d", 2)]


def test_nothing_is_stripped(store, watch):
    watch("\tAB", "CD\n")
    hits = ["\tAB", "AB", "X\tAB"]
    assert matches(store, "\tAB", "AB", "XAB", "X\tAB", "\nCD") == [(plate, 1) for plate in hits]


@pytest.mark.parametrize("nothing", ["", " ", "-", " - - ", "-" * 1000], ids=len)
def test_what_is_empty_without_blanks_and_hyphens_matches_everything(store, watch, nothing):
    watch(nothing)
    plates = ["AB123", "", "-", "\t", "車"]
    assert matches(store, *plates) == [(plate, 1) for plate in plates]
    watch("AB123", "-", "", "\t", "車", "\U0001f697")
    assert matches(store, nothing) == [(nothing, n) for n in range(1, 8)]


def test_white_space_other_than_the_blank_is_not_empty(store, watch):
    watch("\t", "AB")
    assert matches(store, "\n", "AB") == [("AB", 2)]
    assert store.add_watchlist("\u3000") == 3  # stored as the empty text
    assert matches(store, "\n") == [("\n", 3)]


def test_the_same_plate_twice_gives_the_same_records_twice(store, watch):
    watch("AB-123")
    first, second = store.check_watchlist(["AB123", "AB123"])
    assert exactly(first) == exactly(second)
    assert first is not second


def test_one_plate_may_match_several_entries_and_one_entry_several_plates(store, watch):
    watch("AB", "CD", "B", "ABX")
    met = {"xaby": [1, 3], "ab": [1, 3, 4], "cd": [2], "abx": [1, 3, 4]}
    assert matches(store, *met) == [(plate, n) for plate, ids in met.items() for n in ids]


def test_entries_come_in_ascending_id_whatever_their_times_and_order(store, db_path):
    for entry_id, time in ((9, "b"), (-4, "a"), (100, "d"), (5, "c")):
        database.query(
            db_path,
            "INSERT INTO watchlist (id, plate, created_at) VALUES (?, 'AB', ?)",
            (entry_id, time),
        )
    assert matches(store, "ab") == [("ab", n) for n in (-4, 5, 9, 100)]
    assert [entry["id"] for entry in store.get_watchlist()] == [100, 5, 9, -4]


def test_a_change_takes_effect_at_once_whoever_made_it(store, store_module, db_path):
    other = store_module.ANPRDatabase(db_path)
    assert matches(other, "AB") == []
    entry_id = store.add_watchlist("AB")
    assert matches(other, "AB") == matches(store, "AB") == [("AB", entry_id)]
    database.query(db_path, "UPDATE watchlist SET plate = 'xy'")
    assert matches(store, "AB", "XY") == [("XY", entry_id)]
    other.remove_watchlist(entry_id)
    assert matches(store, "XY") == []


@pytest.mark.parametrize("label", ["stolen", "", " kept ", None, b"\x00", "ß"], ids=repr)
def test_the_label_is_the_stored_one_and_the_plate_the_object_passed(store, watch, label):
    watch("AB", label=label)
    plate = "".join(["a", "b"])
    (match,) = store.check_watchlist([plate])
    assert match["detected_plate"] is plate
    assert exactly(match["label"]) == exactly(label)


def test_a_plate_with_a_lone_surrogate_is_compared_like_any_other(store, watch):
    watch("AB", "")
    plates = ["xab\ud800", "\ud800", "A\udcffB"]
    assert matches(store, *plates) == [(plates[0], 1), *((plate, 2) for plate in plates)]


def test_a_null_character_ends_nothing(store, watch):
    watch("AB\0CD", "\0")
    met = {"b\0c": [1, 2], "AB": [1], "CD": [1], "xab\0cdy": [1, 2], "a\0": [2]}
    assert matches(store, *met) == [(plate, n) for plate, ids in met.items() for n in ids]
