"""A call owns what it was given, itself included: its caller may drop all of it meanwhile."""

from __future__ import annotations

import pytest

from support import child

# Fresh texts, held by nobody but the caller that is about to drop them, and objects made afterwards
# that take their memory.
PRELUDE = """
import atexit, functools, gc, sys, weakref
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

path = sys.argv[1]
junk = []

def fresh(text):
    return "".join(list(text))

def refill():
    gc.collect()
    junk.append([fresh("junk %d" % i) for i in range(3000)])
    junk.append([[i] for i in range(3000)])
    junk.append([(i, i, i) for i in range(3000)])

plain = ANPRDatabase(path)
plain.add_detection(["AB123"], [0.5], [[1, 2]], 0.1, 0.2, 0.3)
plain.add_watchlist("AB123", "old")
"""

# The call, and what a look at the file through another store must find afterwards.
CALLS = {
    "add_watchlist": (
        "fresh('new1'), fresh('a label')",
        "plate=fresh('new1'), label=fresh('a label')",
        "[(e['plate'], e['label']) for e in plain.get_watchlist()][0]",
        "('NEW1', 'a label')",
    ),
    "add_detection": (
        "[fresh('CD456')], [0.25], [[5, 6]], 1.5, 2.5, 3.5, fresh('a.jpg'), fresh('b.jpg')",
        "plates=[fresh('CD456')], confidences=[0.25], bboxes=[[5, 6]], processing_time=1.5,"
        " detector_time=2.5, ocr_time=3.5, image_path=fresh('a.jpg'),"
        " thumbnail_path=fresh('b.jpg')",
        "[plain.get_detection(2)[c] for c in ('plates', 'bboxes', 'ocr_time', 'thumbnail_path')]",
        "[['CD456'], [[5, 6]], 3.5, 'b.jpg']",
    ),
    "update_mmc_data": (
        "1, {fresh('mmc_color'): fresh('red')}",
        "detection_id=1, mmc_data={fresh('mmc_color'): fresh('red')}",
        "plain.get_detection(1)['mmc_data']",
        "{'mmc_color': 'red'}",
    ),
    "update_image_paths": (
        "1, fresh('a.jpg'), fresh('b.jpg')",
        "detection_id=1, image_path=fresh('a.jpg'), thumbnail_path=fresh('b.jpg')",
        "[plain.get_detection(1)[c] for c in ('image_path', 'thumbnail_path')]",
        "['a.jpg', 'b.jpg']",
    ),
    "add_alert": (
        "fresh('AB123'), fresh('a label'), 1, 0.5 + len(sys.argv)",
        "plate=fresh('AB123'), label=fresh('a label'), detection_id=1,"
        " confidence=0.5 + len(sys.argv)",
        "[(a['plate'], a['watchlist_label'], a['confidence']) for a in plain.get_alerts()]",
        "[('AB123', 'a label', 2.5)]",
    ),
    "delete_detections": (
        "[1, 2, 3]",
        "ids=[1, 2, 3]",
        "plain.get_detection(1)",
        "None",
    ),
}

ATEXIT = """
class Store(ANPRDatabase):
    armed = False

    def _get_conn(self):
        if self.armed:
            atexit.unregister(getattr(self, {name!r}))
            refill()
        return super()._get_conn()

store = Store(path)
store.armed = True
gone = weakref.ref(store)
atexit.register(store.{name}, {arguments})
del store
atexit._run_exitfuncs()
print({look} == {expected} or {look}, gone() is None)
"""

PARTIAL = """
class Store(ANPRDatabase):
    armed = False

    def _get_conn(self):
        if self.armed:
            given.__setstate__((print, (), {{}}, None))
            refill()
        return super()._get_conn()

store = Store(path)
store.armed = True
gone = weakref.ref(store)
given = functools.partial(store.{name}, {arguments})
del store
given()
print({look} == {expected} or {look}, gone() is None)
"""


@pytest.mark.parametrize("way", ["by position", "by keyword"])
@pytest.mark.parametrize("dropper", ["atexit", "partial"])
@pytest.mark.parametrize("name", CALLS)
def test_what_the_caller_drops_while_the_call_runs_stays_whole(tmp_path, name, dropper, way):
    positional, keywords, look, expected = CALLS[name]
    arguments = positional if way == "by position" else keywords
    program = (ATEXIT if dropper == "atexit" else PARTIAL).format(
        name=name, arguments=arguments, look=look, expected=expected
    )
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == "True True\n"


def test_a_plate_may_drop_the_call_that_asks_it_for_its_upper_case(tmp_path):
    program = """
class Plate:
    def upper(self):
        given.__setstate__((print, (), {}, None))
        refill()
        return fresh(" ab 1 ")

given = functools.partial(ANPRDatabase(path).add_watchlist, Plate(), label=fresh(" a label "))
print(given())
print([(e["plate"], e["label"]) for e in plain.get_watchlist()][0])
"""
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == "2\n('ab 1', 'a label')\n"


def test_a_default_may_be_replaced_while_the_call_runs(tmp_path):
    program = """
ANPRDatabase.add_watchlist.__defaults__ = (fresh(" the default "),)

class Plate:
    def upper(self):
        ANPRDatabase.add_watchlist.__defaults__ = ("another",)
        refill()
        return fresh("ab 1")

plain.add_watchlist(Plate())
print([(e["plate"], e["label"]) for e in plain.get_watchlist()][0])
"""
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == "('ab 1', 'the default')\n"


def test_the_constructor_owns_its_path_and_its_object(tmp_path):
    program = """
class Path:
    def __fspath__(self):
        given.__setstate__((print, (), {}, None))
        refill()
        return fresh(path + "2")

store = ANPRDatabase.__new__(ANPRDatabase)
gone = weakref.ref(store)
given = functools.partial(store.__init__, Path())
del store
print(given(), gone())
"""
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == "None None\n"


def test_a_static_method_owns_its_row(tmp_path):
    program = """
import json
from zentrope_anpr import zentrope_anpr_server_db as module

class Json:
    JSONDecodeError = json.JSONDecodeError

    @staticmethod
    def loads(text):
        given.__setstate__((print, (), {}, None))
        refill()
        return json.loads(text)

module.json = Json
given = functools.partial(
    ANPRDatabase._row_to_dict,
    plain._get_conn().execute("SELECT * FROM detections").fetchone(),
)
record = given()
print(record["plates"], record["bboxes"], record["timestamp"][:2])
"""
    assert child.output(PRELUDE + program, str(tmp_path / "x.db")) == "['AB123'] [[1, 2]] 20\n"
