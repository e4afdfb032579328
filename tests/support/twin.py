"""The store once more, in plain Python over `sqlite3` and `json`: the oracle of the native one.

It keeps the native module's namespace (`sqlite3`, `json`, `datetime`, ...) and looks its names up
there at each use, so a test may replace them in either module and expect the same.
"""

# The annotations are compared as text, so they keep the older spellings.
# ruff: noqa: UP006, UP035, UP045, RUF013

from __future__ import annotations

import json
import sqlite3
from collections.abc import Iterator
from contextlib import contextmanager
from datetime import datetime, timedelta
from pathlib import Path
from typing import Any, Dict, List, Optional

from support.twin_tables import CREATE_ALERTS, CREATE_DETECTIONS, CREATE_WATCHLIST

_STANDARD_CONNECT = sqlite3.connect
_JSON_COLUMNS = ("plates", "confidences", "bboxes", "mmc_data", "detection_confidences")


def _searched(value: Any) -> Any:
    # A text's own characters, whatever its class shows instead.
    return str.__str__(value) if isinstance(value, str) else value


@contextmanager
def _scope(store: ANPRDatabase) -> Iterator[Any]:
    """One operation's connection; an error of the block gets out whatever `__exit__` returns."""
    failure = None
    try:
        with store._get_conn() as connection:
            try:
                yield connection
            except BaseException as error:
                failure = error
                raise
        if failure is not None:
            raise failure
    finally:
        # The error's traceback holds this frame: a cycle would keep the connection open.
        del failure


