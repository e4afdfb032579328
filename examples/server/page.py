"""The page: the files of the folder of that name, as they are."""

from __future__ import annotations

from pathlib import Path

from fastapi import FastAPI
from fastapi.staticfiles import StaticFiles
from starlette.responses import Response
from starlette.types import Scope

FOLDER = Path(__file__).resolve().parent / "page"


class PageFiles(StaticFiles):
    async def get_response(self, path: str, scope: Scope) -> Response:
        response = await super().get_response(path, scope)
        # The browser holds the page to its promise: nothing is fetched from elsewhere.
        response.headers["Content-Security-Policy"] = "default-src 'self'; frame-ancestors 'none'"
        response.headers["X-Content-Type-Options"] = "nosniff"
        # Asked for each time and sent only when changed, so a new page is never half an old one.
        response.headers["Cache-Control"] = "no-cache"
        return response


def add_page(app: FastAPI) -> None:
    """After the routes: it answers for every path that is not theirs."""
    app.mount("/", PageFiles(directory=FOLDER, html=True))
