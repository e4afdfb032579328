"""Operations of one thread that greenlets switch between: each error names its own method."""

from __future__ import annotations

import os

import pytest

from support import child

pytest.importorskip("greenlet")
pytestmark = pytest.mark.skipif(
    bool(os.environ.get("ZENTROPE_ANPR_SANITIZER")),
    reason="greenlets copy stacks with the sanitizer's guard zones in them",
)

PRELUDE = """
import sys, traceback
from greenlet import greenlet, getcurrent
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

PREFIX = "zentrope_anpr.zentrope_anpr_server_db.ANPRDatabase."

def entries(error):
    names = [frame.f_code.co_name for frame, _ in traceback.walk_tb(error.__traceback__)]
    return [name.removeprefix(PREFIX) for name in names if name.startswith(PREFIX)]

seen = []

class Connection:
    # Switches at every step, so that each step of an operation runs between those of the others.
    def __init__(self, connection):
        self.connection = connection

    def __enter__(self):
        switch()
        self.connection.__enter__()
        return self

    def __exit__(self, error_type, error, trace):
        switch()
        if error is not None:
            seen.append((tags[getcurrent()], entries(error)))
        return self.connection.__exit__(error_type, error, trace)

    def execute(self, *given):
        switch()
        return self.connection.execute(*given)

    def commit(self):
        switch()
        self.connection.commit()

class Store(ANPRDatabase):
    def _get_conn(self):
        switch()
        return Connection(super()._get_conn())

def switch():
    if tags and getcurrent() in tags:
        getcurrent().parent.switch()

tags = {}
"""


def test_each_error_names_the_method_that_it_left(tmp_path):
    program = """
store = Store(sys.argv[1])
FAILING = {
    "add_watchlist": ("AB", 5),
    "add_alert": ("AB", "", [], 1),
    "get_detection": ([],),
    "get_history": ([],),
    "update_mmc_data": (1, {1}),
    "delete_detection": ([],),
    "search_plates": ("A", None, None, 0, "", "", "", "", "", "", []),
    "_init_schema": (),
}

def run(name):
    try:
        getattr(store, name)(*FAILING[name])
    except Exception as error:
        return entries(error)

failing = store._get_conn
def last_fails():
    if tags.get(getcurrent()) == "_init_schema":
        switch()
        raise ValueError
    return failing()
store._get_conn = last_fails

results = {}
greenlets = {name: greenlet(run) for name in FAILING}
tags.update({made: name for name, made in greenlets.items()})
going = dict(greenlets)
while going:
    for name, made in list(going.items()):
        answer = made.switch(name) if not made else made.switch()
        if made.dead:
            results[name] = answer
            del going[name]
for name in FAILING:
    print(name, results[name] == [name] or results[name])
shown = [(name, [name]) for name in sorted(FAILING) if name != "_init_schema"]
print(sorted(seen) == shown or seen)
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    *names, at_exit = output.splitlines()
    assert [line.split(maxsplit=1)[1] for line in names] == ["True"] * 8, output
    assert at_exit == "True"


def test_a_greenlet_that_is_killed_leaves_the_other_calls_their_names(tmp_path):
    program = """
store = Store(sys.argv[1])

def fail():
    try:
        store.get_history([])
    except Exception as error:
        return entries(error)

killed = greenlet(store.get_statistics)
failing = greenlet(fail)
tags.update({killed: "killed", failing: "failing"})
killed.switch()
failing.switch()
killed.throw()
answer = None
while not failing.dead:
    answer = failing.switch()
print(answer)
tags.clear()
print(fail())
"""
    output = child.output(PRELUDE + program, str(tmp_path / "x.db"))
    assert output == "['get_history']\n['get_history']\n"
