"""Adding a plate to the watchlist: capitals, stripped ends, one row."""

from __future__ import annotations

import sys
from datetime import datetime

import pytest

from support import database
from support.values import exactly

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


def test_an_entry_fills_its_columns(store, clock, db_path):
    entry_id = store.add_watchlist("  ab-12 ", "\tstolen\n")
    assert exactly(entry_id) == exactly(1)
    assert exactly(database.query(db_path, "SELECT * FROM watchlist")) == exactly(
        [(1, "AB-12", "stolen", "", "2024-05-01T14:03:27.512034")]
    )


def test_the_label_is_empty_when_it_is_left_out(store):
    assert exactly(stored(store, "AB")) == exactly(("AB", ""))


def test_both_may_be_given_by_keyword(store):
    assert stored(store, label=" stolen ", plate=" ab ") == ("AB", "stolen")
    assert stored(store, "cd", label="x") == ("CD", "x")


@pytest.mark.parametrize(
    ("moment", "text"),
    [
        ("2024-05-01T08:00:00", "2024-05-01T08:00:00"),
        ("2024-05-01T08:00:00.000001", "2024-05-01T08:00:00.000001"),
        ("2024-12-31T23:59:59.990000", "2024-12-31T23:59:59.990000"),
    ],
)
def test_the_time_is_local_and_without_a_zone(store, clock, moment, text):
    clock.set(moment)
    store.add_watchlist("AB")
    assert store.get_watchlist()[0]["created_at"] == text
    assert clock.readings == 1


def test_the_time_is_now(store):
    before = datetime.now().isoformat()
    store.add_watchlist("AB")
    assert before <= store.get_watchlist()[0]["created_at"] <= datetime.now().isoformat()


def test_ids_are_new_and_never_used_again(store):
    added = [store.add_watchlist("AB") for _ in range(3)]
    assert exactly(added) == exactly([1, 2, 3])
    store.remove_watchlist(3)
    assert store.add_watchlist("AB") == 4


def test_the_same_plate_twice_is_two_entries_and_both_match(store):
    first, second = store.add_watchlist("AB-1", "x"), store.add_watchlist("AB-1", "x")
    assert first != second
    assert [m["watchlist_id"] for m in store.check_watchlist(["ab1"])] == [first, second]


@pytest.mark.parametrize(
    ("plate", "kept"),
    [
        ("ab-123", "AB-123"),
        (" a b\t-\u3000c ", "A B\t-\u3000C"),
        ("--ab--", "--AB--"),
        ("", ""),
        (" \t\u3000\n", ""),
        ("-", "-"),
        ("\0ab\0", "\0AB\0"),
        ("粤b-12345", "粤B-12345"),
        ("\U00010428\U0001f697", "\U00010400\U0001f697"),
    ],
    ids=ascii,
)
def test_a_plate_is_kept_as_typed_but_in_capitals_and_with_bare_ends(store, plate, kept):
    assert stored(store, plate) == (kept, "")


@pytest.mark.parametrize(
    ("plate", "capitals"),
    [
        ("ß", "SS"),
        ("ẞ", "ẞ"),
        ("ŉ", "ʼN"),
        ("ǰ", "J\u030c"),
        ("ΐ", "Ι\u0308\u0301"),
        ("ﬁ", "FI"),
        ("ﬃ", "FFI"),
        ("ﬓ", "ՄՆ"),
        ("ς", "Σ"),
        ("ος", "ΟΣ"),
        ("ı", "I"),
        ("i", "I"),
        ("İ", "İ"),
        ("ſ", "S"),
        ("µ", "Μ"),
        ("ÿ", "Ÿ"),
        ("ǅ", "Ǆ"),
        ("ᾳ", "ΑΙ"),
        ("a\u0345", "AΙ"),
        ("e\u0301", "E\u0301"),
        ("ა", "Ა"),
        ("ꭰ", "Ꭰ"),
        ("ⓐ", "Ⓐ"),
        ("ⅷ", "Ⅷ"),
        ("ª", "ª"),
        ("ʰ", "ʰ"),
        ("\U0001e922", "\U0001e900"),
        ("\u0131" * 100, "I" * 100),
    ],
    ids=lambda text: ascii(text[:4]),
)
def test_capitals_follow_the_full_unicode_mapping(store, plate, capitals):
    assert plate.upper() == capitals
    assert stored(store, plate)[0] == capitals


def test_the_white_space_here_is_all_there_is():
    assert set(WHITE) == {chr(n) for n in range(sys.maxunicode + 1) if chr(n).isspace()}
    assert not any(character.isspace() for character in NO_WHITE)


@pytest.mark.parametrize("character", WHITE, ids=ascii)
def test_every_white_space_is_stripped_from_both_ends(store, character):
    plate, label = stored(store, f"{character}a{character}b{character}", f"{character}l{character}")
    assert plate == f"A{character}B"
    assert label == "l"


def test_white_space_of_all_kinds_is_stripped_at_once(store):
    assert stored(store, WHITE + "\U0001f697a" + WHITE, WHITE) == ("\U0001f697A", "")
    assert stored(store, WHITE, WHITE + "ä" + WHITE) == ("", "ä")


@pytest.mark.parametrize("character", NO_WHITE, ids=ascii)
def test_what_is_no_white_space_stays_at_the_ends(store, character):
    text = f"{character}A{character}"
    assert stored(store, text, text) == (text, text)


def test_a_label_is_stripped_and_nothing_else(store):
    assert stored(store, "a", " Stolen -  car ß ") == ("A", "Stolen -  car ß")


def test_a_long_plate_is_kept_whole(store):
    plate, label = stored(store, " " * 1000 + "äß" * 100_000 + " ", "x" * 300_000 + "\n")
    assert plate == "ÄSS" * 100_000
    assert label == "x" * 300_000


def test_the_argument_is_not_looked_up_or_compared(store, watch):
    watch("AB123", "", "-")
    assert stored(store, "AB123", "mine") == ("AB123", "mine")
    assert database.count(store.db_path, "watchlist") == 4
