"""One peer in a process of its own, which times what it is asked to.

    python worker.py (store|twin|apsw|sqlalchemy)

Reads requests and writes answers, a JSON object a line. A process for each, since `apsw` carries an
engine of its own, and two engines in one process would undo each other's file locks.
"""

from __future__ import annotations

import hashlib
import json
import sys
import time
from pathlib import Path
from typing import Any

import packages_by_hand
import peers
import works

PEERS = {
    "store": lambda path: peers.native().open(Path(path)),
    "twin": lambda path: peers.twin().open(Path(path)),
    "apsw": packages_by_hand.ApswAndOrjson,
    "sqlalchemy": packages_by_hand.SqlalchemyCore,
}


def answer_of(work: works.Work, store: Any) -> str:
    """The digest of an answer's text, so that types count and NaN is like NaN."""
    return hashlib.sha256(repr(work.call(store, 0)).encode()).hexdigest()


def times_of(work: works.Work, store: Any, first: int, seconds: float) -> list[int]:
    clock = time.perf_counter_ns
    times: list[int] = []
    end = clock() + int(seconds * 1e9)
    while True:
        started = clock()
        work.call(store, first + len(times))
        ended = clock()
        times.append(ended - started)
        if ended >= end:
            return times


def statements_of(work: works.Work, path: str) -> list[str]:
    """The SQL of one call with its values, as the engine was given it."""
    twin = peers.twin().store_class
    statements: list[str] = []

    class Traced(twin):  # type: ignore[misc, valid-type]
        def _get_conn(self) -> Any:
            connection = super()._get_conn()
            connection.set_trace_callback(statements.append)
            return connection

    store = Traced(path)
    statements.clear()
    work.call(store, 0)
    return [" ".join(each.split()) for each in statements]


def main(peer: str) -> None:
    stores: dict[str, Any] = {}
    calls = 0
    for line in sys.stdin:
        request = json.loads(line)
        work, path = works.BY_NAME[request["work"]], request["file"]
        if path not in stores:
            stores[path] = PEERS[peer](path)
        result: Any
        if request["do"] == "statements":
            result = statements_of(work, path)
        elif request["do"] == "answer":
            result = answer_of(work, stores[path])
        else:
            result = times_of(work, stores[path], calls, request["seconds"])
            calls += len(result)
        print(json.dumps(result), flush=True)


if __name__ == "__main__":
    main(sys.argv[1])
