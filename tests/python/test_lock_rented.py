"""Work in the engine gives the interpreter away long before it has to, where that costs little."""

from __future__ import annotations

from pathlib import Path

from support import child

# A call may keep the interpreter for 20 s here, and does so for a fifth of a second in any case.
# The statement is made to last longer than that.
PROGRAM = """
import sys, time
from support.busy_thread import counting
from support.sql_cases import count_to, open_native

sys.setswitchinterval(20)
connection = open_native(sys.argv[1])
steps = 10_000
while True:
    begin = time.thread_time()
    connection.execute(count_to(steps)).fetchall()
    if time.thread_time() - begin > 1:
        break
    steps *= 2
with counting(yielding=True) as counter:
    print(counter.progress_of(lambda: connection.execute(count_to(steps)).fetchall()) > 0)
"""


def test_a_scan_lets_threads_run_that_give_way(tmp_path: Path) -> None:
    assert child.output(PROGRAM, str(tmp_path / "x.db")) == "True\n"
