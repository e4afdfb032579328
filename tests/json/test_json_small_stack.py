"""The deepest values that the recursion limit lets pass fit the stack of a small thread."""

from __future__ import annotations

import os
import sqlite3
from contextlib import closing

import pytest
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from support import child

pytestmark = pytest.mark.skipif(
    bool(os.environ.get("ZENTROPE_ANPR_SANITIZER")), reason="a sanitizer's frames are larger"
)

KINDS = {
    "lists": "[value]",
    "tuples": "(value,)",
    "mappings": "{'a': value}",
    "subclasses of dict": "OrderedDict(a=value)",
}


@pytest.mark.parametrize("kind", KINDS)
def test_a_deep_value_is_written_on_a_small_stack(kind: str) -> None:
    output = child.output(f"""
        import threading
        from collections import OrderedDict
        from anpr_test_modules import store_internals
        value = []
        for _ in range(1_400):
            value = {KINDS[kind]}
        threading.stack_size(128 * 1024)
        thread = threading.Thread(target=lambda: print(len(store_internals.dumps(value)) > 2_800))
        thread.start()
        thread.join()
    """)
    assert output == "True\n"


def nested_lists(depth: int) -> list:
    value: list = []
    for _ in range(depth - 1):
        value = [value]
    return value


def depth_of(value):
    depth = 1
    while value:
        value, depth = value[0], depth + 1
    return depth


def test_what_can_be_written_can_be_read_back(tmp_path):
    path = tmp_path / "anpr.db"
    store = ANPRDatabase(str(path))
    number = store.add_detection(["A"], [1.0], [[1, 2, 3, 4]], 1.0, 0.5, 0.5, "a", "b")
    written = 0
    for depth in range(1_300, 1_510):
        try:
            store.update_mmc_data(number, nested_lists(depth))
        except RecursionError:
            continue
        written = depth
        records = [store.get_detection(number), *store.get_history(1), *store.search_plates("")]
        for record in records:
            assert depth_of(record["mmc_data"]) == depth
    assert written > 1_300
    with closing(sqlite3.connect(path)) as connection:
        ((text,),) = connection.execute("SELECT mmc_data FROM detections")
    assert text == "[" * written + "]" * written
