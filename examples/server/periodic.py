"""Something that is done again and again on a thread of its own, until the server ends."""

from __future__ import annotations

import logging
import threading
from collections.abc import Callable
from types import TracebackType
from typing import Self

log = logging.getLogger(__name__)


class Periodic:
    """Calls `work` every so many seconds while its `with` block runs.

    The block's end waits for a call in progress, so nothing of it runs afterwards. A call that
    fails is logged, and the next one comes in its time: a locked file is no reason to stop.
    """

    def __init__(self, seconds: float, work: Callable[[], None]) -> None:
        self._seconds = seconds
        self._work = work
        self._end = threading.Event()
        self._thread = threading.Thread(target=self._run, name=getattr(work, "__name__", None))

    def __enter__(self) -> Self:
        self._thread.start()
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self._end.set()
        self._thread.join()

    def _run(self) -> None:
        while not self._end.wait(self._seconds):
            try:
                self._work()
            except Exception:
                log.exception("Failed, and will be tried again in %g s", self._seconds)
