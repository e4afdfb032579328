"""The watchlist: plates are added in capitals, with bare ends, each as a row; and removed by id."""

from __future__ import annotations

import sqlite3
import sys

import pytest

from support import database
from support.values import error_of, exactly, type_and_text

# Everything that a text may be stripped of; the blank is one of many.
WHITE = (
    "\t\n\v\f\r\x1c\x1d\x1e\x1f \x85\xa0\u1680"
    "\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200a"
    "\u2028\u2029\u202f\u205f\u3000"
)
# What looks like nothing, but is no white space.
NO_WHITE = "\0\x08\x1b\x7f\x84\xad\u180e\u200b\u200c\u200d\u2060\ufeff\u2800-_\U000e0020"


def stored(store, *arguments, **named):
    """The new row as it stands in the file: plate and label."""
    entry_id = store.add_watchlist(*arguments, **named)
    ((plate, label),) = database.query(
        store.db_path, "SELECT plate, label FROM watchlist WHERE id = ?", (entry_id,)
    )
    return plate, label


def test_an_entry_fills_its_columns_and_is_listed_with_them(store, clock):
    entry_id = store.add_watchlist("  ab-12 ", "\tstolen\n")
    assert exactly(entry_id) == exactly(1)
    assert exactly(store.get_watchlist()) == exactly(
        [
            {
                "id": 1,
                "plate": "AB-12",
                "label": "stolen",
                "note": "",
                "created_at": "2024-05-01T14:03:27.512034",
            }
        ]
    )


def test_the_label_may_be_left_out_and_both_given_by_keyword(store):
    assert exactly(stored(store, "AB")) == exactly(("AB", ""))
    assert stored(store, label=" stolen ", plate=" ab ") == ("AB", "stolen")
    assert stored(store, "cd", label="x") == ("CD", "x")


def test_ids_are_new_and_never_used_again(store):
    added = [store.add_watchlist("AB") for _ in range(3)]
    assert exactly(added) == exactly([1, 2, 3])
    store.remove_watchlist(3)
    assert store.add_watchlist("AB") == 4


def test_the_same_plate_twice_is_two_entries_and_both_match(store):
    first, second = store.add_watchlist("AB-1", "x"), store.add_watchlist("AB-1", "x")
    assert first != second
    assert [m["watchlist_id"] for m in store.check_watchlist(["ab1"])] == [first, second]


@pytest.mark.parametrize(("plate", "kept"), [
    ("ab-123", "AB-123"), (" a b\t-\u3000c ", "A B\t-\u3000C"), ("--ab--", "--AB--"), ("", ""),
    (" \t\u3000\n", ""), ("-", "-"), ("\0ab\0", "\0AB\0"), ("粤b-12345", "粤B-12345"),
    ("\U00010428\U0001f697", "\U00010400\U0001f697"),
], ids=ascii)  # fmt: skip
def test_a_plate_is_kept_as_typed_but_in_capitals_and_with_bare_ends(store, plate, kept):
    assert stored(store, plate) == (kept, "")


@pytest.mark.parametrize(("plate", "capitals"), [
    ("ß", "SS"), ("ẞ", "ẞ"), ("ŉ", "ʼN"), ("ǰ", "J\u030c"), ("ΐ", "Ι\u0308\u0301"), ("ﬁ", "FI"),
    ("ﬃ", "FFI"), ("ﬓ", "ՄՆ"), ("ς", "Σ"), ("ος", "ΟΣ"), ("ı", "I"), ("i", "I"), ("İ", "İ"),
    ("ſ", "S"), ("µ", "Μ"), ("ÿ", "Ÿ"), ("ǅ", "Ǆ"), ("ᾳ", "ΑΙ"), ("a\u0345", "AΙ"),
    ("e\u0301", "E\u0301"), ("ა", "Ა"), ("ꭰ", "Ꭰ"), ("ⓐ", "Ⓐ"), ("ⅷ", "Ⅷ"), ("ª", "ª"), ("ʰ", "ʰ"),
    ("\U0001e922", "\U0001e900"), ("\u0131" * 100, "I" * 100),
], ids=lambda text: ascii(text[:4]))  # fmt: skip
def test_capitals_follow_the_full_unicode_mapping(store, plate, capitals):
    assert plate.upper() == capitals
    assert stored(store, plate)[0] == capitals


