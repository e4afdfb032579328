"""A disk that is really full: nothing half-written, and work goes on once there is room."""

from __future__ import annotations

import os
import shutil
import subprocess
from functools import cache

import pytest

from support import child

PROGRAM = """
    import os, sqlite3, sys
    from pathlib import Path
    sys.path.insert(0, sys.argv[2])
    from support.sample_file import contents
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    folder = Path(sys.argv[1])
    store = ANPRDatabase(folder / "anpr.db")
    given = (["x" * 500] * 4, [0.5], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
    ids = []
    while True:
        before = contents(folder / "anpr.db")
        try:
            ids.append(store.add_detection(*given))
        except sqlite3.OperationalError as error:
            print(error, error.sqlite_errorname)
            break
    assert ids, "no room for a single row"
    assert contents(folder / "anpr.db") == before
    assert [row["id"] for row in store.get_history(-1)][-1] == 1
    large = {"x": "y" * 100_000}
    for call in (lambda: store.add_detection(*given), lambda: store.update_mmc_data(1, large)):
        try:
            call()
        except sqlite3.OperationalError as error:
            print(error)
        assert contents(folder / "anpr.db") == before
    try:
        ANPRDatabase(folder / "other.db")
    except sqlite3.OperationalError as error:
        print(error)
    (folder / "ballast").unlink()
    print(store.add_detection(*given) == ids[-1] + 1)
    print(sorted(os.listdir(folder)) == ["anpr.db", "other.db"] or sorted(os.listdir(folder)))
"""


pytestmark = pytest.mark.slow


@cache
def may_mount() -> bool:
    tools = shutil.which("unshare") and shutil.which("mount")
    if not tools:
        return False
    tried = subprocess.run(
        ["unshare", "--mount", "mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", "/mnt"],
        capture_output=True,
        check=False,
    )
    return tried.returncode == 0


def test_a_file_system_that_runs_full(tmp_path):
    if not may_mount():
        pytest.skip("no right to mount a small file system; the failing file layer stands for it")
    # The mount is seen by these processes alone and goes with them.
    output = child.output(
        """
        import subprocess, sys
        folder, program, tests = sys.argv[1:]
        mount = 'mount -t tmpfs -o size=400k tmpfs "$1" && head -c 100000 /dev/zero > "$1/ballast"'
        script = mount + ' && exec "$2" -c "$3" "$1" "$4"'
        shell = ["sh", "-c", script, "sh", folder, sys.executable, program, tests]
        done = subprocess.run(["unshare", "--mount", *shell])
        sys.exit(done.returncode)
        """,
        str(tmp_path),
        "\n".join(line[4:] for line in PROGRAM.splitlines()),
        str(child.TESTS),
    )
    full = "database or disk is full"
    assert output == f"{full} SQLITE_FULL\n{full}\n{full}\n{full}\nTrue\nTrue\n"


LIMITED = """
    import os, resource, signal, sqlite3, sys
    from pathlib import Path
    from support.sample_file import contents
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    path = Path(sys.argv[1])
    store = ANPRDatabase(path)
    given = (["x" * 500] * 4, [0.5], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
    before, hard = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (200_000, hard))
    count = 0
    while True:
        state = contents(path)
        try:
            store.add_detection(*given)
            count += 1
        except sqlite3.OperationalError as error:
            print(type(error).__name__, error)
            break
    assert count and contents(path) == state
    resource.setrlimit(resource.RLIMIT_FSIZE, (before, hard))
    print(store.add_detection(*given) == count + 1)
"""


def test_a_file_that_may_not_grow(tmp_path):
    output = child.output(LIMITED, str(tmp_path / "anpr.db"))
    assert output in (
        "OperationalError disk I/O error\nTrue\n",
        "OperationalError database or disk is full\nTrue\n",
    )


@pytest.mark.skipif(
    bool(os.environ.get("ZENTROPE_ANPR_SANITIZER")),
    reason="the sanitizer needs a descriptor to look at an object's type",
)
def test_no_descriptors_left(tmp_path):
    output = child.output(
        """
        import os, resource, sqlite3, sys
        from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase
        store = ANPRDatabase(sys.argv[1])
        given = (["AB123"], [0.5], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
        store.add_detection(*given)
        held = []
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (64, hard))
        try:
            while True:
                held.append(os.open("/dev/null", os.O_RDONLY))
        except OSError:
            pass
        for spare in range(8):
            add, again = lambda: store.add_detection(*given), lambda: ANPRDatabase(sys.argv[1])
            for call in (add, store.get_history, again):
                try:
                    call()
                except sqlite3.OperationalError as error:
                    assert str(error) in ("unable to open database file", "disk I/O error"), error
            os.close(held.pop())
        print(len(store.get_history()) == store.add_detection(*given) - 1)
        """,
        str(tmp_path / "anpr.db"),
    )
    assert output == "True\n"
