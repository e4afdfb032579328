"""The store's file layer is never the default one, and follows whichever is."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child_process

# The default file system is one for the process, so each case has a process of its own.
PRELUDE = """
import os, sqlite3, sys
from support.engine_library import make_default, open_descriptors, vfs_names
from support.sql_cases import open_native
path = sys.argv[1] if len(sys.argv) > 1 else ""
"""


def child(source: str, *arguments: object) -> str:
    import textwrap

    return child_process.output(PRELUDE + textwrap.dedent(source), *map(str, arguments))


def test_the_default_stays_what_it_was(tmp_path: Path) -> None:
    output = child_process.output(
        """
        import _sqlite3, ctypes, sqlite3, sys
        def default():
            engine = ctypes.CDLL(_sqlite3.__file__)
            engine.sqlite3_vfs_find.restype = ctypes.c_void_p
            return engine.sqlite3_vfs_find(None)
        before = default()
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        imported = default()
        store = ANPRDatabase(sys.argv[1])
        store.get_history()
        print(before == imported == default(), bool(before))
        """,
        str(tmp_path / "x.db"),
    )
    assert output == "True True\n"


def test_the_layer_is_registered_once_and_kept(tmp_path: Path) -> None:
    output = child(
        """
        before = vfs_names()
        seen = []
        for _ in range(5):
            connection = open_native(path)
            connection.execute("CREATE TABLE IF NOT EXISTS t (x)")
            connection.close()
            seen.append(vfs_names())
        added = [name for name in seen[0] if name not in before]
        print(len(added) <= 1, seen[0][0] == before[0], all(names == seen[0] for names in seen))
        """,
        tmp_path / "x.db",
    )
    assert output == "True True True\n"


def test_a_file_system_without_locks_takes_none(tmp_path: Path) -> None:
    output = child(
        """
        def two_writers():
            first, second = open_native(path), open_native(path)
            second.execute("PRAGMA busy_timeout = 0")
            first.execute("BEGIN IMMEDIATE")
            try:
                second.execute("BEGIN IMMEDIATE")
                return "both"
            except sqlite3.OperationalError as error:
                return str(error)
            finally:
                for connection in (second, first):
                    connection.rollback()
                    connection.close()
        original = vfs_names()[0]
        print(two_writers())
        make_default("unix-none")
        print(two_writers())
        make_default(original)
        print(two_writers())
        """,
        tmp_path / "x.db",
    )
    assert output == "database is locked\nboth\ndatabase is locked\n"


def test_a_file_system_that_locks_with_files_makes_them(tmp_path: Path) -> None:
    output = child(
        """
        original = vfs_names()[0]
        early = open_native(path)
        early.execute("CREATE TABLE t (x)")
        make_default("unix-dotfile")
        late = open_native(path)
        late.execute("INSERT INTO t VALUES (1)")
        print(os.path.exists(path + ".lock"))
        late.commit()
        print(os.path.exists(path + ".lock"))
        make_default(original)
        early.execute("INSERT INTO t VALUES (2)")
        print(os.path.exists(path + ".lock"))
        early.commit()
        late.execute("INSERT INTO t VALUES (3)")
        print(os.path.exists(path + ".lock"))
        late.commit()
        print([row[0] for row in early.execute("SELECT x FROM t")])
        early.close()
        late.close()
        print(open_descriptors(path))
        """,
        tmp_path / "x.db",
    )
    assert output == "True\nFalse\nFalse\nTrue\n[1, 2, 3]\n[]\n"


@pytest.mark.parametrize("name", ["unix", "unix-none", "unix-dotfile", "unix-excl"])
def test_the_whole_store_works_on_any_file_system_of_the_engine(tmp_path: Path, name: str) -> None:
    output = child(
        """
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        make_default(sys.argv[2])
        store = ANPRDatabase(path)
        for number in range(20):
            store.add_detection([f"AB{number}"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        store.update_mmc_data(3, {"mmc_color": "red"})
        print(len(store.get_history()), store.get_detection(3)["mmc_data"], open_descriptors(path))
        print([row[0] for row in sqlite3.connect(path).execute("PRAGMA integrity_check")])
        """,
        tmp_path / "x.db",
        name,
    )
    assert output == "20 {'mmc_color': 'red'} []\n['ok']\n"


def test_a_file_system_made_default_by_somebody_else_meets_our_files(tmp_path: Path) -> None:
    output = child(
        """
        from support import faults
        faults.install_file_layer()
        connection = open_native(path)
        faults.fail_file_operation(0)
        connection.execute("CREATE TABLE t (x)")
        print(faults.file_operations() > 5, vfs_names()[0])
        connection.close()
        """,
        tmp_path / "x.db",
    )
    assert output.startswith("True ")


def test_the_version_of_the_file_below_decides_what_is_offered(tmp_path: Path) -> None:
    # A file system without shared memory cannot do WAL: the answer is its own.
    output = child(
        """
        answers = []
        for name in ("unix", "unix-dotfile", "unix-none"):
            make_default(name)
            ours = open_native(path + name)
            theirs = sqlite3.connect(path + name + "2")
            for setting in ("journal_mode = WAL", "mmap_size = 9999", "locking_mode = EXCLUSIVE"):
                sql = f"PRAGMA {setting}"
                answers.append([tuple(c.execute(sql).fetchone()) for c in (ours, theirs)])
            ours.close()
            theirs.close()
        print(all(a == b for a, b in answers), answers[0][0])
        """,
        tmp_path / "x.db",
    )
    assert output == "True ('wal',)\n"
