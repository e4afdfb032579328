"""Long searches, summaries and deletions: other Python threads run on, the results are right."""

from __future__ import annotations

import pytest

from support import child, database, twin

pytestmark = pytest.mark.slow

ROWS = 200_000

# The newest 500 have long lists of plates, of which many are alike.
FILL = f"""
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {ROWS})
    INSERT INTO detections
        (timestamp, num_plates, plates, confidences, processing_time, success, mmc_data)
        SELECT strftime('%Y-%m-%dT%H:%M:%S', 1700000000 + i * 60, 'unixepoch'),
            i % 3, '["P' || i || '", "ÄB-1"]', '[0.5, 0.' || i || ']', i * 0.001, i % 7 > 0,
            '{{"mmc_color": "red", "mmc_make": "M' || i || '"}}'
        FROM n;
    UPDATE detections SET num_plates = 2000, plates = (
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)
        SELECT json_group_array('Q' || (i * detections.id % 4999)) FROM n
    ) WHERE id > {ROWS} - 500;
"""

PROGRAM = """
import shutil, sys, time
from support import twin
from support.busy_thread import counting
from support.stored_rows import stored_ids
from support.values import exactly
from zentrope_anpr import zentrope_anpr_server_db as native

filled, path = sys.argv[1:3]

def begin_anew():
    shutil.copyfile(filled, path)

def call(module):
    store = module.ANPRDatabase(path)
    return {call}

def outcome(result):
    return exactly(result), stored_ids(path)

def beside_a_counting_thread():
    # What that thread does while this one sleeps as long as the call took: the machine may be slow,
    # but then it is for both. A tenth is far from all and far from nothing.
    for _ in range(5):
        begin_anew()
        results = []
        with counting() as counter:
            started = time.perf_counter()
            during = counter.progress_of(lambda: results.append(call(native)))
            seconds = time.perf_counter() - started
            idle = counter.progress_of(lambda: time.sleep(seconds))
        if during * 10 > idle:
            return results[0]
    raise AssertionError(f"{{during}} beside the call, {{idle}} beside nothing")

beside = outcome(beside_a_counting_thread())
for module in (native, twin):
    begin_anew()
    assert outcome(call(module)) == beside, module
print("all the same")
"""

CALLS = {
    "a search that finds none": 'store.search_plates("no such plate")',
    "a search that finds many": 'store.search_plates("p1", min_confidence=0.9, limit=30_000)',
    "a search far back": "store.search_plates(min_confidence=0.9, limit=9, offset=120_000)",
    "statistics": "store.get_statistics()",
    "hours": "store.get_hourly_stats(10**6)",
    "top plates": "store.get_top_plates(100)",
    "many deletions": "store.delete_detections(range(1, 100_000))",
    "a trim": "store.cleanup_old(1000)",
}


@pytest.fixture(scope="module")
def filled(tmp_path_factory):
    path = tmp_path_factory.mktemp("filled") / "filled.db"
    twin.ANPRDatabase(path)
    database.run_script(path, f"BEGIN; {FILL} COMMIT;")
    yield path
    path.unlink()


@pytest.mark.parametrize("call", CALLS.values(), ids=CALLS)
def test_other_threads_run_on_and_the_result_is_the_same(filled, tmp_path, call):
    path = tmp_path / "long.db"
    output = child.output(PROGRAM.format(call=call), str(filled), str(path))
    assert output == "all the same\n"
    path.unlink()
