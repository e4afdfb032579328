"""Runs the example server on 127.0.0.1 until Ctrl-C or SIGTERM.

    python examples/run_server.py

It takes its settings from the environment, see server/settings.py.
"""

from __future__ import annotations

import logging
import os
import sys
from contextlib import suppress

import uvicorn

from server.app import create_app
from server.settings import HOST, Settings


def main() -> int:
    logging.basicConfig(level=logging.INFO, format="%(levelname)s: %(name)s: %(message)s")
    try:
        settings = Settings.from_environment(os.environ)
    except ValueError as mistake:
        print(mistake, file=sys.stderr)
        return 2
    config = uvicorn.Config(
        create_app(settings),
        host=HOST,
        port=settings.port,
        access_log=False,
        # A request that waits for the file's lock gets its answer before the server ends.
        timeout_graceful_shutdown=10,
    )
    # Bound here, so that the port is known when 0 asks for a free one; a browser that comes while
    # the file is still being filled waits instead of being turned away.
    listening = config.bind_socket()
    listening.listen(config.backlog)
    print(f"The page: http://{HOST}:{listening.getsockname()[1]}/", flush=True)
    with suppress(KeyboardInterrupt):  # Ctrl-C: raised again when everything has ended
        uvicorn.Server(config).run(sockets=[listening])
    return 0


if __name__ == "__main__":
    sys.exit(main())
