"""A connection opened before a fork is the parent's: the child must not end its transaction."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process

PROGRAM = """
    import gc, os, sqlite3, sys
    from support.sql_cases import open_native
    path, ending = sys.argv[1:]
    connection = open_native(path)
    connection.executescript("CREATE TABLE t (v); INSERT INTO t VALUES ('before');")
    connection.execute("PRAGMA cache_size = 2")
    connection.executemany("INSERT INTO t VALUES (?)", [("inside " * 200,) for _ in range(100)])
    cursor = connection.execute("SELECT v FROM t")
    cursor.fetchone()
    sys.stdout.flush()
    child = os.fork()
    if child == 0:
        code = 0
        try:
            if ending == "close":
                connection.close()
            elif ending == "cursor":
                cursor.close()
            elif ending == "drop":
                del cursor, connection
                gc.collect()
            elif ending == "exit":
                sys.exit(0)
            elif ending == "other":
                try:
                    open_native(path)
                    code = 3
                except sqlite3.OperationalError as error:
                    code = 0 if "forked while a transaction was open" in str(error) else 4
        except Exception as error:
            print("child:", repr(error), file=sys.stderr)
            code = 5
        if ending != "exit":
            os._exit(code)
    if child:
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        print("child", code)
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
def test_the_parents_transaction_survives_its_child(tmp_path: Path, ending: str) -> None:
    output = child_process.output(PROGRAM, str(tmp_path / "x.db"), ending)
    assert output == "child 0\njournal True\ndatabase is locked\n101\nok\n"


def test_a_store_made_before_a_fork_works_on_both_sides(tmp_path: Path) -> None:
    output = child_process.output(
        """
        import os, sys
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        store = ANPRDatabase(sys.argv[1])
        given = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        store.add_detection(*given)
        children = []
        for _ in range(3):
            child = os.fork()
            if child == 0:
                for _ in range(10):
                    store.add_detection(*given)
                store.get_history()
                sys.exit(0)
            children.append(child)
        for _ in range(10):
            store.add_detection(*given)
        print([os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) for child in children])
        print(len(store.get_history(-1)))
        """,
        str(tmp_path / "x.db"),
    )
    assert output == "[0, 0, 0]\n41\n"
