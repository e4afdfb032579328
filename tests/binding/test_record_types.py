"""The types of records can be named in programs, and checkers know what the fields hold."""

from __future__ import annotations

import inspect
import os
import re
import subprocess
import sys

import pytest

from support.child import NATIVE

pytest.importorskip("mypy")

NAMES_RECORDS = f"""
from __future__ import annotations
from typing import TYPE_CHECKING
from {NATIVE} import ANPRDatabase
if TYPE_CHECKING:
    from {NATIVE} import AlertRecord, DetectionRecord, WatchlistMatch

def best_plate(record: DetectionRecord) -> str | None:
    ranked = sorted(zip(record["confidences"], record["plates"]), reverse=True)
    return ranked[0][1] if ranked else None

def colour(record: DetectionRecord) -> str:
    return str((record["mmc_data"] or {{}}).get("mmc_color", "unknown"))

def hits(store: ANPRDatabase, plates: list[str]) -> list[WatchlistMatch]:
    return store.check_watchlist(plates)

def labels(alerts: list[AlertRecord]) -> list[str | None]:
    return [alert["watchlist_label"] for alert in alerts]

class Patient(ANPRDatabase):
    def history(self) -> list[DetectionRecord]:
        connection = self._get_conn()
        connection.execute("PRAGMA busy_timeout = 20000")
        connection.close()
        return self.get_history()
"""

CHECKERS = {
    "mypy": ["-m", "mypy", "--strict", "program.py"],
    "pyright": ["-m", "pyright", "--pythonpath", sys.executable, "program.py"],
}


@pytest.mark.parametrize("checker", CHECKERS)
def test_a_program_names_the_records(checker, tmp_path):
    pytest.importorskip(checker)
    (tmp_path / "program.py").write_text(NAMES_RECORDS)
    (tmp_path / "pyrightconfig.json").write_text('{"typeCheckingMode": "strict"}')
    done = subprocess.run(
        [sys.executable, *CHECKERS[checker]],
        cwd=tmp_path,
        env={**os.environ, "MYPY_CACHE_DIR": str(tmp_path / "cache")},
        capture_output=True,
        text=True,
        check=False,
    )
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_program_also_runs(tmp_path, native):
    namespace: dict = {}
    exec(compile(NAMES_RECORDS, "program.py", "exec"), namespace)
    store = namespace["Patient"](tmp_path / "a.db")
    store.add_detection(["AB1", "CD2"], [0.4, 0.9], [], 0.1, 0.1, 0.1)
    assert [namespace["best_plate"](record) for record in store.history()] == ["CD2"]


def test_docstrings_describe_every_parameter(native):
    for name, method in inspect.getmembers(native.ANPRDatabase, inspect.isfunction):
        section = re.search(r"^Args:\n((?: .*\n|\n)*)", inspect.getdoc(method) + "\n", re.MULTILINE)
        described = re.findall(r"^    (\w+): ", section[1], re.MULTILINE) if section else []
        parameters = [p for p in inspect.signature(method).parameters if p != "self"]
        assert described == parameters, name
