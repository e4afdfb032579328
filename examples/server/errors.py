"""Errors of the store, and of a request, as answers.

What is not listed here is a fault of the server or of its disk: it is logged and answered 500.
"""

from __future__ import annotations

import sqlite3

from fastapi import FastAPI, Request
from fastapi.exceptions import RequestValidationError

from server.answers import Answer

RETRY_AFTER_SECONDS = 1


def is_busy(error: sqlite3.Error) -> bool:
    """Whether another connection held the file's lock for as long as the store waits for it."""
    # The low byte is the kind of error, the others say more about it. An error that did not come
    # from the engine has no code.
    return getattr(error, "sqlite_errorcode", 0) & 0xFF == sqlite3.SQLITE_BUSY


def add_error_answers(app: FastAPI) -> None:
    @app.exception_handler(sqlite3.OperationalError)
    async def busy(request: Request, error: sqlite3.OperationalError) -> Answer:
        if not is_busy(error):
            raise error
        # The operation has changed nothing, so the client may send the same request again.
        return Answer(
            {"detail": "the database is locked, try again"},
            status_code=503,
            headers={"Retry-After": str(RETRY_AFTER_SECONDS)},
        )

    @app.exception_handler(UnicodeEncodeError)
    async def not_storable(request: Request, error: UnicodeEncodeError) -> Answer:
        # SQLite keeps text as UTF-8. Lists and mappings are kept as JSON, which escapes them.
        return Answer({"detail": "a text holds half of a surrogate pair"}, status_code=422)

    @app.exception_handler(RequestValidationError)
    async def not_valid(request: Request, error: RequestValidationError) -> Answer:
        # It repeats what was sent, NaN and lone surrogates included.
        return Answer({"detail": error.errors()}, status_code=422)
