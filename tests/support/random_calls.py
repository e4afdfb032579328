"""Random calls of the store, good and bad: which values each operation is tried with."""

from __future__ import annotations

from typing import Any

from hypothesis import strategies as st

from support.fakes import Text
from support.samples import DETECTION_COLUMNS

Values = st.SearchStrategy[Any]


class Unknown:
    """A value of a type that nothing knows."""

    def __repr__(self) -> str:
        return "Unknown()"


class Number(int):
    pass


plates = st.sampled_from(["AB12", "ab-1 2", "B1", "XAB12Y", "ÄÖ 3", "車", "CD34", "", "-", " ß "])
texts = st.one_of(
    plates,
    st.text('AB12 -aéß車%_"\\', max_size=6),
    st.text(max_size=4),  # lone surrogates and nulls among them
    st.just(Text("AB 1")),
)
reals = st.one_of(
    st.sampled_from([0.0, -0.0, 0.5, 0.25, 0.93, 1.0, 1e16, 1e-05]), st.floats(width=64)
)
whole = st.one_of(st.integers(-3, 12), st.sampled_from([2**31, 2**63 - 1, 2**63, -(2**63) - 1]))
odd = st.one_of(
    st.none(),
    st.booleans(),
    whole,
    reals,
    texts,
    st.binary(max_size=3),
    st.sampled_from([[], {}, (), [5], {"a": 1}, {1}, Unknown(), Number(3), bytearray(b"x")]),
)


def mostly(good: Values) -> Values:
    """Something strange now and then, but rarely enough that calls with many values succeed."""
    return st.integers(0, 24).flatmap(lambda n: odd if n == 24 else good)


json_values = st.recursive(
    st.none() | st.booleans() | whole | reals | texts,
    lambda inner: st.lists(inner, max_size=3) | st.dictionaries(texts, inner, max_size=3),
    max_leaves=6,
)
ids = mostly(st.integers(1, 4) | st.integers(0, 6))
limits = mostly(st.sampled_from([100, 5, 2, 1, 0, -1, -2]))
offsets = mostly(st.sampled_from([0, 0, 1, 2, -1]))
stamps = mostly(
    st.sampled_from(
        [None, None, "", "2024-05-01", "2024-05-01T14:59:59", "2024-05-01T15:24:59", "2024-06"]
    )
)
confidence_lists = mostly(
    st.lists(st.sampled_from([0.5, 0.93, 0.25]) | mostly(reals), min_size=0, max_size=3)
)
plate_lists = mostly(st.lists(plates, min_size=1, max_size=3) | st.lists(mostly(texts), max_size=3))
attributes = st.dictionaries(
    st.sampled_from(["mmc_make", "mmc_color", "mmc_plate_nation", "mmc_vehicle_side"]),
    st.sampled_from(["red", "blue", "VW", "DE", "rear"]),
    max_size=3,
)
search_texts = st.sampled_from(["AB", "a", "%", "_", "é", "12", 1, 0.5, "", None])
# Six attributes at once would find nothing; most of the time most of them are not given.
attribute_texts = st.sampled_from(["", "", "", "", "", "", None, "red", "RED", "VW", "DE", "e"])
times = mostly(st.one_of(st.none(), reals))
paths = mostly(st.sampled_from([None, "image.jpg", "", "車.jpg"]))

# What another program may leave in a text column.
# fmt: off
stored_values = st.one_of(
    st.sampled_from([
        None, "", "[]", "null", '"AB12"', '{"AB": 1}', "[1, 1.0, true]", '["AB12", ["x"], "CD"]',
        "[NaN, -Infinity]", "broken", "[0.5, null]", "5", " [1] ", '{"a": 1, "a": 2}', b"[1]",
        b"\xff", 0, 0.5, 7,
    ]),
    texts.filter(lambda text: text.isprintable()),
)
# fmt: on

TRIED_WITH: dict[str, dict[str, Values]] = {
    "_init_schema": {},
    "add_detection": {
        "plates": plate_lists,
        "confidences": confidence_lists,
        "bboxes": mostly(st.lists(st.lists(whole, max_size=4), max_size=2)),
        "processing_time": times,
        "detector_time": times,
        "ocr_time": times,
        "image_path": paths,
        "thumbnail_path": paths,
        "success": mostly(st.booleans()),
        "detection_confidences": confidence_lists,
    },
    "get_history": {"limit": limits, "offset": offsets, "date_from": stamps, "date_to": stamps},
    "get_detection": {"detection_id": ids},
    "delete_detection": {"detection_id": ids},
    "delete_detections": {
        "ids": st.one_of(
            st.lists(ids, max_size=4), st.lists(ids, max_size=3).map(tuple), st.none(), st.just(5)
        )
    },
    "get_statistics": {},
    "update_image_paths": {"detection_id": ids, "image_path": paths, "thumbnail_path": paths},
    "update_mmc_data": {"detection_id": ids, "mmc_data": mostly(attributes | json_values)},
    "cleanup_old": {"max_entries": limits},
    "search_plates": {
        "query": search_texts,
        "date_from": stamps,
        "date_to": stamps,
        "min_confidence": mostly(st.sampled_from([0, 0.5, 0.93, -1, 1, 0.0])),
        "mmc_make": attribute_texts,
        "mmc_model": attribute_texts,
        "mmc_color": attribute_texts,
        "mmc_type": attribute_texts,
        "mmc_nation": attribute_texts,
        "mmc_side": attribute_texts,
        "limit": limits,
        "offset": offsets,
    },
    "get_hourly_stats": {"hours": mostly(st.sampled_from([0, 1, 24, 0.5, -1]))},
    "get_top_plates": {"limit": limits},
    "get_watchlist": {},
    "add_watchlist": {"plate": mostly(texts), "label": mostly(texts)},
    "remove_watchlist": {"watchlist_id": ids},
    "check_watchlist": {"plates": plate_lists},
    "add_alert": {
        "plate": mostly(texts),
        "label": mostly(texts),
        "detection_id": ids,
        "confidence": mostly(reals),
    },
    "get_alerts": {"limit": limits},
    "get_alert_count": {"unread_only": mostly(st.booleans())},
    "mark_alerts_read": {},
    "get_alerts_for_detections": {
        "detection_ids": st.one_of(
            st.lists(ids, max_size=4), st.lists(ids, max_size=3).map(tuple), st.none(), st.just(5)
        )
    },
    "_row_to_dict": {
        "row": mostly(
            st.dictionaries(
                st.sampled_from(["id", "plates", "confidences", "bboxes", "mmc_data", "PLATES"]),
                mostly(stored_values),
            )
        )
    },
}

NOT_CHANGED = ("id", "detector_time", "ocr_time", "image_path", "thumbnail_path")
columns = st.sampled_from([name for name in DETECTION_COLUMNS if name not in NOT_CHANGED])


# What another program may do to the file.
CHANGES = [
    "DELETE FROM detections WHERE id = 1",
    "INSERT INTO detections (timestamp) VALUES ('elsewhere')",
    "DROP INDEX IF EXISTS idx_timestamp",
    "ALTER TABLE detections DROP COLUMN mmc_data",
    "ALTER TABLE detections DROP COLUMN detection_confidences",
    "ALTER TABLE alerts DROP COLUMN is_read",
    "DROP TABLE IF EXISTS watchlist",
    "PRAGMA user_version = 5",
]