def test_the_white_space_here_is_all_there_is():
    assert set(WHITE) == {chr(n) for n in range(sys.maxunicode + 1) if chr(n).isspace()}
    assert not any(character.isspace() for character in NO_WHITE)


def test_every_white_space_is_stripped_from_both_ends_and_nothing_else(store):
    for white in WHITE:
        plate, label = stored(store, f"{white}a{white}b{white}", f"{white}l{white}")
        assert (plate, label) == (f"A{white}B", "l"), ascii(white)
    for other in NO_WHITE:
        text = f"{other}A{other}"
        assert stored(store, text, text) == (text, text), ascii(other)
    assert stored(store, WHITE + "\U0001f697a" + WHITE, WHITE) == ("\U0001f697A", "")
    assert stored(store, WHITE, WHITE + "ä" + WHITE) == ("", "ä")
    assert stored(store, "a", " Stolen -  car ß ") == ("A", "Stolen -  car ß")


def test_a_long_plate_is_kept_whole(store):
    plate, label = stored(store, " " * 1000 + "äß" * 100_000 + " ", "x" * 300_000 + "\n")
    assert plate == "ÄSS" * 100_000
    assert label == "x" * 300_000


def test_the_argument_is_not_looked_up_or_compared(store, watch):
    watch("AB123", "", "-")
    assert stored(store, "AB123", "mine") == ("AB123", "mine")
    assert database.count(store.db_path, "watchlist") == 4


def test_a_text_that_has_no_encoding_is_not_stored(store, db_path):
    expected = (
        UnicodeEncodeError,
        "'utf-8' codec can't encode character '\\ud800' in position 1: surrogates not allowed",
    )
    for arguments in (("a\ud800",), ("a", "l\ud800")):
        assert type_and_text(error_of(store.add_watchlist, *arguments)) == expected
    assert database.count(db_path, "watchlist") == 0


def test_the_store_may_hold_what_the_type_of_a_column_turns_into_text(store, db_path):
    database.run_script(
        db_path, "INSERT INTO watchlist (plate, label, created_at) VALUES (5, 0.5, 7)"
    )
    (entry,) = store.get_watchlist()
    assert exactly(entry) == exactly(
        {"id": 1, "plate": "5", "label": "0.5", "note": "", "created_at": "7"}
    )
    (match,) = store.check_watchlist(["A-5"])
    assert exactly(match["watchlist_plate"]) == exactly("5")


def test_text_that_is_not_utf8_ends_the_listing(store, db_path):
    database.run_script(
        db_path, "INSERT INTO watchlist (plate, created_at) VALUES (CAST(x'41ff' AS TEXT), 'then')"
    )
    expected = (sqlite3.OperationalError, "Could not decode to UTF-8 column 'plate' with text 'A�'")
    for call in (store.get_watchlist, lambda: store.check_watchlist(["A"])):
        assert type_and_text(error_of(call)) == expected


def test_a_removed_entry_matches_no_more_and_its_alerts_stay(store):
    entry_id = store.add_watchlist("AB123", "stolen")
    store.add_alert("AB123", "stolen", 1, 0.5)
    before = store.get_alerts()
    assert len(store.check_watchlist(["AB123"])) == 1
    assert store.remove_watchlist(watchlist_id=entry_id) is True
    assert store.remove_watchlist(entry_id) is False
    assert store.check_watchlist(["AB123"]) == []
    assert store.get_watchlist() == []
    assert exactly(store.get_alerts()) == exactly(before)


def test_rows_that_a_trigger_deletes_are_not_counted(store, watch, db_path):
    watch("A")
    store.add_alert("A", "l", 1, 0.5)
    database.run_script(
        db_path, "CREATE TRIGGER t BEFORE DELETE ON watchlist BEGIN DELETE FROM alerts; END"
    )
    assert store.remove_watchlist(5) is False
    assert database.count(db_path, "alerts") == 1
    assert store.remove_watchlist(1) is True
    assert database.count(db_path, "alerts") == 0
