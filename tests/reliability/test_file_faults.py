"""The n-th file operation of a call fails: the engine's error, old state or whole new one."""

from __future__ import annotations

from pathlib import Path

import pytest

from reliability.operations import good_calls
from support import child_process

IOERR, FULL, CANTOPEN, READONLY = 10, 13, 14, 8

PROGRAM = """
    import sqlite3, sys
    from support import faults as layer
    layer.install_file_layer()
    from reliability.fault_runs import Faults, run_with_faults
    happened = 0
    def disarm():
        global happened
        happened = layer.file_operations()
        layer.fail_file_operation(0)
    IOERR, FULL = 10, 13
    for code, count in ((IOERR, 1), (IOERR, -1), (FULL, 1), (FULL, -1)):
        faults = Faults(
            lambda nth: layer.fail_file_operation(nth, code, count),
            disarm,
            lambda nth: happened >= nth,
        )
        print(run_with_faults(*sys.argv[1:], faults, (sqlite3.OperationalError,)) > 0)
"""

WORKING = [label for label in good_calls() if not label.endswith(": an empty list")]


@pytest.mark.parametrize("label", WORKING)
def test_each_file_operation_fails(label: str, tmp_path: Path) -> None:
    assert child_process.output(PROGRAM, label, str(tmp_path)) == "True\n" * 4


SAME_ERRORS = """
    import json, sqlite3, sys
    from pathlib import Path
    from support import faults as layer
    layer.install_file_layer()
    from reliability.operations import good_calls
    from support.sample_file import make_sample, restore
    import support.twin
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    folder, code = Path(sys.argv[1]), int(sys.argv[2])
    path = folder / "anpr.db"
    sample = make_sample(path)
    differing = []
    for label, call in good_calls().items():
        if label.startswith("_get_conn"):
            continue
        seen = []
        for kind in (ANPRDatabase, support.twin.ANPRDatabase):
            restore(path, sample)
            store = kind(path)
            errors = []
            for nth in range(1, 1000):
                restore(path, sample)
                layer.fail_file_operation(nth, code, 1)
                try:
                    call.run(store)
                    errors.append(None)
                except sqlite3.Error as error:
                    errors.append((type(error).__name__, str(error), error.sqlite_errorname))
                operations = layer.file_operations()
                layer.fail_file_operation(0)
                if operations < nth:
                    break
            # Where a connection is closed differs: Python's may wait for the collector.
            seen.append({error for error in errors})
        if seen[0] != seen[1]:
            differing.append((label, sorted(map(str, seen[0] ^ seen[1]))))
    print(differing)
"""


@pytest.mark.parametrize("code", [IOERR, FULL, CANTOPEN, READONLY])
def test_the_errors_are_those_that_python_gives(code: int, tmp_path: Path) -> None:
    assert child_process.output(SAME_ERRORS, str(tmp_path), str(code)) == "[]\n"


NEW_FILE = """
    import sqlite3, sys
    from pathlib import Path
    from support import faults as layer
    layer.install_file_layer()
    from support.sample_file import contents
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    def columns(path, table):
        # As a set: a column that was missing comes last.
        connection = sqlite3.connect(path)
        names = {row[1] for row in connection.execute(f"PRAGMA table_info({table})")}
        connection.close()
        return names

    folder, code, count = Path(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
    ANPRDatabase(folder / "whole.db")
    whole = contents(folder / "whole.db")
    failed = absorbed = 0
    for nth in range(1, 10_000):
        path = folder / f"{nth}.db"
        layer.fail_file_operation(nth, code, count)
        try:
            ANPRDatabase(path)
            error = None
        except sqlite3.OperationalError as caught:
            error = caught
        operations = layer.file_operations()
        layer.fail_file_operation(0)
        part = contents(path)
        names = [row[1] for row in part["schema"]]
        order = ["detections", "idx_timestamp", "watchlist", "alerts", "idx_alerts_ts"]
        made = [name for name in order if name in names]
        assert made == order[: len(made)], (nth, made)
        if error is None:
            # A guarded step may have met the fault: its column is missing for now.
            assert made == order, (nth, made)
            absorbed += part != whole
        failed += error is not None
        ANPRDatabase(path).add_detection(["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        again = contents(path)
        for table in ("detections", "watchlist", "alerts"):
            assert columns(path, table) == columns(folder / "whole.db", table), (nth, table)
        assert [row[1] for row in again["schema"]] == [row[1] for row in whole["schema"]], nth
        path.unlink()
        if operations < nth:
            break
    print(failed > 20, absorbed > 0)
"""


@pytest.mark.parametrize(("code", "count"), [(IOERR, 1), (FULL, 1), (IOERR, -1)])
def test_a_constructor_that_fails_leaves_the_steps_before_and_completes_later(
    code: int, count: int, tmp_path: Path
) -> None:
    output = child_process.output(NEW_FILE, str(tmp_path), str(code), str(count))
    assert output == ("True True\n" if count == 1 else "True False\n")
