"""Puts the application together: the store, what runs beside the requests, and the routes."""

from __future__ import annotations

import logging
from collections.abc import AsyncIterator, Callable
from contextlib import ExitStack, asynccontextmanager
from functools import partial
from pathlib import Path

from fastapi import FastAPI
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.recognised import read_images
from server.demo_fill import fill
from server.errors import add_error_answers
from server.page import add_page
from server.periodic import Periodic
from server.recogniser import Recogniser
from server.retention import trim
from server.routes import alerts, detections, search, statistics, watchlist
from server.settings import Settings

log = logging.getLogger(__name__)


def create_app(
    settings: Settings, open_store: Callable[[Path], ANPRDatabase] = ANPRDatabase
) -> FastAPI:
    """The application: it opens its store when it starts, and ends its threads when it stops."""

    @asynccontextmanager
    async def lifespan(app: FastAPI) -> AsyncIterator[None]:
        # One store object serves every thread: it holds a path, and each call a connection.
        store = app.state.store = open_store(settings.database)
        with ExitStack() as beside:
            if settings.images is not None:
                images = read_images(settings.images)
                fill(store, images)
                if settings.recognise_every:
                    recognise = Recogniser(store, images).recognise_one
                    beside.enter_context(Periodic(settings.recognise_every, recognise))
            if settings.trim_every:
                keep_newest = partial(trim, store, settings.keep)
                beside.enter_context(Periodic(settings.trim_every, keep_newest))
            log.info("The database file is %s", settings.database)
            yield
        log.info("All threads have ended")

    # The pages under /docs would fetch their scripts from elsewhere; /openapi.json needs none.
    app = FastAPI(title="Recognised plates", lifespan=lifespan, docs_url=None, redoc_url=None)
    add_error_answers(app)
    for subject in (detections, search, statistics, watchlist, alerts):
        app.include_router(subject.router, prefix="/api")
    add_page(app)
    return app
