"""Calls of every operation, good and bad, on a store that holds the rows that stand here."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

ROWS = """
INSERT INTO detections (
    timestamp, num_plates, plates, confidences, bboxes, processing_time, image_path, success,
    mmc_data
) VALUES
    ('2001-02-03T04:05:06.000007', 2, '["AB123", "CD456"]', '[0.9, 0.4]', '[[1, 2], [5, 6]]', 0.5,
        'a.jpg', 1, '{"mmc_make": "Skoda", "mmc_color": "red"}'),
    ('2001-02-03T04:05:07', 0, '[]', '[]', '[]', NULL, NULL, 0, NULL),
    ('2001-02-03T05:00:00.5', 1, 'no json', '[NaN, Infinity]', '{"a": [', 1, '', 1, 'null'),
    ('2001-02-04T00:00:00', 1, '["\\u0160K-456"]', '[0.6]', '[[]]', 0.1, NULL, 1, '{}');
INSERT INTO watchlist (plate, label, created_at) VALUES
    ('AB-123', 'stolen', '2001-01-01T00:00:00'), ('ŠK 456', '', '2001-01-02T00:00:00');
INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence, is_read) VALUES
    ('2001-02-03T04:05:08', 'AB123', 'stolen', 1, 0.9, 0),
    ('2001-02-03T04:05:09', 'CD456', '', 1, NULL, 1),
    ('2001-02-03T04:05:10', 'X', NULL, 99, 0.1, 0);
"""

_LISTS = (["AB123", "ŠK-456"], [0.98, 0.5], [[10, 20, 110, 60], [1, 2, 3, 4]])
_TIMES = (0.25, 0.125, 0.0625)

WRITING: dict[str, Callable[[Any], Any]] = {
    "open": lambda store: store.__init__(store.db_path),
    "add_detection": lambda store: store.add_detection(*_LISTS, *_TIMES, "a.jpg", None, False),
    "add_detection, large": lambda store: store.add_detection(
        ["x" * 3000] * 9, [0.1] * 900, [[1, 2]] * 900, *_TIMES, detection_confidences=[0.5]
    ),
    "add_detection, unwritable": lambda store: store.add_detection([{1}], [], [], *_TIMES),
    "add_detection, unbindable": lambda store: store.add_detection(*_LISTS, [], 1, 1),
    "update_image_paths": lambda store: store.update_image_paths(1, "image.jpg", "thumb.jpg"),
    "update_mmc_data": lambda store: store.update_mmc_data(1, {"mmc_make": "Škoda"}),
    "update_mmc_data, of none": lambda store: store.update_mmc_data(77, None),
    "delete_detection": lambda store: store.delete_detection(1),
    "delete_detection, of none": lambda store: store.delete_detection(77),
    "delete_detections": lambda store: store.delete_detections([1, 2, 2, 77]),
    "cleanup_old": lambda store: store.cleanup_old(2),
    "cleanup_old, mistyped": lambda store: store.cleanup_old("x"),
    "add_watchlist": lambda store: store.add_watchlist(" ab-123 ", "label"),
    "add_watchlist, no text": lambda store: store.add_watchlist(5),
    "remove_watchlist": lambda store: store.remove_watchlist(1),
    "add_alert": lambda store: store.add_alert("AB123", "label", 1, 0.5),
    "add_alert, no plate": lambda store: store.add_alert(None, "label", 1, 0.5),
    "mark_alerts_read": lambda store: store.mark_alerts_read(),
}
READING: dict[str, Callable[[Any], Any]] = {
    "get_history": lambda store: store.get_history(),
    "get_history, bounded": lambda store: store.get_history(10, 1, "2001-01-01", "2001-12-31"),
    "get_history, mistyped": lambda store: store.get_history("x"),
    "get_detection": lambda store: store.get_detection(1),
    "get_detection, of none": lambda store: store.get_detection(77),
    "get_statistics": lambda store: store.get_statistics(),
    "search_plates": lambda store: store.search_plates(),
    "search_plates, filtered": lambda store: store.search_plates(
        "AB", "2001", "2002", 0.5, mmc_color="red"
    ),
    "get_hourly_stats": lambda store: store.get_hourly_stats(24 * 365 * 50),
    "get_top_plates": lambda store: store.get_top_plates(),
    "get_watchlist": lambda store: store.get_watchlist(),
    "check_watchlist": lambda store: store.check_watchlist(["AB 123", "x", "ŠK456"]),
    "check_watchlist, no texts": lambda store: store.check_watchlist([5]),
    "get_alerts": lambda store: store.get_alerts(),
    "get_alert_count": lambda store: store.get_alert_count(),
    "get_alert_count, of all": lambda store: store.get_alert_count(False),
    "get_alerts_for_detections": lambda store: store.get_alerts_for_detections([1, 2, 77]),
}
CALLS = {**WRITING, **READING}
