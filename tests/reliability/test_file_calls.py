"""An operation asks of its files just what the same operation asks in Python, call for call.

Opening, locking, writing, syncing, truncating, removing and closing: the same files, places, sizes
and flags in the same order. So what is known of the safety of Python's `sqlite3` holds here.
"""

from __future__ import annotations

import json

import pytest

from reliability.hunts.calls import CALLS, READING
from support import child

pytestmark = pytest.mark.slow

PROGRAM = """
    import gc, json, sqlite3, sys
    from datetime import datetime
    from pathlib import Path
    from unittest import mock

    from reliability.hunts import power_disk
    power_disk.install()
    from reliability.hunts.power_loss import OLD_LAYOUT
    from reliability.hunts.calls import CALLS, ROWS
    from support import twin
    from support.clock import Clock
    from zentrope_anpr import zentrope_anpr_server_db as native

    path, statements = Path(sys.argv[1]) / "anpr.db", json.loads(sys.argv[2])

    def prepare(name):
        power_disk.clear()
        if name == "new":
            return
        if name == "sample":
            twin.ANPRDatabase(path)
        connection = sqlite3.connect(path)
        for statement in statements:
            connection.execute(statement)
        connection.executescript(ROWS if name == "sample" else OLD_LAYOUT)
        connection.close()

    def calls(module, run):
        class Store(module.ANPRDatabase):
            def _get_conn(self):
                connection = super()._get_conn()
                for statement in statements:
                    connection.execute(statement)
                return connection
        store = Store.__new__(Store)
        store.db_path = path
        gc.collect()
        power_disk.listen(True)
        with mock.patch.object(module, "datetime", Clock(datetime(2024, 5, 1, 14)).type):
            try:
                run(store)
            except Exception:
                pass
        gc.collect()  # Python's connection is closed with a cycle
        heard = power_disk.calls()
        power_disk.listen(False)
        return heard

    answers = {}
    for name, chosen in (
        ("sample", CALLS),
        ("new", {"a new file": lambda store: store.__init__(path)}),
        ("older", {"an older file": lambda store: store.__init__(path)}),
    ):
        prepare(name)
        power_disk.record(0)
        for label, run in chosen.items():
            power_disk.fail(0, 0, 0)
            ours = calls(native, run)
            power_disk.fail(0, 0, 0)
            answers[label] = ours, calls(twin, run)
    print(json.dumps(answers))
"""

SETTINGS = {
    "as it comes": [],
    "extra": ["PRAGMA synchronous = EXTRA"],
    "log": ["PRAGMA journal_mode = WAL"],
    "small cache": ["PRAGMA cache_size = 3"],
}


@pytest.fixture(scope="module", params=SETTINGS)
def heard(request, tmp_path_factory):
    """For each call of an operation what the store and its twin asked of their files."""
    folder = tmp_path_factory.mktemp("calls")
    return request.param, json.loads(
        child.output(PROGRAM, str(folder), json.dumps(SETTINGS[request.param]))
    )


def test_the_calls_are_those_that_python_makes(heard):
    _, answers = heard
    assert set(answers) >= {*CALLS, "a new file", "an older file"}
    differing = {label: pair for label, pair in answers.items() if pair[0] != pair[1]}
    assert not differing


def test_a_writing_operation_syncs_before_it_returns(heard):
    setting, answers = heard
    ours, _ = answers["add_alert"]
    synced = [number for number, call in enumerate(ours) if call.startswith("sync ")]
    if setting == "log":
        assert ours[synced[0]].startswith("sync log")
    else:
        database = [n for n, call in enumerate(ours) if call.startswith("write database")]
        journal = [n for n in synced if ours[n].startswith("sync journal")]
        (end,) = [n for n, call in enumerate(ours) if call.startswith("delete journal")]
        assert journal[0] < database[0]
        # A cache that is too small for the transaction writes its pages in several turns.
        assert journal[-1] < database[0] or setting == "small cache"
        assert database[-1] < synced[-1] < end
        assert ours[end] == f"delete journal {int(setting == 'extra')}"


def test_reading_writes_nothing(heard):
    setting, answers = heard
    # A log is made for a reader, too, and the last connection removes it.
    writing = ("write", "sync", "truncate") + (() if setting == "log" else ("delete",))
    for label in READING:
        ours, _ = answers[label]
        assert not [call for call in ours if call.startswith(writing)], label
