"""What somebody would put together from packages: the same records by other roads.

Each class has the operations that such code would have; what it leaves out the benchmarks leave
out for it too. Neither looks up anything that a subclass could replace, and neither keeps the
timestamp, the count of plates or the rollback of a failed operation in one place as the store does.
"""

from __future__ import annotations

from datetime import datetime
from typing import Any

JSON_COLUMNS = ("plates", "confidences", "bboxes", "mmc_data", "detection_confidences")
PAGE = "SELECT * FROM detections ORDER BY timestamp DESC LIMIT ? OFFSET ?"
ONE = "SELECT * FROM detections WHERE id = ?"
ADD = (
    "INSERT INTO detections (timestamp, num_plates, plates, confidences, bboxes, processing_time,"
    " detector_time, ocr_time, image_path, thumbnail_path, success, detection_confidences)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
)
UPDATE = "UPDATE detections SET mmc_data = ? WHERE id = ?"


class ApswAndOrjson:
    """`apsw` brings an engine of its own, newer than the system's, and `orjson` writes JSON
    without blanks and beyond ASCII: the store's search by text would not find what it wrote."""

    def __init__(self, path: str) -> None:
        import apsw
        import orjson

        self.path, self.connect = path, apsw.Connection
        self.loads, self.dumps = orjson.loads, orjson.dumps

    def _opened(self) -> Any:
        connection = self.connect(self.path)
        connection.set_busy_timeout(5000)
        return connection

    def _record(self, names: list[str], row: tuple[Any, ...]) -> dict[str, Any]:
        record = dict(zip(names, row, strict=True))
        for column in JSON_COLUMNS:
            if record[column]:
                record[column] = self.loads(record[column])
        return record

    def _fetch(self, statement: str, values: tuple[object, ...]) -> list[dict[str, Any]]:
        connection = self._opened()
        try:
            cursor = connection.execute(statement, values)
            names = [column[0] for column in cursor.get_description()]
            return [self._record(names, row) for row in cursor]
        finally:
            connection.close()

    def get_history(self, limit: int) -> list[dict[str, Any]]:
        return self._fetch(PAGE, (limit, 0))

    def get_detection(self, number: int) -> dict[str, Any]:
        return self._fetch(ONE, (number,))[0]

    def _write(self, statement: str, values: tuple[object, ...]) -> int:
        connection = self._opened()
        try:
            with connection:
                connection.execute(statement, values)
            return int(connection.last_insert_rowid())
        finally:
            connection.close()

    def add_detection(
        self, plates: Any, confidences: Any, boxes: Any, *rest: Any, **more: Any
    ) -> int:
        lists = (self.dumps(each).decode() for each in (plates, confidences, boxes))
        *others, success = rest
        sureness = self.dumps(more["detection_confidences"]).decode()
        now = datetime.now().isoformat()
        return self._write(ADD, (now, len(plates), *lists, *others, int(success), sureness))

    def update_mmc_data(self, number: int, data: dict[str, Any]) -> None:
        self._write(UPDATE, (self.dumps(data).decode(), number))


class SqlalchemyCore:
    """SQLAlchemy Core with its JSON type, a connection opened for each call."""

    def __init__(self, path: str) -> None:
        import sqlalchemy as sa

        self.sa = sa
        self.engine = sa.create_engine(f"sqlite:///{path}", poolclass=sa.NullPool)
        kinds = {
            "timestamp": sa.Text,
            "num_plates": sa.Integer,
            "processing_time": sa.Float,
            "detector_time": sa.Float,
            "ocr_time": sa.Float,
            "image_path": sa.Text,
            "thumbnail_path": sa.Text,
            "success": sa.Integer,
        }
        order = (
            "timestamp num_plates plates confidences bboxes processing_time detector_time ocr_time"
            " image_path thumbnail_path success mmc_data detection_confidences"
        )
        self.table = sa.Table(
            "detections",
            sa.MetaData(),
            sa.Column("id", sa.Integer, primary_key=True),
            *(sa.Column(each, kinds.get(each, sa.JSON)) for each in order.split()),
        )

    def _fetch(self, statement: Any) -> list[dict[str, Any]]:
        with self.engine.connect() as connection:
            return [dict(row) for row in connection.execute(statement).mappings()]

    def get_history(self, limit: int) -> list[dict[str, Any]]:
        table = self.table
        return self._fetch(self.sa.select(table).order_by(table.c.timestamp.desc()).limit(limit))

    def get_detection(self, number: int) -> dict[str, Any]:
        return self._fetch(self.sa.select(self.table).where(self.table.c.id == number))[0]

    def add_detection(
        self, plates: Any, confidences: Any, boxes: Any, *rest: Any, **more: Any
    ) -> int:
        processing, detector, ocr, image, thumbnail, success = rest
        values = {
            "timestamp": datetime.now().isoformat(),
            "num_plates": len(plates),
            "plates": plates,
            "confidences": confidences,
            "bboxes": boxes,
            "processing_time": processing,
            "detector_time": detector,
            "ocr_time": ocr,
            "image_path": image,
            "thumbnail_path": thumbnail,
            "success": int(success),
            **more,
        }
        with self.engine.begin() as connection:
            result: Any = connection.execute(self.table.insert().values(**values))
            return int(result.inserted_primary_key[0])

    def update_mmc_data(self, number: int, data: dict[str, Any]) -> None:
        statement = self.table.update().where(self.table.c.id == number).values(mmc_data=data)
        with self.engine.begin() as connection:
            connection.execute(statement)
