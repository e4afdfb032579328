"""Statements, parameters, cursors and rows live through a call whose caller has dropped them."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child

PRELUDE = """
import functools, gc, sqlite3, sys, weakref
from support.sql_cases import open_native

junk = []

def fresh(text):
    return "".join(list(text))

def refill():
    gc.collect()
    junk.append([fresh("junk %d" % i) for i in range(3000)])
    junk.append([[i] for i in range(3000)])
    junk.append([(i, i) for i in range(3000)])

class Dropping:
    # As a parameter: drops the call that binds it.
    def __conform__(self, protocol):
        given.__setstate__((print, (), {}, None))
        refill()
        return fresh("bound")

connection = open_native(sys.argv[1])
connection.execute("CREATE TABLE t (a, b)")
"""

PROGRAMS = {
    "connection.execute": """
given = functools.partial(
    connection.execute, fresh("INSERT INTO t VALUES (?, ?)"), [Dropping(), fresh("second")]
)
given()
print([tuple(row) for row in connection.execute("SELECT * FROM t")])
""",
    "cursor.execute": """
given = functools.partial(
    connection.cursor().execute, fresh("SELECT ?, ?"), [Dropping(), fresh("second")]
)
print([tuple(row) for row in given()])
""",
    "executemany": """
given = functools.partial(
    connection.cursor().executemany,
    fresh("INSERT INTO t VALUES (?, ?)"),
    [(Dropping(), fresh("second"))],
)
given()
print([tuple(row) for row in connection.execute("SELECT * FROM t")])
""",
    "a named parameter": """
given = functools.partial(
    connection.cursor().execute,
    fresh("SELECT :a, :b"),
    {"a": Dropping(), "b": fresh("second")},
)
print([tuple(row) for row in given()])
""",
    "a factory of rows": """
def factory(cursor, values):
    if given.args is not None:
        given.__setstate__((print, (), {}, None))
        refill()
    return values

cursor = connection.cursor()
cursor.row_factory = factory
given = functools.partial(cursor.execute("SELECT 'bound', 'second'").fetchall)
del cursor
print(given())
""",
    "a factory of cursors": """
class Factory:
    def __call__(self, made_for):
        given.__setstate__((print, (), {}, None))
        refill()
        from zentrope_anpr import zentrope_anpr_server_db
        return type(made_for.execute("SELECT 1"))(made_for)

given = functools.partial(connection.cursor, Factory())
del connection
print([tuple(row) for row in given().execute("SELECT 'bound', 'second'")])
""",
    "a key of a row": """
class Key(str):
    def __eq__(self, other):
        if given.func is not print:
            given.__setstate__((print, (), {}, None))
            refill()
        return str(self) == other
    __hash__ = str.__hash__

row = connection.execute("SELECT 'bound' AS a, 'second' AS b").fetchone()
given = functools.partial(row.__getitem__, Key("b"))
del row
print([("bound", given())])
""",
    "a value's hash": """
class Value:
    def __hash__(self):
        given.__setstate__((print, (), {}, None))
        refill()
        return 5

values = (Value(), 1)
expected = hash(connection.execute("SELECT 1, 2").description) ^ 5
kind = type(connection.execute("SELECT 1").fetchone())
given = functools.partial(kind(connection.execute("SELECT 1, 2"), values).__hash__)
del values
given()
print([("bound", "second")])
""",
    "a slice of a row": """
class Index:
    def __index__(self):
        given.__setstate__((print, (), {}, None))
        refill()
        return 0

given = functools.partial(
    connection.execute("SELECT 'bound', 'second'").fetchone().__getitem__, slice(Index(), None)
)
print([given()])
""",
}


@pytest.mark.parametrize("what", PROGRAMS)
def test_what_was_dropped_stays_whole_until_the_call_ends(tmp_path: Path, what: str) -> None:
    output = child.output(PRELUDE + PROGRAMS[what], str(tmp_path / "x.db"))
    assert output == "[('bound', 'second')]\n"


# Another process holds the file's lock, so the call has let the GIL go while its caller drops it.
WAITING = """
import threading, time

other = sqlite3.connect(sys.argv[1], isolation_level=None, check_same_thread=False)
connection.execute("INSERT INTO t VALUES (1, 2)")
connection.commit()
other.execute("BEGIN EXCLUSIVE")

def drop():
    time.sleep(0.3)
    given.__setstate__((print, (), {}, None))
    refill()
    other.execute("COMMIT")

"""
WAITERS = {
    "executescript": """
given = functools.partial(connection.executescript, fresh("INSERT INTO t VALUES (3, 4);" * 20))
rows = 21
""",
    "execute": """
given = functools.partial(
    connection.cursor().execute, fresh("INSERT INTO t VALUES (?, ?)"), [fresh("a"), fresh("b")]
)
rows = 2
""",
}


@pytest.mark.parametrize("what", WAITERS)
def test_a_call_that_waits_for_the_file_owns_what_it_was_given(tmp_path: Path, what: str) -> None:
    program = """
dropping = threading.Thread(target=drop)
dropping.start()
given()
dropping.join()
print(connection.execute("SELECT count(*) FROM t").fetchone()[0] == rows)
"""
    output = child.output(PRELUDE + WAITING + WAITERS[what] + program, str(tmp_path / "x.db"))
    assert output == "True\n"
