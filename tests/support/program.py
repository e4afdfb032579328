"""Programs in processes of their own, with what most of them need already imported."""

from __future__ import annotations

import textwrap

from support import child

PRELUDE = """
import gc, os, signal, sqlite3, sys, threading, time
from support import faults
from support.busy_thread import counting
from support.database import open_descriptors
from support.engine_library import make_default, vfs_names
from support.sql_cases import count_to, open_native
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path, *arguments = *sys.argv[1:], ""
GIVEN = (["AB123"], [0.9], [[1, 2, 3, 4]], 0.1, 0.2, 0.3)
"""


def source_of(*parts: str) -> str:
    return PRELUDE + "\n".join(map(textwrap.dedent, parts))


def told(source: str, path: object, *arguments: object) -> str:
    """What a program prints that has to end well; it knows `path` and `arguments`."""
    return child.output(source_of(source), str(path), *map(str, arguments))
