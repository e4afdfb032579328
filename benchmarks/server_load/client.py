"""The client: a number of connections, each with one request under way at any time.

    python client.py PORT CONNECTIONS SECONDS SEED DETECTIONS

It prints what it counted as JSON.
"""

from __future__ import annotations

import asyncio
import json
import sys
import time
from collections import Counter
from pathlib import Path
from random import Random

sys.path[0] = str(Path(__file__).resolve().parent.parent)

from server_load.mix import request  # noqa: E402

WARM_UP = 0.5  # seconds that are not counted
LONGEST_ANSWER = 2**26


class Load:
    """What all connections count together."""

    def __init__(self, seconds: float) -> None:
        self.begin = time.perf_counter() + WARM_UP
        self.end = self.begin + seconds
        self.requests = 0  # the uncounted ones too
        self.took: list[float] = []
        self.failed: Counter[str] = Counter()

    async def connection(self, port: int, rng: Random, detections: int) -> None:
        reader, writer = await asyncio.open_connection("127.0.0.1", port, limit=LONGEST_ANSWER)
        while (started := time.perf_counter()) < self.end:
            writer.write(request(rng, detections))
            head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1")
            await reader.readexactly(content_length(head))
            ended = time.perf_counter()
            self.requests += 1
            # What is under way at either edge is left out, so each round counts whole requests.
            if started < self.begin or ended > self.end:
                continue
            self.took.append(ended - started)
            status = head.split(" ", 2)[1]
            if not status.startswith("2"):
                self.failed[status] += 1
        writer.close()
        await writer.wait_closed()


def content_length(head: str) -> int:
    for line in head.split("\r\n"):
        name, _, value = line.partition(":")
        if name.lower() == "content-length":
            return int(value)
    return 0


async def main(port: int, connections: int, seconds: float, seed: int, detections: int) -> None:
    load = Load(seconds)
    async with asyncio.TaskGroup() as group:
        for number in range(connections):
            rng = Random(seed * 1000 + number)
            group.create_task(load.connection(port, rng, detections))
    milliseconds = sorted(each * 1000 for each in load.took)
    counted = {"requests": load.requests, "milliseconds": milliseconds, "failed": load.failed}
    print(json.dumps(counted))


if __name__ == "__main__":
    port, connections, seconds, seed, detections = sys.argv[1:]
    asyncio.run(main(int(port), int(connections), float(seconds), int(seed), int(detections)))
