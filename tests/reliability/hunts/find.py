"""What hunts share: how one says that it has found something."""

from __future__ import annotations


class Find(AssertionError):
    """Something that must not be. The text says what, and with what it was met."""
