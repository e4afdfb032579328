"""What keeps the file small: nothing but the server removes old detections."""

from __future__ import annotations

from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase


def trim(store: ANPRDatabase, keep: int) -> None:
    """Removes all but the newest detections. Their alerts stay, and so do image files."""
    # The store takes a negative number for "remove nothing", which is never meant here.
    store.cleanup_old(max_entries=max(keep, 0))
