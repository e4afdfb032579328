"""Moved to `support.fakes`."""

from __future__ import annotations

from support.fakes import (
    Log as Log,
)
from support.fakes import (
    RecordingConnection as RecordingConnection,
)
from support.fakes import (
    RecordingCursor as RecordingCursor,
)
from support.fakes import (
    executed as executed,
)
from support.fakes import (
    recording_class as recording_class,
)
from support.fakes import (
    statements as statements,
)
from support.fakes import (
    steps as steps,
)
