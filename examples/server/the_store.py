"""How a route gets the store: `def route(store: Store)`."""

from __future__ import annotations

from typing import Annotated

from fastapi import Depends, Request
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase


async def the_store(request: Request) -> ANPRDatabase:
    # Async, since it only looks an attribute up: a plain function would cost a turn of the
    # thread pool. The routes are plain functions, so that their calls of the store run in it.
    store: ANPRDatabase = request.app.state.store
    return store


Store = Annotated[ANPRDatabase, Depends(the_store)]
