"""The example server over one of the peers, in a process of its own.

    python served.py (store|twin) DATABASE (alone|recognising)

It prints its port and ends at SIGTERM.
"""

from __future__ import annotations

import sqlite3
import sys
import threading
import time
from contextlib import suppress
from itertools import cycle
from pathlib import Path
from typing import Any

BENCHMARKS = Path(__file__).resolve().parent.parent
sys.path[0] = str(BENCHMARKS)
sys.path.append(str(BENCHMARKS.parent / "examples"))

import uvicorn  # noqa: E402

import peers  # noqa: E402
from road.recognised import read_images  # noqa: E402
from server.app import create_app  # noqa: E402
from server.recogniser import hand_over  # noqa: E402
from server.settings import HOST, Settings  # noqa: E402

WORK = 0.05  # seconds of Python code for an image


def recognise(store: Any, images: Path) -> None:
    """Without pause: so long at an image in Python code, which holds the lock, then records it."""
    for image in cycle(read_images(images)):
        end = time.thread_time() + WORK
        while time.thread_time() < end:
            pass
        with suppress(sqlite3.OperationalError):  # the file was locked: on to the next image
            hand_over(store, image)


def main(peer_name: str, database: str, beside: str) -> None:
    peer = peers.native() if peer_name == "store" else peers.twin()
    settings = Settings(database=Path(database), images=None, trim_every=0)
    app = create_app(settings, peer.open)
    if beside == "recognising":
        images = Settings.images
        assert images is not None
        store = peer.open(settings.database)
        threading.Thread(target=recognise, args=(store, images), daemon=True).start()
    config = uvicorn.Config(app, host=HOST, port=0, access_log=False, log_level="warning")
    listening = config.bind_socket()
    listening.listen(config.backlog)
    print(listening.getsockname()[1], flush=True)
    uvicorn.Server(config).run(sockets=[listening])


if __name__ == "__main__":
    main(*sys.argv[1:])
