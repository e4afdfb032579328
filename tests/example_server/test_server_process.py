"""The server as a process: it says where it is, answers, and ends cleanly."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
import urllib.request

import pytest

from support.database import query
from support.server_process import EXAMPLES, running_server


def read(server, path):
    with urllib.request.urlopen(server.address + path, timeout=60) as answer:
        return answer.read()


@pytest.mark.parametrize("signal_number", [signal.SIGTERM, signal.SIGINT])
def test_it_runs_filled_and_ends_cleanly(db_path, signal_number):
    with running_server(db_path, ANPR_RECOGNISE_EVERY="0.01") as server:
        totals = json.loads(read(server, "/api/statistics"))
        assert totals["total_detections"] >= 400
        assert b"Recognised plates" in read(server, "/")
        exit_code = server.end(signal_number)
    assert "All threads have ended" in server.log
    assert "Traceback" not in server.log
    # The signal is passed on at the very end, so that whoever sent it sees it obeyed.
    assert exit_code in (0, -signal_number)
    assert sorted(os.listdir(db_path.parent)) == [db_path.name]  # no journal is left
    assert query(db_path, "PRAGMA integrity_check") == [("ok",)]


def test_a_setting_that_makes_no_sense_ends_it_with_one_line():
    done = subprocess.run(
        [sys.executable, EXAMPLES / "run_server.py"],
        env={**os.environ, "ANPR_PORT": "http"},
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    assert (done.returncode, done.stderr) == (2, "ANPR_PORT cannot be 'http'\n")
