"""Who does the work: the store, and the same class in plain Python over `sqlite3` and `json`."""

from __future__ import annotations

import importlib
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Any

STORE, TWIN = "store", "Python twin"

TESTS = Path(__file__).resolve().parent.parent / "tests"


@dataclass(frozen=True)
class Peer:
    name: str
    store_class: Any

    def open(self, database: Path) -> Any:
        return self.store_class(str(database))


def native() -> Peer:
    module = importlib.import_module("zentrope_anpr.zentrope_anpr_server_db")
    return Peer(STORE, module.ANPRDatabase)


def twin() -> Peer:
    if str(TESTS) not in sys.path:
        sys.path.append(str(TESTS))
    return Peer(TWIN, importlib.import_module("support.twin").ANPRDatabase)
