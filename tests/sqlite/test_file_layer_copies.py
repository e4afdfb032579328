"""Two copies of the store's code in one process work beside each other and do not meet."""

from __future__ import annotations

from pathlib import Path

from support import child_process

LOAD = """
    import importlib.machinery, importlib.util, os, shutil, sys
    from zentrope_anpr import zentrope_anpr_server_db as first
    from support.engine_library import open_descriptors, vfs_names

    def load_copy(folder, number):
        target = os.path.join(folder, f"copy{number}.so")
        shutil.copy(first.__file__, target)
        name = "zentrope_anpr.zentrope_anpr_server_db"
        loader = importlib.machinery.ExtensionFileLoader(name, target)
        spec = importlib.util.spec_from_file_location(name, target, loader=loader)
        module = importlib.util.module_from_spec(spec)
        loader.exec_module(module)
        return module

    folder, path = sys.argv[1:]
    second = load_copy(folder, 2)
    given = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
"""


def test_two_copies_write_the_same_file_in_turn(tmp_path: Path) -> None:
    output = child_process.output(
        LOAD
        + """
    assert first.ANPRDatabase is not second.ANPRDatabase
    stores = [first.ANPRDatabase(path), second.ANPRDatabase(path)]
    for _ in range(10):
        for store in stores:
            store.add_detection(*given)
    print([len(store.get_history()) for store in stores])
    names = vfs_names()
    print(len(names) == len(set(names)))
    print(open_descriptors(path))
""",
        str(tmp_path),
        str(tmp_path / "x.db"),
    )
    assert output == "[20, 20]\nTrue\n[]\n"


def test_the_connections_of_two_copies_lock_each_other_out(tmp_path: Path) -> None:
    output = child_process.output(
        LOAD
        + """
    import sqlite3
    ours, theirs = first.ANPRDatabase(path)._get_conn(), second.ANPRDatabase(path)._get_conn()
    assert type(ours) is not type(theirs)
    theirs.execute("PRAGMA busy_timeout = 0")
    ours.execute("DELETE FROM detections")
    try:
        theirs.execute("DELETE FROM detections")
    except sqlite3.OperationalError as error:
        print(error)
    ours.commit()
    theirs.execute("DELETE FROM detections")
    theirs.commit()
    print("written")
""",
        str(tmp_path),
        str(tmp_path / "x.db"),
    )
    assert output == "database is locked\nwritten\n"


def test_each_copy_lets_the_interpreter_go_while_it_waits_for_the_other(tmp_path: Path) -> None:
    output = child_process.output(
        LOAD
        + """
    import threading
    for holder_module, waiter_module in ((first, second), (second, first)):
        holding, waiting = threading.Event(), threading.Event()
        def hold():
            connection = holder_module.ANPRDatabase(path)._get_conn()
            connection.execute("BEGIN IMMEDIATE")
            holding.set()
            waiting.wait()
            connection.commit()
            connection.close()
        thread = threading.Thread(target=hold)
        waiter = waiter_module.ANPRDatabase(path)
        thread.start()
        holding.wait()
        waiting.set()
        print(waiter.add_detection(*given))
        thread.join()
""",
        str(tmp_path),
        str(tmp_path / "x.db"),
    )
    assert output == "1\n2\n"
