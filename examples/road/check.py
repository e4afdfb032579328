"""Whether two values are the same, down to the types, and with NaN the same as NaN."""

from __future__ import annotations


class Mismatch(Exception):
    """Something read from the store is not what was recorded."""


def difference(recorded: object, read: object) -> str | None:
    """Says where the two first differ, such as `[1]: recorded 0.93, read 0.92`, or None.

    Two dicts are the same only with the same keys in the same order: the order of columns and
    of JSON keys is kept by the store.
    """
    if isinstance(recorded, dict) and isinstance(read, dict):
        if list(recorded) != list(read):
            return f": recorded the keys {list(recorded)}, read {list(read)}"
        pairs = [(f"[{key!r}]", value, read[key]) for key, value in recorded.items()]
    elif isinstance(recorded, list) and isinstance(read, list):
        if len(recorded) != len(read):
            return f": recorded {len(recorded)} items, read {len(read)}"
        both = zip(recorded, read, strict=True)
        pairs = [(f"[{index}]", old, new) for index, (old, new) in enumerate(both)]
    elif type(recorded) is type(read) and (recorded == read or _both_nan(recorded, read)):
        return None
    else:
        return f": recorded {recorded!r}, read {read!r}"
    for place, old, new in pairs:
        inner = difference(old, new)
        if inner is not None:
            return place + inner
    return None


def _both_nan(recorded: object, read: object) -> bool:
    return recorded != recorded and read != read
