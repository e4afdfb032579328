"""docs/performance.md, written from the figures of a run."""

from __future__ import annotations

from collections.abc import Mapping
from pathlib import Path

from report import Figures

DOCS = Path(__file__).resolve().parent.parent / "docs"
IMAGES = DOCS / "images"

INTRODUCTION = """\
# Performance

Written by `make bench`; a run takes some minutes. Every peer does the same work on the same
file in the same run, its answer is compared with the twin's before anything is timed, and the
peers take turns, round by round. Figures are of one machine: what carries over is how they
stand to each other.

- **store**: this package.
- **twin**: the same class in plain Python over `sqlite3` and `json` (`tests/support/twin.py`).
- **apsw**: `apsw` and `orjson`, put together by hand, in a process of its own, since `apsw`
  brings an engine of its own, newer than the system's. What `orjson` writes has no blanks and
  is not escaped beyond ASCII, so the store's search by text would not find it.
- **SQLAlch.**: SQLAlchemy Core with its JSON type, a connection opened for each call.
- **engine**: a C++ program that opens the file, runs the statements that the twin runs, looks
  at every column and closes. It makes no record and reads no JSON: a floor, not a competitor.
"""

WHY = {
    "pages": """\
A page costs its objects, not its parsing. So the store makes few of them: a row stands on the
bytes that were copied from the engine and makes no value of its own, the JSON columns are read
from those bytes, the records of a page share one table of keys, as the vehicles' mappings do,
and keys and short values that come again are the same objects. `orjson` reads JSON faster, but
gets each column as a text that has to be made first, and its user makes a dict of each row in
Python.""",
    "calls": """\
A call for one record opens the file, reads its schema and closes it, with every peer: nothing
is kept between calls, so that another program may change the file at any time. What the store
adds to the engine's own time is small beside that. A write adds what the file system takes to
make it last.""",
    "threads": """\
Python's `sqlite3` lets the GIL go at least once a row, and a busy thread that
gets it keeps it for the switch interval, 5 ms. The store keeps the GIL while its work is short
and lets it go once when it is not, so a call waits for its turn once, not once a row.""",
    "growth": """\
A read by id and a page of the newest use an index, so they cost the same in a file of a million
detections. A search by text and the statistics look at every row, which is the engine's work:
there the store and the twin come together. Retention sorts the whole table by time to find what
to drop.""",
    "stops": """\
While a call runs it offers the GIL about once a switch interval: between records,
and from within the engine while it searches. To drop a large result is one step of the
interpreter, with every peer. Where other programs have the processors, the thread waits for one of
those as well.""",
    "memory": """\
The rows of a page are dropped one by one as their records are made, and with a batch's last row
its bytes, so that a page's peak lies near what the records take. Records share their table of
keys.""",
}


def write(
    facts: Mapping[str, str],
    versions: Mapping[str, str],
    parts: Mapping[str, list[Figures | str]],
    seconds: float,
) -> None:
    texts = [INTRODUCTION]
    texts.append("\n".join(f"- {name}: {value}" for name, value in {**versions, **facts}.items()))
    titles = {
        "pages": "Pages",
        "calls": "All operations",
        "threads": "Beside busy threads",
        "growth": "Growth",
        "stops": "How long others wait",
        "memory": "Memory",
    }
    for key, title in titles.items():
        if key not in parts:
            continue
        texts.append(f"## {title}")
        texts.append(WHY[key])
        for part in parts[key]:
            if isinstance(part, str):
                texts.append(part)
            else:
                texts.append(f"{part.title}:\n\n{part.as_markdown()}")
    texts.append(f"The run took {seconds:.0f} seconds.")
    (DOCS / "performance.md").write_text("\n\n".join(text.strip() for text in texts) + "\n")
