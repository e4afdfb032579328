"""Statements run by execute, executemany and executescript, beside Python's connection."""

from __future__ import annotations

import pytest

from support.alike import alike
from support.sql_cases import assert_alike, describe, outcome

SETUP = """
CREATE TABLE t (id INTEGER PRIMARY KEY, name TEXT UNIQUE, n REAL NOT NULL DEFAULT 0, b BLOB);
INSERT INTO t (id, name, n, b) VALUES
    (1, 'one', 1.5, x'00ff'), (2, 'two', 2, NULL), (3, 'three', 3, x'');
"""

# fmt: off
STATEMENTS = (
    "SELECT 1", "SELECT 1, 2.5, 'x', x'00', NULL", "SELECT * FROM t", "SELECT * FROM t WHERE 0",
    "SELECT id AS a, id AS a, id AS A FROM t", "SELECT 1 AS \"\", 2 AS \" \", 3 AS \"a [b]\"",
    "VALUES (1, 2), (3, 4)", "WITH c(x) AS (VALUES (1), (2)) SELECT x FROM c",
    "SELECT 9223372036854775807, -9223372036854775808, 9223372036854775808, 1e999, -1e999, 5e-324",
    "SELECT 'a' || char(0) || 'b'", "SELECT 'é☃\U0001f600'", "SELECT max(id) FROM t",
    "SELECT count(*) FROM t", "INSERT INTO t (name) VALUES ('four')",
    "INSERT INTO t SELECT id + 10, name || 'x', n, b FROM t",
    "INSERT OR IGNORE INTO t (id) VALUES (1)",
    "INSERT OR REPLACE INTO t (id, name) VALUES (1, 'uno')",
    "REPLACE INTO t (id, name) VALUES (2, 'dos')", "UPDATE t SET n = n + 1",
    "UPDATE t SET n = 0 WHERE id = 99", "UPDATE OR IGNORE t SET name = 'one'",
    "DELETE FROM t WHERE id > 1", "DELETE FROM t",
    "INSERT INTO t (name) VALUES ('r') RETURNING id, name", "UPDATE t SET n = 5 RETURNING id",
    "DELETE FROM t RETURNING *", "INSERT INTO t (name) VALUES ('r') ON CONFLICT DO NOTHING",
    "insert into t default values", "  \n\t INSERT INTO t (name) VALUES ('blank')",
    "-- c\nINSERT INTO t (name) VALUES ('commented')", "/* c */ INSERT INTO t (name) VALUES ('c')",
    "/* -- */ -- /*\n UPDATE t SET n = 1", "/**/REPLACE INTO t (id) VALUES (5)",
    "WITH c AS (SELECT 1) INSERT INTO t (name) SELECT 'cte' FROM c",
    "EXPLAIN INSERT INTO t (name) VALUES ('x')", "CREATE TABLE u (x)",
    "CREATE TABLE IF NOT EXISTS t (x)", "DROP TABLE t", "ALTER TABLE t ADD COLUMN x",
    "CREATE INDEX i ON t (n)", "CREATE TEMP TABLE v (x)", "CREATE VIEW w AS SELECT id FROM t",
    "CREATE TABLE u AS SELECT * FROM t",
    "CREATE TRIGGER g AFTER INSERT ON t BEGIN UPDATE t SET n = 9; END", "BEGIN", "BEGIN IMMEDIATE",
    "COMMIT", "ROLLBACK", "END", "SAVEPOINT s", "RELEASE s", "VACUUM", "ANALYZE", "REINDEX",
    "ATTACH ':memory:' AS m", "DETACH m", "PRAGMA user_version", "PRAGMA user_version = 7",
    "PRAGMA table_info(t)", "PRAGMA foreign_keys", "PRAGMA foreign_keys = ON",
    "PRAGMA busy_timeout", "PRAGMA busy_timeout = 10", "PRAGMA integrity_check", "PRAGMA nonsense",
    "PRAGMA encoding", "PRAGMA database_list", "", " ", "\n\t ", ";", ";;", " ; ; ",
    "-- only a comment", "/* only a comment */", "/* open", "--", "/", "-", "SELECT 1;",
    "SELECT 1; ", "SELECT 1;;", "SELECT 1; -- c", "SELECT 1; /* c */", "SELECT 1 -- c",
    "SELECT 1; /* open", "SELECT 1; SELECT 2", "SELECT 1; garbage", "SELECT 1;\n-- c\n SELECT 2",
    "; SELECT 1", "-- c\n; SELECT 1", "SELECT 1; -", "SELECT 1; /* a */ -- b\n /* c */ ",
    "SELECT 1; /", "INSERT INTO t (name) VALUES ('a'); DELETE FROM t", "SELECT 1;;;x", "SELEC 1",
    "SELECT", "SELECT * FROM missing", "SELECT missing FROM t",
    "INSERT INTO t (missing) VALUES (1)", "SELECT 'open", "SELECT \"open", "SELECT (1",
    "SELECT 1)", "SELECT x'0'", "SELECT @", "SELECT #", "SELECT nofunction(1)", "SELECT abs()",
    "INSERT INTO t (id) VALUES (1)", "INSERT INTO t (name) VALUES ('one')",
    "INSERT INTO t (n) VALUES (NULL)", "INSERT INTO t (id) VALUES ('x')",
    "INSERT OR ROLLBACK INTO t (id) VALUES (1)", "INSERT OR FAIL INTO t (id) VALUES (4), (1), (5)",
    "INSERT OR ABORT INTO t (id) VALUES (4), (1)", "SELECT abs(-9223372036854775808)",
    "SELECT 1 LIMIT 'x'", "SELECT zeroblob(2000000000)", "SELECT CAST(x'ff' AS TEXT)",
    "SELECT CAST(x'c3a9' AS TEXT), CAST(x'eda080' AS TEXT)", "SELECT CAST(x'ff' AS TEXT) AS \"n\"",
    "SELECT load_extension('x')", "SELECT json('x')", "SELECT json_extract('{\"a\": 1}', '$.a')",
    "CREATE TABLE t (x)", "CREATE TABLE sqlite_x (x)", "SELECT 1 AS a", "SELECT 1 AS A, 2 AS a",
    "SELECT id, name FROM t", "SELECT t.id, t.name FROM t", "SELECT id AS \"x [y]\" FROM t",
    "SELECT 1 AS \"[y]\"", "SELECT 1+1, 'a' || 'b'", "SELECT 1 AS 'é', 2 AS \"\U0001f600\"",
    "SELECT a.id, b.id FROM t a JOIN t b", "SELECT (SELECT 1)", "SELECT 1 WHERE 0",
    "UPDATE t SET name = name RETURNING *", "UPDATE t SET name = 'x' WHERE 0", "EXPLAIN SELECT 1",
    "EXPLAIN QUERY PLAN SELECT * FROM t", "WITH c AS (SELECT 1 AS one) SELECT * FROM c",
    "INSERT INTO t (name) VALUES ('c'), ('d')", "INSERT INTO t (id, name) VALUES (100, 'c')",
    "INSERT OR IGNORE INTO t (name) VALUES ('one')", "REPLACE INTO t (id, name) VALUES (1, 'two')",
    "INSERT OR REPLACE INTO t (name) VALUES ('one')", "UPDATE t SET name = name || 'x'",
    "UPDATE t SET name = 'z'", "INSERT INTO t (name) SELECT name || '2' FROM t",
    "WITH c AS (SELECT 'w' AS x) INSERT INTO t (name) SELECT x FROM c", "DELETE FROM t WHERE 0",
    "EXPLAIN DELETE FROM t", "INSERT INTO t (id) VALUES (-9223372036854775808)",
)
# fmt: on


