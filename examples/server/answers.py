"""Answers made of the store's records, whatever is in them.

A record may hold NaN (a confidence that could not be computed), infinity, lone surrogates (half
of a UTF-16 pair in a text) and bytes (written by another program). FastAPI's own answers fail on
these with status 500. A `response_model` makes `null` of NaN and infinity, and still fails on
surrogates and on whatever does not fit it. A route that returns one of ours is taken at its word:
its `response_model` describes the answer and is not applied to it.
"""

from __future__ import annotations

import json
import math
from typing import Any

from fastapi import Response


class Answer(Response):
    """JSON that every browser reads: `null` for what is no finite number, all text as ASCII."""

    media_type = "application/json"

    def render(self, content: Any) -> bytes:
        try:
            return _dumps(content)
        except ValueError:  # NaN or infinity, which are rare: looked for only now
            return _dumps(_finite(content))


def _dumps(content: Any) -> bytes:
    # ASCII: a lone surrogate is written as its escape, which UTF-8 has no bytes for.
    return json.dumps(content, allow_nan=False, separators=(",", ":"), default=repr).encode("ascii")


def _finite(value: Any) -> Any:
    if isinstance(value, float):
        return value if math.isfinite(value) else None
    if isinstance(value, dict):
        return {_finite_key(key): _finite(each) for key, each in value.items()}
    if isinstance(value, list | tuple):
        return [_finite(each) for each in value]
    return value


def _finite_key(key: Any) -> Any:
    return key if not isinstance(key, float) or math.isfinite(key) else repr(key)
