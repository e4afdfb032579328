"""The code blocks of README.md and docs/ run, and give what the text around them says."""

from __future__ import annotations

import math
import re
import textwrap
from pathlib import Path

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from support import database
from support.samples import add

ROOT = Path(__file__).resolve().parents[1]
BLOCK = re.compile(r"^( *)```(\w+)\n(.*?)^ *```$", re.DOTALL | re.MULTILINE)


def blocks(document: str, language: str) -> list[str]:
    text = (ROOT / document).read_text(encoding="utf-8")
    return [textwrap.dedent(code) for _, kind, code in BLOCK.findall(text) if kind == language]


@pytest.fixture
def run(tmp_path, monkeypatch):
    """Runs a document's Python blocks one after the other, in a folder of their own."""
    monkeypatch.chdir(tmp_path)

    def run_all(document):
        names: dict = {"__name__": "__main__"}
        for number, code in enumerate(blocks(document, "python"), start=1):
            exec(compile(code, f"{document}, block {number}", "exec"), names)
        return names

    return run_all


def test_the_first_example(run, capsys):
    store = run("README.md")["store"]
    shown, unread = capsys.readouterr().out.splitlines()
    plates, mmc = ["B MW 1234", "KA-01-AB-1234"], {"mmc_make": "BMW", "mmc_color": "blue"}
    assert shown.endswith(f" {plates} {mmc}")
    assert unread == "1 unread"
    (alert,) = store.get_alerts()
    assert (alert["plate"], alert["watchlist_label"]) == ("KA-01-AB-1234", "stolen")


def test_every_operation_by_example(run, capsys):
    names = run("docs/operations.md")
    assert Path("data/anpr.db").exists()
    assert capsys.readouterr().out == "XAB 123 AB-123 stolen 1\n"
    assert names["record"] == names["newest"][0]
    assert names["record"]["plates"] == ["B-AB 1234", "TÜ-XY 77"]
    assert names["record"]["mmc_data"] == {"mmc_make": "Škoda", "mmc_color": "red"}
    assert names["third_page"] == names["one_day"] == []
    store = names["store"]
    assert store.remove_watchlist(names["entry_id"]) is False
    assert [alert["id"] for alert in store.get_alerts()] == [names["alert_id"]]
    assert store.get_alert_count() == 0
    patient = names["PatientDatabase"](store.db_path)
    with patient._get_conn() as connection:
        assert connection.execute("PRAGMA busy_timeout").fetchone()[0] == 20_000
    store.update_mmc_data(names["noon_id"], {"mmc_color": "red"})
    assert patient.get_detection(names["noon_id"])["has_alert_colour"] is True


def test_every_operation_has_its_example():
    text = "\n".join(blocks("docs/operations.md", "python"))
    public = {name for name in vars(ANPRDatabase) if not name.startswith("_")}
    assert {name for name in public if f".{name}(" not in text} == set()


def test_the_statements_for_other_programs(db_path):
    store = ANPRDatabase(db_path)
    add(store, plates=["粤B12345"], confidences=[0.5, 0.25])
    add(store, plates=["ا31"], confidences=[math.nan])
    add(store, plates=["AB 31"], confidences=[])
    confidences, plates = (
        database.query(db_path, sql) for sql in blocks("docs/file_format.md", "sql")
    )
    assert confidences == [(1, 0.5), (1, 0.25)]
    assert [(row[0], row[2]) for row in plates] == [(1, "粤B12345")]
