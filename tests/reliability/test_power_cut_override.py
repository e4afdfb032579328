"""The override that the manual gives for the last row before a power cut does what it says."""

from __future__ import annotations

from pathlib import Path

import pytest

from support import child

OPERATIONS = Path(__file__).resolve().parents[2] / "docs" / "operations.md"


def override() -> str:
    """The class as the manual has it."""
    (block,) = [
        part.split("```")[0]
        for part in OPERATIONS.read_text().split("```python\n")[1:]
        if "class SyncedDatabase" in part
    ]
    return block


PROGRAM = """
import sys
from support import faults
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

OVERRIDE
faults.install_file_layer()
path = sys.argv[1]
given = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
WRITERS = {
    "add_detection": given,
    "update_image_paths": (1, "a", "b"),
    "update_mmc_data": (1, {"mmc_color": "red"}),
    "add_watchlist": ("AB123",),
    "add_alert": ("AB123", "", 1, 0.5),
    "mark_alerts_read": (),
    "remove_watchlist": (1,),
    "delete_detection": (1,),
    "cleanup_old": (0,),
}
ANPRDatabase(path).add_detection(*given)
store = CLASS(path)
for name, arguments in WRITERS.items():
    before = faults.deletions(True), faults.deletions(False)
    getattr(store, name)(*arguments)
    print(faults.deletions(True) - before[0], faults.deletions(False) - before[1])
print(store._get_conn().execute("PRAGMA synchronous").fetchone()[0])
"""


@pytest.mark.parametrize(
    ("class_name", "synced_and_not", "level"),
    [("ANPRDatabase", "0 1", "2"), ("SyncedDatabase", "1 0", "3")],
)
def test_the_directory_is_synced_behind_each_journal(
    tmp_path: Path, class_name: str, synced_and_not: str, level: str
) -> None:
    program = PROGRAM.replace("OVERRIDE", override()).replace("CLASS", class_name)
    lines = child.output(program, str(tmp_path / "x.db")).splitlines()
    assert lines == [synced_and_not] * 9 + [level]
