"""Looks into a wheel: it holds the module and its types, and no copy of SQLite.

    python tools/check_wheel.py dist/*.whl

A second copy in a process undoes the first one's file locks, so a wheel must find the system's
libsqlite3 when it is loaded. `auditwheel repair` would bundle one unless it is told not to.
"""

from __future__ import annotations

import sys
import zipfile

REPAIR = "auditwheel repair --exclude libsqlite3.so.0 dist/*.whl"


def faults(wheel: str) -> list[str]:
    with zipfile.ZipFile(wheel) as archive:
        names = archive.namelist()
        modules = [name for name in names if ".cpython-" in name and name.endswith(".so")]
        found = [f"bundles {name}" for name in names if "sqlite3.so" in name or ".libs/" in name]
        if len(modules) != 1:
            found.append(f"holds {len(modules)} extension modules")
        if b"libsqlite3.so.0\0" not in b"".join(archive.read(name) for name in modules):
            found.append("is not linked to libsqlite3.so.0")
        if not any(name.endswith("/py.typed") for name in names):
            found.append("has no types")
    return found


def main(wheels: list[str]) -> int:
    failed = False
    for wheel in wheels:
        for fault in faults(wheel):
            failed = True
            print(f"{wheel} {fault}.", file=sys.stderr)
        if not failed:
            print(f"{wheel} shares the system's libsqlite3.so.0.")
            print(f"To make it a manylinux wheel: {REPAIR}")
    return int(failed)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
