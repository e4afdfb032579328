"""A short run of every hunt with fixed seeds; `make hunt` goes on from there."""

from __future__ import annotations

import json

import pytest

from reliability.hunts.run import HUNTS, run
from support import child

pytestmark = pytest.mark.slow

# What at least one round of each has to meet: a hunt that meets nothing finds nothing.
MET = {
    "power_loss": {"power losses": 200},
    "json_documents": {"documents": 4000, "good documents": 1000, "written values": 300},
    "damaged_files": {"damaged files": 30, "errors": 10, "results": 10},
    "killed_writers": {"kills": 40, "acknowledged rows": 20},
    "hostile_calls": {"calls": 100, "hooks": 300, "errors": 20, "results": 40},
}


@pytest.mark.parametrize("hunt", HUNTS)
def test_a_short_hunt_finds_nothing(hunt):
    report = run(hunt, seed=20240501)
    assert not report.find, report.find
    assert report.figures["rounds"] == 1
    assert {
        name: report.figures[name] >= least for name, least in MET[hunt].items()
    } == dict.fromkeys(MET[hunt], True), report.figures


def test_a_find_is_told_with_its_seed(tmp_path, monkeypatch):
    # A hunt that ends its process in its third round.
    (tmp_path / "reliability" / "hunts").mkdir(parents=True)
    (tmp_path / "reliability" / "hunts" / "crashing.py").write_text(
        "import os\n"
        "def play(seed, folder):\n"
        "    if seed == 12:\n"
        "        os.abort()\n"
        "    return {'looks': 2}\n"
    )
    monkeypatch.setenv("PYTHONPATH", str(tmp_path))
    report = run("crashing", seed=10, rounds=5)
    assert report.seed == 12
    assert report.figures == {"rounds": 2, "looks": 4}
    assert "exit code -6" in report.find
    assert "crashing.py" in report.find
    monkeypatch.setenv("PYTHONPATH", str(tmp_path))
    assert not run("crashing", seed=13, rounds=2).find


LOSING = """
    import json, sys
    from pathlib import Path
    from reliability.hunts.find import Find
    from reliability.hunts.power_loss import SETTINGS, WRITING, Setting, lose_power
    from reliability.hunts.power_loss import lose_power_while_opening
    folder, name, statements, held_open = Path(sys.argv[1]), *json.loads(sys.argv[2])
    known = [setting for setting in SETTINGS if setting.name == name]
    setting = known[0] if known else Setting(name, tuple(statements), held_open=held_open)
    losses, found = 0, []
    for operation in ("open", *WRITING):
        try:
            if operation == "open":
                figures = lose_power_while_opening(folder, setting, 1, 4)
            else:
                # More than once: one may change nothing.
                figures = lose_power(folder, setting, [operation] * 3, 1, 4)
            losses += figures["power losses"]
        except Find as find:
            found.append(str(find))
    print(json.dumps([losses, found]))
"""


def losing(folder, name, statements=(), held_open=False):
    """How often the power was lost while each operation wrote, and what was found in some."""
    given = json.dumps([name, statements, held_open])
    return json.loads(child.output(LOSING, str(folder), given))


@pytest.mark.parametrize(
    "name",
    [
        "as it comes",
        "small cache",
        "extra",
        "emptied journal",
        "kept journal",
        "log",
        "log held open",
        "short log",
    ],
)
def test_a_power_loss_in_any_operation_leaves_it_whole_or_absent(name, tmp_path):
    losses, found = losing(tmp_path, name)
    assert found == []
    assert losses > 1000


def test_by_default_the_last_operation_may_be_lost_with_the_names_of_files(tmp_path):
    # The same statements, held to lose nothing: so the row above is no promise of too little.
    _, found = losing(tmp_path, "strict")
    assert len(found) >= 5
    assert all("may vanish: Find: " in find and "states are allowed" in find for find in found)


@pytest.mark.parametrize(
    ("statements", "held_open"),
    [
        (["PRAGMA synchronous = OFF"], False),
        (["PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL"], True),
    ],
)
def test_a_setting_that_loses_more_is_found(statements, held_open, tmp_path):
    _, found = losing(tmp_path, "reckless", statements, held_open)
    assert len(found) >= 5
