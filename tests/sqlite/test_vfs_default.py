"""The store's VFS shim is never the default one, and follows whichever is."""

from __future__ import annotations

import pytest

from support import child
from support.program import told

# The default VFS is one for the process, so each case has a process of its own.
pytestmark = pytest.mark.slow


def test_the_default_stays_what_it_was(db_path):
    output = child.output(
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
        str(db_path),
    )
    assert output == "True True\n"


def test_the_shim_is_registered_once_and_kept(db_path):
    output = told(
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
        db_path,
    )
    assert output == "True True True\n"


def test_a_vfs_without_locks_takes_none(db_path):
    output = told(
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
        for name in (original, "unix-none", original):
            make_default(name)
            print(two_writers())
        """,
        db_path,
    )
    assert output == "database is locked\nboth\ndatabase is locked\n"


def test_a_vfs_that_locks_with_files_makes_them(db_path):
    output = told(
        """
        def insert(connection, value):
            connection.execute("INSERT INTO t VALUES (?)", (value,))
            inside = os.path.exists(path + ".lock")
            connection.commit()
            return inside, os.path.exists(path + ".lock")
        original = vfs_names()[0]
        early = open_native(path)
        early.execute("CREATE TABLE t (x)")
        make_default("unix-dotfile")
        late = open_native(path)
        print(insert(late, 1))
        make_default(original)
        print(insert(early, 2))
        print(insert(late, 3))
        print([row[0] for row in early.execute("SELECT x FROM t")])
        early.close()
        late.close()
        print(open_descriptors(path))
        """,
        db_path,
    )
    assert output == "(True, False)\n(False, False)\n(True, False)\n[1, 2, 3]\n[]\n"


@pytest.mark.parametrize("name", ["unix", "unix-none", "unix-dotfile", "unix-excl"])
def test_the_whole_store_works_on_any_vfs_of_the_engine(db_path, name):
    output = told(
        """
        make_default(arguments[0])
        store = ANPRDatabase(path)
        for number in range(20):
            store.add_detection([f"AB{number}"], *GIVEN[1:])
        store.update_mmc_data(3, {"mmc_color": "red"})
        print(len(store.get_history()), store.get_detection(3)["mmc_data"], open_descriptors(path))
        print([row[0] for row in sqlite3.connect(path).execute("PRAGMA integrity_check")])
        """,
        db_path,
        name,
    )
    assert output == "20 {'mmc_color': 'red'} []\n['ok']\n"


def test_a_vfs_made_default_by_somebody_else_meets_our_files(db_path):
    output = told(
        """
        faults.install_file_layer()
        connection = open_native(path)
        faults.fail_file_operation(0)
        connection.execute("CREATE TABLE t (x)")
        print(faults.file_operations() > 5)
        connection.close()
        """,
        db_path,
    )
    assert output == "True\n"


def test_the_version_of_the_file_below_decides_what_is_offered(db_path):
    # A VFS without shared memory cannot do WAL: the answer is its own.
    output = told(
        """
        answers = []
        for name in ("unix", "unix-dotfile", "unix-none"):
            make_default(name)
            pair = open_native(path + name), sqlite3.connect(path + name + "2")
            for setting in ("journal_mode = WAL", "mmap_size = 9999", "locking_mode = EXCLUSIVE"):
                answers.append([tuple(c.execute(f"PRAGMA {setting}").fetchone()) for c in pair])
            for connection in pair:
                connection.close()
        print(all(ours == theirs for ours, theirs in answers), answers[0][0])
        """,
        db_path,
    )
    assert output == "True ('wal',)\n"
