"""`python -m reliability.hunts`: hunts for a time, with seeds that repeat a find."""

from __future__ import annotations

import argparse
import os
import random
import sys
from concurrent.futures import ThreadPoolExecutor

from reliability.hunts.run import HUNTS, Report, run


def describe(report: Report) -> str:
    figures = ", ".join(f"{count} {name}" for name, count in report.figures.items())
    lines = [f"{report.hunt}: {report.seconds:.0f} s: {figures or 'no whole round'}"]
    if report.find:
        lines += [
            f"FOUND by {report.hunt}, seed {report.seed}; once more: "
            f"make hunt HUNTS={report.hunt} SEED={report.seed} SECONDS=0",
            report.find,
        ]
    return "\n".join(lines)


def main() -> int:
    parser = argparse.ArgumentParser(prog="python -m reliability.hunts", description=__doc__)
    parser.add_argument("hunts", nargs="*", default=[], help=f"some of: {', '.join(HUNTS)}")
    parser.add_argument("--seconds", type=float, default=120, help="for all of them together")
    parser.add_argument("--seed", type=int, default=None, help="of the first round of each")
    given = parser.parse_args()
    hunts = given.hunts or list(HUNTS)
    if unknown := set(hunts) - set(HUNTS):
        parser.error(f"no such hunt: {', '.join(sorted(unknown))}")
    seed = random.SystemRandom().randrange(10**9) if given.seed is None else given.seed
    at_once = min(os.cpu_count() or 1, len(hunts))
    share = given.seconds * at_once / len(hunts)
    print(f"seed {seed}, {share:.0f} s for each of {', '.join(hunts)}", flush=True)
    found = False
    with ThreadPoolExecutor(at_once) as threads:
        for report in threads.map(lambda hunt: run(hunt, seed, seconds=share), hunts):
            print(describe(report), flush=True)
            found = found or bool(report.find)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
