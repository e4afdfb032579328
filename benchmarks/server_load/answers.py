"""The peers' servers give the same answers: else their times would say nothing."""

from __future__ import annotations

from pathlib import Path
from random import Random

import peers
from server_load.load_round import DETECTIONS, get, running
from server_load.mix import reads


class DifferentAnswers(Exception):
    """The two servers answer the same request differently."""


def same_answers(filled: Path) -> None:
    """Asks both for each kind of read of the mix; raises DifferentAnswers that names the path."""
    with running(peers.STORE, filled) as store, running(peers.TWIN, filled) as twin:
        for path in reads(Random(1), DETECTIONS):
            if get(store, path) != get(twin, path):
                raise DifferentAnswers(path)