EVERY_STATEMENT = pytest.mark.parametrize("sql", STATEMENTS, ids=ascii)


@EVERY_STATEMENT
def test_execute_then_fetch_everything(sql):
    assert_alike(lambda c: c.execute(sql), setup=SETUP)
    assert_alike(lambda c: c.execute(sql).fetchall(), setup=SETUP)
    assert_alike(lambda c: list(c.execute(sql)), setup=SETUP)
    assert_alike(lambda c: (c.execute(sql), c.in_transaction, c.commit()), setup=SETUP)


@pytest.mark.parametrize("before", [None, "INSERT INTO t (name) VALUES ('before')", "SELECT 1"])
@EVERY_STATEMENT
@alike(SETUP)
def test_what_a_cursor_tells_at_each_step(connection, sql, before):
    cursor = connection.cursor()
    seen = [describe(cursor)]
    for method, *given in (
        *([("execute", before)] if before else []),
        ("execute", sql),
        ("fetchone",),
        ("fetchall",),
        ("execute", "SELECT 1 AS next"),
        ("executemany", "DELETE FROM t WHERE id = ?", []),
    ):
        seen.append(outcome(getattr(cursor, method), *given))
        seen.append((describe(cursor), connection.total_changes, connection.in_transaction))
    return seen


@EVERY_STATEMENT
@alike(SETUP)
def test_execute_inside_an_open_transaction(connection, sql):
    connection.execute("INSERT INTO t (id, name) VALUES (50, 'fifty')")
    cursor = connection.execute(sql)
    return cursor.fetchmany(2), connection.in_transaction, cursor


@pytest.mark.parametrize("level", [None, "IMMEDIATE", "EXCLUSIVE"])
@EVERY_STATEMENT
@alike(SETUP)
def test_execute_under_another_isolation_level(connection, sql, level):
    connection.isolation_level = level
    cursor = connection.execute(sql)
    return cursor, connection.in_transaction, cursor.fetchall()


@EVERY_STATEMENT
def test_executemany_of_no_one_and_two_rows(sql):
    for rows in ([], [()], [(), ()]):
        assert_alike(lambda c, rows: c.executemany(sql, rows), rows, setup=SETUP)
        assert_alike(lambda c, rows: c.executemany(sql, rows).fetchall(), rows, setup=SETUP)


