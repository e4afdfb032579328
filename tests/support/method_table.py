"""Every method of the complete class, in the order in which the class defines them."""

from __future__ import annotations

from dataclasses import dataclass

# While some operations are still to come, the class may lack methods; once true, it may lack none.
CLASS_IS_COMPLETE = True

REQUIRED = object()


@dataclass(frozen=True)
class Parameter:
    name: str
    annotation: str | None = None
    default: object = REQUIRED


@dataclass(frozen=True)
class Method:
    name: str
    parameters: tuple[Parameter, ...] = ()  # after `self`
    returns: str | None = None
    static: bool = False

    @property
    def all_parameters(self) -> tuple[Parameter, ...]:
        """The parameters with `self` among them, where the method takes the object."""
        return self.parameters if self.static else (Parameter("self"), *self.parameters)

    @property
    def defaults(self) -> tuple[object, ...] | None:
        given = tuple(p.default for p in self.parameters if p.default is not REQUIRED)
        return given or None

    @property
    def annotations(self) -> dict[str, str]:
        named = {p.name: p.annotation for p in self.parameters if p.annotation is not None}
        return named if self.returns is None else {**named, "return": self.returns}


def _text(name: str) -> Parameter:
    return Parameter(name, "str", "")


METHODS = (
    Method("__init__", (Parameter("db_path", "str"),)),
    Method("_get_conn"),
    Method("_init_schema"),
    Method(
        "add_detection",
        (
            Parameter("plates", "List[str]"),
            Parameter("confidences", "List[float]"),
            Parameter("bboxes", "List[list]"),
            Parameter("processing_time", "float"),
            Parameter("detector_time", "float"),
            Parameter("ocr_time", "float"),
            Parameter("image_path", "Optional[str]", None),
            Parameter("thumbnail_path", "Optional[str]", None),
            Parameter("success", "bool", True),
            Parameter("detection_confidences", "Optional[List[float]]", None),
        ),
        "int",
    ),
    Method(
        "get_history",
        (
            Parameter("limit", "int", 100),
            Parameter("offset", "int", 0),
            Parameter("date_from", "str", None),
            Parameter("date_to", "str", None),
        ),
        "List[Dict]",
    ),
    Method("get_detection", (Parameter("detection_id", "int"),), "Optional[Dict]"),
    Method("delete_detection", (Parameter("detection_id", "int"),), "bool"),
    Method("delete_detections", (Parameter("ids", "list"),), "int"),
    Method("get_statistics", (), "Dict"),
    Method(
        "update_image_paths",
        (
            Parameter("detection_id", "int"),
            Parameter("image_path", "str"),
            Parameter("thumbnail_path", "str"),
        ),
    ),
    Method("update_mmc_data", (Parameter("detection_id", "int"), Parameter("mmc_data", "dict"))),
    Method("cleanup_old", (Parameter("max_entries", "int", 1000),)),
    Method(
        "search_plates",
        (
            _text("query"),
            Parameter("date_from", "str", None),
            Parameter("date_to", "str", None),
            Parameter("min_confidence", "float", 0),
            _text("mmc_make"),
            _text("mmc_model"),
            _text("mmc_color"),
            _text("mmc_type"),
            _text("mmc_nation"),
            _text("mmc_side"),
            Parameter("limit", "int", 100),
            Parameter("offset", "int", 0),
        ),
        "List[Dict]",
    ),
    Method("get_hourly_stats", (Parameter("hours", "int", 24),), "List[Dict]"),
    Method("get_top_plates", (Parameter("limit", "int", 5),), "List[Dict]"),
    Method("get_watchlist", (), "List[Dict]"),
    Method("add_watchlist", (Parameter("plate", "str"), _text("label")), "int"),
    Method("remove_watchlist", (Parameter("watchlist_id", "int"),), "bool"),
    Method("check_watchlist", (Parameter("plates", "List[str]"),), "List[Dict]"),
    Method(
        "add_alert",
        (
            Parameter("plate", "str"),
            Parameter("label", "str"),
            Parameter("detection_id", "int"),
            Parameter("confidence", "float"),
        ),
        "int",
    ),
    Method("get_alerts", (Parameter("limit", "int", 50),), "List[Dict]"),
    Method("get_alert_count", (Parameter("unread_only", "bool", True),), "int"),
    Method("mark_alerts_read", (), "int"),
    Method(
        "get_alerts_for_detections",
        (Parameter("detection_ids", "List[int]"),),
        "Dict[int, List[Dict]]",
    ),
    Method("_row_to_dict", (Parameter("row"),), "Dict", static=True),
)

# These make the store usable at all: the class has them from the start.
ALWAYS_THERE = frozenset(
    {
        "__init__",
        "_get_conn",
        "_init_schema",
        "add_detection",
        "get_history",
        "get_detection",
        "update_image_paths",
        "update_mmc_data",
        "_row_to_dict",
    }
)


def methods_of(store_class: type) -> list[Method]:
    """Those that the class has, in the table's order: all of them once it is complete."""
    demanded = {m.name for m in METHODS} if CLASS_IS_COMPLETE else ALWAYS_THERE
    there = vars(store_class)
    return [m for m in METHODS if m.name in demanded or m.name in there]
