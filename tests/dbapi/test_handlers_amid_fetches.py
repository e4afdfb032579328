"""Handlers of signals that come back to a cursor, or raise, while it waits for another's lock."""

from __future__ import annotations

import pytest

from support import child

pytestmark = pytest.mark.slow

# A connection that waits for `other` to end its reading, and a handler that acts only amid the
# wait: a signal that comes before or after it changes nothing.
WAITING = """
    import signal
    import sqlite3
    import sys

    from support.sql_cases import NativeRow, open_native

    path, *given = sys.argv[1:]
    connection = open_native(path)
    connection.isolation_level = None
    connection.execute("CREATE TABLE t (v)")
    other = sqlite3.connect(path, isolation_level=None)

    def read_beside():
        other.execute("BEGIN")
        other.execute("SELECT * FROM t").fetchall()

    def amid(wait, action):
        def handler(number, frame):
            first = wait.__code__.co_firstlineno
            if frame.f_code is wait.__code__ and frame.f_lineno > first:
                signal.setitimer(signal.ITIMER_REAL, 0)
                action()

        signal.signal(signal.SIGALRM, handler)
        signal.setitimer(signal.ITIMER_REAL, 0.05, 0.05)
        try:
            return wait()
        finally:
            signal.setitimer(signal.ITIMER_REAL, 0)

    def fail():
        raise KeyError("from the handler")

    def inserted():
        cursor = connection.cursor()
        return cursor.execute("INSERT INTO t VALUES (1), (2), (3) RETURNING v")
"""


@pytest.mark.parametrize("factory", ["None", "NativeRow"])
@pytest.mark.parametrize(
    "step",
    [
        "cursor.fetchone()",
        "cursor.fetchmany(2)",
        "cursor.fetchall()",
        "next(cursor)",
        "cursor.execute('SELECT 1')",
        "cursor.executemany('DELETE FROM t', [()])",
        "cursor.executescript('SELECT 1')",
        "cursor.close()",
    ],
)
def test_a_cursor_amid_a_fetch_is_refused_to_the_handler(tmp_path, step, factory):
    # The fetch goes on where it was: no row is lost to the handler, none is read after the last.
    told = child.output(
        WAITING
        + """
    read_beside()
    cursor = inserted()
    cursor.row_factory = eval(given[1])

    def wait():
        return cursor.fetchall()

    def action():
        other.execute("ROLLBACK")
        try:
            print("inside", eval(given[0]))
        except sqlite3.Error as error:
            print(type(error).__name__, error)

    print([tuple(row) for row in amid(wait, action)])
    print(cursor.fetchall(), connection.execute("SELECT count(*) FROM t").fetchone()[0])
    """,
        str(tmp_path / "x.db"),
        step,
        factory,
    )
    assert told.splitlines() == [
        "ProgrammingError Recursive use of cursors not allowed.",
        "[(1,), (2,), (3,)]",
        "[] 3",
    ]


@pytest.mark.parametrize("method", ["close", "__init__", "execute"])
def test_what_a_handler_raises_while_a_cursor_ends_its_statement(tmp_path, method):
    told = child.output(
        WAITING
        + """
    read_beside()
    cursor = inserted()

    def wait():
        getattr(cursor, given[0])(*arguments)

    arguments = {"close": [], "__init__": [connection], "execute": ["SELECT 1"]}[given[0]]
    try:
        print("no error", amid(wait, fail))
    except BaseException as error:
        print(repr(error), repr(error.__cause__))
    other.execute("ROLLBACK")
    print(connection.execute("SELECT 5").fetchone()[0])
    """,
        str(tmp_path / "x.db"),
        method,
    )
    assert told.splitlines() == ["KeyError('from the handler') None", "5"]


def test_what_a_handler_raises_while_a_dropped_cursor_ends_its_statement(tmp_path):
    told = child.output(
        WAITING
        + """
    read_beside()
    cursors = [inserted()]
    sys.unraisablehook = lambda lost: print("told", repr(lost.exc_value))

    def wait():
        cursors.clear()

    print(amid(wait, fail))
    other.execute("ROLLBACK")
    print(connection.execute("SELECT 5").fetchone()[0])
    """,
        str(tmp_path / "x.db"),
    )
    assert told.splitlines() == ["told KeyError('from the handler')", "None", "5"]


def test_what_a_handler_raises_amid_a_checkpoint_of_a_script(tmp_path):
    told = child.output(
        WAITING
        + """
    connection.execute("PRAGMA journal_mode = WAL")
    connection.execute("INSERT INTO t VALUES (1)")
    read_beside()
    connection.execute("INSERT INTO t VALUES (2)")

    def wait():
        return connection.executescript("PRAGMA wal_checkpoint(TRUNCATE);")

    try:
        print("no error", amid(wait, fail))
    except BaseException as error:
        print(repr(error), repr(error.__cause__))
    print(connection.execute("SELECT count(*) FROM t").fetchone()[0])
    """,
        str(tmp_path / "x.db"),
    )
    assert told.splitlines() == ["KeyError('from the handler') None", "2"]
