"""Matching against its rule on plates made up at random."""

from __future__ import annotations

import sqlite3
from contextlib import closing

import pytest
from hypothesis import example, given, settings
from hypothesis import strategies as st

from support.values import exactly
from watchlist.rule import normal, rule

# Letters whose capitals are several letters, letters stored in another width (latin-1 that leaves
# latin-1, others that become ASCII), letters beyond the first plane, and capitals that stay.
SPECIAL = (
    "ßẞŉǰΐΰևẖẗẘẙẚﬀﬁﬂﬃﬄﬅﬆﬓﬔﬕﬖﬗᾀᾳᾼῌῼὖὗῒΐῗῤῧ"
    "ıiIİſsSςσΣÿŸµμΜåÅ\u212b\u212akKǅǆǄªºʰⅷⓐꭰᎠᏸა"
    "\U00010428\U00010400\U0001e922\U000118c0\U0001f697\U0002f800"
)
MARKS = "\u0300\u0301\u0307\u0308\u030c\u0345\u0327\u20dd\ufe0f"
REMOVED = " -"
NEARLY = "\t\xa0\xad\u2010\u2013\u2212\u3000\0\x85\x1c"

characters = st.one_of(
    *map(st.sampled_from, ("ABab12", "ABab12", REMOVED, "äÄéÉþ\xff\xf7", "車粤БбΩω٣")),
    *map(st.sampled_from, ("\U0001f697\U00010428\U0001d400\U00020000", SPECIAL, MARKS, NEARLY)),
    st.characters(exclude_categories=["Cs"]),
)
# What no file can hold, but a caller may ask for.
askable = st.one_of(characters, characters, characters, st.sampled_from("\ud800\udc00\udfff"))
few_letters = st.text("aB-", max_size=12)


@st.composite
def parts_of(draw, whole):
    """A piece of the text, written in another way: other cases, blanks and hyphens put in."""
    begin = draw(st.integers(0, len(whole)))
    end = draw(st.integers(begin, len(whole)))
    piece = whole[begin:end]
    if draw(st.booleans()):
        piece = normal(piece)
    for put in draw(st.lists(st.sampled_from([" ", "-", "- -", "x", "ß"]), max_size=2)):
        place = draw(st.integers(0, len(piece)))
        piece = piece[:place] + put + piece[place:]
    return draw(st.sampled_from([piece, piece.upper(), piece.lower(), piece.swapcase()]))


@st.composite
def cases(draw):
    """Plates, and entries of which many are pieces of the plates, or the other way round."""
    plates = draw(st.lists(st.text(askable, max_size=8) | few_letters, min_size=1, max_size=5))
    entries = draw(st.lists(st.text(characters, max_size=8) | few_letters, max_size=5))
    storable = [p for p in plates if not any("\ud800" <= c <= "\udfff" for c in p)]
    for whole in draw(st.lists(st.sampled_from(storable or ["AB"]), max_size=3)):
        entries.append(draw(parts_of(whole)))
    for whole in draw(st.lists(st.sampled_from(entries or ["AB"]), max_size=3)):
        plates.append(draw(parts_of(whole)))
    return plates, entries


def refill(path, plates):
    """Leaves just these entries in the file; them as the rule wants them."""
    rows = [(n, plate, f"label {n}") for n, plate in enumerate(plates, 1)]
    with closing(sqlite3.connect(path)) as connection, connection:
        connection.execute("DELETE FROM watchlist")
        connection.executemany(
            "INSERT INTO watchlist (id, plate, label, created_at) VALUES (?, ?, ?, '')", rows
        )
    return rows


@given(case=cases())
@example(case=(["AB-123", "ab 123", "XAB123Y", "B12", "-", ""], ["AB-123", " ", "", "12"]))
@example(case=(["ß", "SS", "s", "ﬃ", "FFI"], ["ss", "ß", "ẞ", "FI"]))
@example(case=(["\ud800", "a\ud800b"], ["A", "B", "-"]))
@example(case=(["\U00010428a", "\U00010400"], ["A", "\U00010428"]))
@example(case=(["ÿ", "Ÿ", "µ1"], ["\xff", "\u0178", "\u039c1"]))
def test_any_plates_against_any_entries(store, db_path, case):
    plates, entries = case
    rows = refill(db_path, entries)
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


@given(case=cases())
@settings(max_examples=25)
def test_entries_that_the_store_itself_has_put_in(store, db_path, case):
    plates, entries = case
    refill(db_path, [])
    rows = [
        (store.add_watchlist(plate, "label"), plate.upper().strip(), "label") for plate in entries
    ]
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


@given(
    pattern=st.text("aB", min_size=1, max_size=40),
    times=st.integers(1, 60),
    change=st.integers(0, 2400),
    other=st.text("AB\xff車\U0001f697", max_size=40),
)
@settings(max_examples=25)
def test_long_texts_that_nearly_repeat(store, db_path, pattern, times, change, other):
    text = pattern * times
    place = change % len(text)
    nearly = text[:place] + "c" + text[place + 1 :]
    plates = [text, nearly, pattern, other, text + other, nearly + pattern]
    rows = refill(db_path, [text[1:], nearly[1:], pattern * 2, other, other + pattern, "c"])
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


ONE_OF_EACH_WIDTH = {"ascii": "Z", "latin-1": "\xd8", "BMP": "車", "astral": "\U0001f697"}


@pytest.mark.parametrize("inner", ONE_OF_EACH_WIDTH)
@pytest.mark.parametrize("outer", ONE_OF_EACH_WIDTH)
def test_every_pair_of_widths(store, db_path, inner, outer):
    a, b = ONE_OF_EACH_WIDTH[inner], ONE_OF_EACH_WIDTH[outer]
    plates = [a, b, a + b, b + a + b, a * 40, b * 40 + a, f"{a}-1 {a}", f"{b}{a}1{a}{b}"]
    rows = refill(db_path, [*plates, b + b + a, "1"])
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


@pytest.mark.parametrize("size", [15, 16, 17, 63, 64, 65, 255, 256, 257, 4096, 70_000])
@pytest.mark.parametrize("letter", ["a", "\xe9", "б", "\U00010428"], ids=ascii)
def test_long_texts(store, db_path, letter, size):
    text = letter * size
    plates = [text, text[:-1] + "x", "x" + text, text + "-", " ".join(text), letter * (size - 1)]
    rows = refill(db_path, [text.upper(), text + "x", letter, "x", letter + "x", "y" + text])
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


@pytest.mark.parametrize("character", SPECIAL + MARKS + NEARLY, ids=ascii)
def test_each_special_letter_in_each_place(store, db_path, character):
    plates = [character, f"a{character}", f"{character}b", f"a {character}-b", character * 3]
    entries = [*plates, character.upper(), character.lower(), character.casefold(), "AB", "S", "I"]
    rows = refill(db_path, entries)
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))


@pytest.mark.slow
def test_every_letter_below_the_han_scripts_beside_its_capitals(store, db_path):
    letters = [chr(n) for n in range(0x3000) if chr(n).upper() != chr(n)]
    rows = refill(db_path, ["".join(letters), "|".join(letters)])
    plates = [*letters, *(letter.upper() for letter in letters), *(chr(n) for n in range(0x3000))]
    assert exactly(store.check_watchlist(plates)) == exactly(rule(plates, rows))
