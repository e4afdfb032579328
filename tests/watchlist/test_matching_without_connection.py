"""Matching holds no connection: the file is closed, or at least free, before the first plate."""

from __future__ import annotations

import gc
import weakref

import pytest

from support import database
from support.values import error_of


class Watching(str):
    """Runs `look` when it is asked for its capitals."""

    def upper(self):
        self.look()
        return str.upper(self)


def watching(text, look):
    plate = Watching(text)
    plate.look = look
    return plate


def test_no_descriptor_of_the_file_is_open_while_matching(native, db_path):
    # Python's own connections wait for the collector, so this is about the native ones.
    store = native.ANPRDatabase(db_path)
    store.add_watchlist("AB")
    seen = []

    def look():
        seen.append(database.open_descriptors(db_path))

    gc.collect()
    gc.disable()
    try:
        matches = store.check_watchlist([watching("ab", look), "x", watching("b", look)])
    finally:
        gc.enable()
    assert len(matches) == 2
    assert seen == [[], []]


class Proxy:
    """A connection that can be watched for its end."""

    def __init__(self, connection):
        self._connection = connection

    def __enter__(self):
        self._connection.__enter__()
        return self

    def __exit__(self, *error):
        return self._connection.__exit__(*error)

    def execute(self, *arguments):
        return self._connection.execute(*arguments)


def test_the_connection_is_gone_before_the_first_plate(store, watch):
    watch("AB")
    proxies, seen = [], []
    opened = store._get_conn

    def open_proxy():
        proxy = Proxy(opened())
        proxies.append(weakref.ref(proxy))
        return proxy

    store._get_conn = open_proxy
    plate = watching("ab", lambda: seen.append([proxy() for proxy in proxies]))
    assert len(store.check_watchlist([plate])) == 1
    assert seen == [[None]]


@pytest.mark.parametrize("kind", ["EXCLUSIVE", "IMMEDIATE"])
def test_others_may_lock_the_file_while_plates_are_matched(store, watch, db_path, kind):
    watch("AB")
    locked = []

    def look():
        with database.lock_held(db_path, kind) as other:
            other.execute("DELETE FROM watchlist")
            locked.append(True)

    assert len(store.check_watchlist([watching("ab", look), "b"])) == 2
    assert locked == [True]


def test_a_plate_that_fails_leaves_no_connection_behind(native, db_path):
    store = native.ANPRDatabase(db_path)
    store.add_watchlist("AB")
    gc.collect()
    gc.disable()
    try:
        error = error_of(store.check_watchlist, ["AB", None])
        assert database.open_descriptors(db_path) == []
    finally:
        gc.enable()
    assert error.__traceback__ is not None
