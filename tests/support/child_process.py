"""Moved to `support.child`."""

from __future__ import annotations

from support.child import (
    HANG_SECONDS as HANG_SECONDS,
)
from support.child import (
    assert_ended_well as assert_ended_well,
)
from support.child import (
    output as output,
)
from support.child import (
    run as run,
)
from support.child import (
    start as start,
)
