"""What a user who is not root may do, tried by tests that may run as root."""

from __future__ import annotations

import os
import shutil
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

NOBODY = 65534


@contextmanager
def without_privileges() -> Iterator[None]:
    """Root may do everything: for this while, the process is somebody else."""
    if os.geteuid() != 0:
        yield
        return
    os.seteuid(NOBODY)
    try:
        yield
    finally:
        os.seteuid(0)


@contextmanager
def common_folder() -> Iterator[Path]:
    """A folder that other users reach, too: pytest's own are closed to them."""
    top = Path(tempfile.mkdtemp(dir="/tmp"))
    top.chmod(0o755)
    try:
        yield top
    finally:
        for folder in [top, *top.rglob("*")]:
            if folder.is_dir():
                folder.chmod(0o755)
        shutil.rmtree(top)