class ANPRDatabase:
    def __init__(self, db_path: str):
        self.db_path = Path(db_path)
        self.db_path.parent.mkdir(parents=True, exist_ok=True)
        self._init_schema()

    def _get_conn(self):
        name = str(self.db_path)
        if name.startswith("file:") and sqlite3.connect is _STANDARD_CONNECT:
            # An engine built to read URIs would take the name for one.
            name = "./" + name
        connection = sqlite3.connect(name)
        connection.row_factory = sqlite3.Row
        return connection

    def _init_schema(self):
        with _scope(self) as conn:
            conn.execute(CREATE_DETECTIONS)
            conn.execute("CREATE INDEX IF NOT EXISTS idx_timestamp ON detections(timestamp DESC)")
            for column in ("mmc_data", "detection_confidences"):
                try:
                    conn.execute("ALTER TABLE detections ADD COLUMN " + column + " TEXT")
                except sqlite3.OperationalError:
                    pass
            conn.execute(CREATE_WATCHLIST)
            try:
                conn.execute("ALTER TABLE watchlist ADD COLUMN note TEXT DEFAULT ''")
            except sqlite3.OperationalError:
                pass
            conn.execute(CREATE_ALERTS)
            try:
                conn.execute("ALTER TABLE alerts ADD COLUMN note TEXT DEFAULT ''")
            except sqlite3.OperationalError:
                pass
            try:
                conn.execute("ALTER TABLE alerts ADD COLUMN is_read INTEGER DEFAULT 0")
            except sqlite3.OperationalError:
                pass
            conn.execute("CREATE INDEX IF NOT EXISTS idx_alerts_ts ON alerts(timestamp DESC)")
            conn.commit()

    def add_detection(
        self,
        plates: List[str],
        confidences: List[float],
        bboxes: List[list],
        processing_time: float,
        detector_time: float,
        ocr_time: float,
        image_path: Optional[str] = None,
        thumbnail_path: Optional[str] = None,
        success: bool = True,
        detection_confidences: Optional[List[float]] = None,
    ) -> int:
        with _scope(self) as conn:
            now = datetime.now().isoformat()
            values = (
                now,
                len(plates),
                json.dumps(plates),
                json.dumps(confidences),
                json.dumps(bboxes),
                processing_time,
                detector_time,
                ocr_time,
                image_path,
                thumbnail_path,
                1 if success else 0,
                json.dumps(detection_confidences) if detection_confidences else None,
            )
            cursor = conn.execute(
                """INSERT INTO detections
                   (timestamp, num_plates, plates, confidences, bboxes,
                    processing_time, detector_time, ocr_time,
                    image_path, thumbnail_path, success, detection_confidences)
                   VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)""",
                values,
            )
            conn.commit()
            return cursor.lastrowid

    def get_history(
        self, limit: int = 100, offset: int = 0, date_from: str = None, date_to: str = None
    ) -> List[Dict]:
        query = "SELECT * FROM detections"
        params = []
        conditions = []
        if date_from:
            conditions.append("timestamp >= ?")
            params.append(date_from)
        if date_to:
            conditions.append("timestamp <= ?")
            params.append(date_to)
        if conditions:
            query += " WHERE " + " AND ".join(conditions)
        query += " ORDER BY timestamp DESC LIMIT ? OFFSET ?"
        params.extend([limit, offset])
        with _scope(self) as conn:
            rows = conn.execute(query, params).fetchall()
            return [self._row_to_dict(r) for r in rows]

    def get_detection(self, detection_id: int) -> Optional[Dict]:
        with _scope(self) as conn:
            row = conn.execute("SELECT * FROM detections WHERE id = ?", (detection_id,)).fetchone()
            return self._row_to_dict(row) if row is not None else None

    def delete_detection(self, detection_id: int) -> bool:
        with _scope(self) as conn:
            cursor = conn.execute("DELETE FROM detections WHERE id = ?", (detection_id,))
            conn.commit()
            return cursor.rowcount > 0

    def delete_detections(self, ids: list) -> int:
        if not ids:
            return 0
        placeholders = ",".join("?" for _ in ids)
        with _scope(self) as conn:
            cursor = conn.execute(f"DELETE FROM detections WHERE id IN ({placeholders})", ids)
            conn.commit()
            return cursor.rowcount

    def get_statistics(self) -> Dict:
        with _scope(self) as conn:
            row = conn.execute("""
                SELECT COUNT(*) as total,
                    SUM(CASE WHEN success = 1 AND num_plates > 0 THEN 1 ELSE 0 END) as successful,
                    SUM(CASE WHEN success = 0 OR num_plates = 0 THEN 1 ELSE 0 END) as failed,
                    SUM(num_plates) as total_plates,
                    AVG(processing_time) as avg_time
                FROM detections""").fetchone()
            return {
                "total_detections": row["total"] or 0,
                "successful_detections": row["successful"] or 0,
                "failed_detections": row["failed"] or 0,
                "total_plates_found": row["total_plates"] or 0,
                "avg_processing_sec": round(row["avg_time"] or 0, 4),
            }

    def update_image_paths(self, detection_id: int, image_path: str, thumbnail_path: str):
        with _scope(self) as conn:
            conn.execute(
                "UPDATE detections SET image_path = ?, thumbnail_path = ? WHERE id = ?",
                (image_path, thumbnail_path, detection_id),
            )
            conn.commit()

    def update_mmc_data(self, detection_id: int, mmc_data: dict):
        with _scope(self) as conn:
            conn.execute(
                "UPDATE detections SET mmc_data = ? WHERE id = ?",
                (json.dumps(mmc_data), detection_id),
            )
            conn.commit()

    def cleanup_old(self, max_entries: int = 1000):
        with _scope(self) as conn:
            conn.execute(
                """DELETE FROM detections WHERE id NOT IN
                   (SELECT id FROM detections ORDER BY timestamp DESC LIMIT ?)""",
                (max_entries,),
            )
            conn.commit()

    def search_plates(
        self,
        query: str = "",
        date_from: str = None,
        date_to: str = None,
        min_confidence: float = 0,
        mmc_make: str = "",
        mmc_model: str = "",
        mmc_color: str = "",
        mmc_type: str = "",
        mmc_nation: str = "",
        mmc_side: str = "",
        limit: int = 100,
        offset: int = 0,
    ) -> List[Dict]:
        sql = "SELECT * FROM detections"
        conditions = []
        params = []
        if query:
            conditions.append("plates LIKE ?")
            params.append(f"%{_searched(query)}%")
        if date_from:
            conditions.append("timestamp >= ?")
            params.append(date_from)
        if date_to:
            conditions.append("timestamp <= ?")
            params.append(date_to)
        if min_confidence > 0:
            conditions.append("num_plates > 0")
        for key, value in (
            ("mmc_make", mmc_make),
            ("mmc_model", mmc_model),
            ("mmc_color", mmc_color),
            ("mmc_type", mmc_type),
            ("mmc_plate_nation", mmc_nation),
            ("mmc_vehicle_side", mmc_side),
        ):
            if value:
                conditions.append("mmc_data LIKE ?")
                params.append(f'%"{key}"%{_searched(value)}%')
        if conditions:
            sql += " WHERE " + " AND ".join(conditions)
        sql += " ORDER BY timestamp DESC LIMIT ? OFFSET ?"
        params.extend([limit, offset])
        with _scope(self) as conn:
            rows = conn.execute(sql, params).fetchall()
            records = [self._row_to_dict(r) for r in rows]
        if min_confidence > 0:
            records = [
                record
                for record in records
                if any(c >= min_confidence for c in record.get("confidences") or [])
            ]
        return records

    def get_hourly_stats(self, hours: int = 24) -> List[Dict]:
        cutoff = (datetime.now() - timedelta(hours=hours)).isoformat()
        with _scope(self) as conn:
            rows = conn.execute(
                """SELECT strftime('%Y-%m-%dT%H:00:00', timestamp) as hour,
                       COUNT(*) as count, SUM(num_plates) as plates
                   FROM detections WHERE timestamp >= ? GROUP BY hour ORDER BY hour""",
                (cutoff,),
            ).fetchall()
            return [dict(r) for r in rows]

    def get_top_plates(self, limit: int = 5) -> List[Dict]:
        with _scope(self) as conn:
            rows = conn.execute(
                "SELECT plates FROM detections WHERE num_plates > 0"
                " ORDER BY timestamp DESC LIMIT 500"
            ).fetchall()
        counts = {}
        for r in rows:
            try:
                for plate in json.loads(r["plates"]):
                    counts[plate] = counts.get(plate, 0) + 1
            except (json.JSONDecodeError, TypeError):
                pass
        ranking = sorted(counts.items(), key=lambda entry: entry[1], reverse=True)
        return [{"plate": plate, "count": count} for plate, count in ranking[:limit]]

    def get_watchlist(self) -> List[Dict]:
        with _scope(self) as conn:
            rows = conn.execute("SELECT * FROM watchlist ORDER BY created_at DESC").fetchall()
            return [dict(r) for r in rows]

    def add_watchlist(self, plate: str, label: str = "") -> int:
        with _scope(self) as conn:
            values = (plate.upper().strip(), label.strip(), datetime.now().isoformat())
            cursor = conn.execute(
                "INSERT INTO watchlist (plate, label, created_at) VALUES (?, ?, ?)", values
            )
            conn.commit()
            return cursor.lastrowid

    def remove_watchlist(self, watchlist_id: int) -> bool:
        with _scope(self) as conn:
            cursor = conn.execute("DELETE FROM watchlist WHERE id = ?", (watchlist_id,))
            conn.commit()
            return cursor.rowcount > 0

    def check_watchlist(self, plates: List[str]) -> List[Dict]:
        if not plates:
            return []
        with _scope(self) as conn:
            rows = conn.execute("SELECT * FROM watchlist").fetchall()
            wl = [dict(r) for r in rows]
        del conn
        matches = []
        for detected in plates:
            normalized = detected.upper().replace(" ", "").replace("-", "")
            for entry in wl:
                wl_norm = entry["plate"].upper().replace(" ", "").replace("-", "")
                if normalized == wl_norm or wl_norm in normalized or normalized in wl_norm:
                    matches.append(
                        {
                            "detected_plate": detected,
                            "watchlist_plate": entry["plate"],
                            "label": entry.get("label", ""),
                            "watchlist_id": entry["id"],
                        }
                    )
        return matches

    def add_alert(self, plate: str, label: str, detection_id: int, confidence: float) -> int:
        with _scope(self) as conn:
            values = (datetime.now().isoformat(), plate, label, detection_id, confidence)
            cursor = conn.execute(
                "INSERT INTO alerts (timestamp, plate, watchlist_label, detection_id, confidence)"
                " VALUES (?, ?, ?, ?, ?)",
                values,
            )
            conn.commit()
            return cursor.lastrowid

    def get_alerts(self, limit: int = 50) -> List[Dict]:
        with _scope(self) as conn:
            rows = conn.execute(
                "SELECT * FROM alerts ORDER BY timestamp DESC LIMIT ?", (limit,)
            ).fetchall()
            return [dict(r) for r in rows]

    def get_alert_count(self, unread_only: bool = True) -> int:
        with _scope(self) as conn:
            if unread_only:
                row = conn.execute(
                    "SELECT COUNT(*) as cnt FROM alerts WHERE is_read = 0"
                ).fetchone()
            else:
                row = conn.execute("SELECT COUNT(*) as cnt FROM alerts").fetchone()
            return row["cnt"] or 0

    def mark_alerts_read(self) -> int:
        with _scope(self) as conn:
            cursor = conn.execute("UPDATE alerts SET is_read = 1 WHERE is_read = 0")
            conn.commit()
            return cursor.rowcount

    def get_alerts_for_detections(self, detection_ids: List[int]) -> Dict[int, List[Dict]]:
        if not detection_ids:
            return {}
        placeholders = ",".join("?" * len(detection_ids))
        with _scope(self) as conn:
            rows = conn.execute(
                f"SELECT * FROM alerts WHERE detection_id IN ({placeholders})", detection_ids
            ).fetchall()
        result = {}
        for r in rows:
            d = dict(r)
            result.setdefault(d.get("detection_id"), []).append(d)
        return result

    @staticmethod
    def _row_to_dict(row) -> Dict:
        record = dict(row)
        for name in _JSON_COLUMNS:
            value = record.get(name)
            if value:
                try:
                    record[name] = json.loads(value)
                except json.JSONDecodeError:
                    pass
        return record
