"""A connection opened before a fork is the parent's: the child must not end its transaction."""

from __future__ import annotations

import pytest

from support.program import told

pytestmark = pytest.mark.slow

PROGRAM = """
def use_other():
    try:
        open_native(path)
    except sqlite3.OperationalError as error:
        assert "forked while a transaction was open" in str(error)
    else:
        raise AssertionError("the child opened the file without its parent's locks")

def drop():
    global cursor, connection
    del cursor, connection
    gc.collect()

connection = open_native(path)
connection.executescript("CREATE TABLE t (v); INSERT INTO t VALUES ('before');")
connection.execute("PRAGMA cache_size = 2")
connection.executemany("INSERT INTO t VALUES (?)", [("inside " * 200,) for _ in range(100)])
cursor = connection.execute("SELECT v FROM t")
cursor.fetchone()
endings = {
    "nothing": int, "drop": drop, "close": connection.close, "cursor": cursor.close,
    "exit": lambda: sys.exit(0), "other": use_other,
}
ending = endings.pop(arguments[0])
del endings
child = os.fork()
if child == 0:
    code = 0
    try:
        ending()
    except Exception as error:
        print("child:", repr(error), file=sys.stderr)
        code = 5
    os._exit(code)
print("child", os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
print("journal", os.path.exists(path + "-journal"))
rival = sqlite3.connect(path, timeout=0)
try:
    rival.execute("INSERT INTO t VALUES ('rival')")
    print("rival wrote")
except sqlite3.OperationalError as error:
    print(error)
rival.close()
connection.commit()
print(connection.execute("SELECT count(*) FROM t").fetchone()[0])
print(connection.execute("PRAGMA integrity_check").fetchone()[0])
connection.close()
"""


@pytest.mark.parametrize("ending", ["nothing", "drop", "close", "cursor", "exit", "other"])
def test_the_parents_transaction_survives_its_child(db_path, ending):
    expected = "child 0\njournal True\ndatabase is locked\n101\nok\n"
    assert told(PROGRAM, db_path, ending) == expected


def test_a_store_made_before_a_fork_works_on_both_sides(db_path):
    output = told(
        """
        store = ANPRDatabase(path)
        store.add_detection(*GIVEN)
        children = []
        for _ in range(3):
            child = os.fork()
            if child == 0:
                for _ in range(10):
                    store.add_detection(*GIVEN)
                store.get_history()
                sys.exit(0)
            children.append(child)
        for _ in range(10):
            store.add_detection(*GIVEN)
        print([os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) for child in children])
        print(len(store.get_history(-1)))
        """,
        db_path,
    )
    assert output == "[0, 0, 0]\n41\n"
