"""NumPy's scalars: stored as Python's sqlite3 stores them, and what an adapter changes."""

from __future__ import annotations

import pytest

from support import child

pytest.importorskip("numpy")

PROGRAM = """
    import sqlite3, sys
    import numpy as np
    from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

    if sys.argv[2] == "adapted":
        sqlite3.register_adapter(np.int64, int)
        sqlite3.register_adapter(np.float32, float)
    store = ANPRDatabase(sys.argv[1])
    new = store.add_detection(["AB1"], [0.9], [], np.float32(0.5), 0.1, 0.1)
    store.add_alert("AB1", "stolen", np.int64(new), 0.9)
    print(store.get_history()[0]["processing_time"], store.get_statistics()["avg_processing_sec"])
    print(store.get_detection(np.int64(new)) is not None)
    print(list(store.get_alerts_for_detections([new])))
"""


def test_as_they_are_they_become_blobs(tmp_path):
    output = child.output(PROGRAM, str(tmp_path / "a.db"), "plain")
    assert output == "b'\\x00\\x00\\x00?' 0\nFalse\n[]\n"


def test_an_adapter_makes_them_numbers(tmp_path):
    output = child.output(PROGRAM, str(tmp_path / "a.db"), "adapted")
    assert output == "0.5 0.5\nTrue\n[1]\n"