@pytest.mark.parametrize("inside", [False, True])
@EVERY_STATEMENT
@alike(SETUP)
def test_executescript(connection, sql, inside):
    if inside:
        connection.execute("INSERT INTO t (id, name) VALUES (50, 'fifty')")
    cursor = connection.executescript(sql)
    return cursor, connection.in_transaction, cursor.fetchall()


class TextSubclass(str):
    __slots__ = ()

    def __str__(self) -> str:
        return "SELECT 'spelled'"


# fmt: off
ODD = [
    None, 1, 1.5, b"SELECT 1", bytearray(b"SELECT 1"), ["SELECT 1"], ("SELECT 1",), object, ...,
    "\0SELECT 1", "SELECT 1\0", "SELECT\0 1", "SELECT 1; \0", "\0", "SELECT '\ud8ff'",
    "SELECT '\udcff'", "\ud800", TextSubclass("SELECT 1"),
]
WRONG: list[tuple[str, tuple, dict]] = [
    ("execute", (), {}),
    ("execute", ("SELECT 1", (), ()), {}),
    ("execute", ("SELECT 1",), {"parameters": ()}),
    ("execute", (), {"sql": "SELECT 1"}),
    ("executemany", (), {}),
    ("executemany", ("SELECT 1",), {}),
    ("executemany", ("SELECT 1", [], []), {}),
    ("executemany", ("INSERT INTO t (name) VALUES (?)",), {"parameters": []}),
    ("executescript", (), {}),
    ("executescript", ("SELECT 1", ()), {}),
    ("executescript", (), {"sql_script": "SELECT 1"}),
    ("cursor", (1,), {}),
    ("cursor", (None,), {}),
    ("commit", (1,), {}),
    ("rollback", (1,), {}),
    ("close", (1,), {}),
    ("commit", (), {"x": 1}),
]
# fmt: on


@pytest.mark.parametrize("sql", ODD, ids=ascii)
@pytest.mark.parametrize("method", ["execute", "executemany", "executescript"])
@pytest.mark.parametrize("on", ["connection", "cursor"])
@alike()
def test_what_is_no_statement_fails_as_in_python(connection, on, method, sql):
    runner = connection if on == "connection" else connection.cursor()
    return getattr(runner, method)(sql, *([[()]] if method == "executemany" else [])).fetchall()


@pytest.mark.parametrize(("method", "given", "named"), WRONG)
@alike(SETUP)
def test_wrong_arguments_fail_with_the_same_class(connection, method, given, named):
    try:
        getattr(connection, method)(*given, **named)
    except TypeError:
        return "TypeError"
    return "taken"


@alike(SETUP)
def test_the_same_statement_again_after_the_schema_changed(connection):
    first = connection.execute("SELECT * FROM t").fetchall()
    connection.execute("ALTER TABLE t ADD COLUMN later DEFAULT 'x'")
    again = connection.execute("SELECT * FROM t")
    described = [column[0] for column in again.description]
    connection.execute("DROP TABLE t")
    connection.execute("CREATE TABLE t (only)")
    last = connection.execute("SELECT * FROM t")
    return first, described, again.fetchall(), last.description


@pytest.mark.parametrize(
    ("sql", "bad", "good"),
    [
        ("INSERT INTO t (name) VALUES (?)", "one", "new"),
        ("INSERT INTO t (name) VALUES (?) RETURNING id", "one", "new"),
        ("UPDATE t SET name = ?", "two", None),
        ("SELECT abs(?)", -(2**63), 5),
        ("SELECT id FROM t LIMIT ?", "word", 2),
        ("SELECT ?", object(), 5),
    ],
)
@alike(SETUP)
def test_a_statement_that_failed_can_be_run_again(connection, sql, bad, good):
    return [
        outcome(lambda runner, value: runner.execute(sql, (value,)).fetchall(), runner, value)
        for value in (good, bad, bad, good, bad)
        for runner in (connection, connection.cursor())
    ]


@alike(SETUP)
def test_the_same_statement_in_two_cursors_at_once(connection):
    first = connection.execute("SELECT id FROM t WHERE id < ?", (3,))
    one = first.fetchone()
    second = connection.execute("SELECT id FROM t WHERE id < ?", (2,))
    return one, second.fetchall(), first.fetchall()


@alike(SETUP)
def test_many_different_statements_on_one_connection(connection):
    held = [connection.execute(f"SELECT {n} AS c{n}, id FROM t") for n in range(300)]
    return [c.fetchone() for c in held], [c.fetchall() for c in reversed(held)]


@alike(SETUP)
def test_declared_types_are_not_detected(connection):
    connection.execute("CREATE TEMP TABLE d (a date, b timestamp, c boolean)")
    connection.execute("INSERT INTO d VALUES ('2024-05-01', '2024-05-01 10:00:00', 1)")
    return connection.execute('SELECT a, b, c, a AS "a [date]" FROM d').fetchall()


@alike(SETUP)
def test_total_changes_and_row_ids_over_many_statements(connection):
    seen = []
    for sql in STATEMENTS:
        seen.append(outcome(connection.execute, sql))
        seen.append((connection.total_changes, connection.in_transaction))
    return seen
