"""Changes src/ in one small place at a time and sees whether the tests notice.

    python tools/mutants.py --count 200 --seed 7 --results build/mutants/results.json

Works on a copy of the sources in build/mutants. For each mutant the tests of the folder that it
stands in run first, then all others, up to the first failure. The same seed gives the same mutants
as long as src/ is the same; --only-caught-in FILE repeats those that an earlier run caught.
"""

from __future__ import annotations

import argparse
import dataclasses
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
BUILD = TOP / "build" / "mutants"

# What is replaced, by what. Each stands for a slip that a developer makes.
CHANGES = [
    (r" < ", " <= "),
    (r" <= ", " < "),
    (r" > ", " >= "),
    (r" >= ", " > "),
    (r" == ", " != "),
    (r" != ", " == "),
    (r" && ", " || "),
    (r" \|\| ", " && "),
    (r" \+ (?=\w)", " - "),
    (r" - (?=\w)", " + "),
    (r"\bif \((?!constexpr)", "if (false && "),
    (r"\bif \(!", "if ("),
    (r"\btrue\b", "false"),
    (r"\bfalse\b", "true"),
    (r"\+\+(?=\w)", "--"),
    (r"(?<= )0(?=[;,)])", "1"),
    (r"(?<= )1(?=[;,)])", "2"),
    (r"\breturn (?=[a-z_]\w*(?:\.\w+\(\))? (?:[<>=!]=?|&&) )", "return !"),
]
# A statement that is a plain call or assignment is left out.
STATEMENT = re.compile(r"^    +[a-z][\w.>:-]*(\(.*\)| = .*);$")


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    before: str
    after: str

    def __str__(self) -> str:
        after = self.after.strip() or "(left out)"
        return f"{self.file}:{self.line}: {self.before.strip()}  ->  {after}"


def code_of(line: str) -> str:
    return line.split("//")[0].rstrip()


def mutants_of_line(file: str, number: int, line: str) -> Iterator[Mutant]:
    code = code_of(line)
    skipped = ("#", "//", "template", "static_assert", "using ", "PyDoc_STR", "namespace")
    if not code.strip() or code.lstrip().startswith(skipped):
        return
    for pattern, replacement in CHANGES:
        for found in re.finditer(pattern, code):
            if code[: found.start()].count('"') % 2 == 1:
                continue  # inside a text
            changed = code[: found.start()] + replacement + code[found.end() :]
            yield Mutant(file, number, code, changed)
    if STATEMENT.match(code) and not code.lstrip().startswith(
        ("return", "throw", "const", "raise")
    ):
        yield Mutant(file, number, code, "")


def all_mutants() -> list[Mutant]:
    found: list[Mutant] = []
    for path in sorted((TOP / "src").rglob("*")):
        if path.suffix in (".cpp", ".h"):
            name = str(path.relative_to(TOP))
            for number, line in enumerate(path.read_text().splitlines(), start=1):
                found += mutants_of_line(name, number, line)
    return found


class Workshop:
    """The copy of the sources that is changed, built and tested."""

    def __init__(self, tests: Path, time_limit: float) -> None:
        self.sources = BUILD / "sources"
        self.stage = BUILD / "cmake" / "stage"
        self.tests = tests
        self.time_limit = time_limit
        BUILD.mkdir(parents=True, exist_ok=True)
        shutil.rmtree(self.sources, ignore_errors=True)
        ignored = shutil.ignore_patterns(".git", ".venv", "build", "dist", "__pycache__")
        shutil.copytree(TOP, self.sources, ignore=ignored)
        cmake = [str(TOP / ".venv/bin/cmake"), "-S", str(self.sources), "-B", str(BUILD / "cmake")]
        options = [
            "-G",
            "Ninja",
            "-DCMAKE_BUILD_TYPE=Debug",
            "-DZENTROPE_ANPR_TEST_MODULES=ON",
            f"-DPython_EXECUTABLE={TOP / '.venv/bin/python'}",
        ]
        environment = {**os.environ, "PATH": f"{TOP / '.venv/bin'}:{os.environ['PATH']}"}
        subprocess.run([*cmake, *options], check=True, env=environment, stdout=subprocess.DEVNULL)
        if not self.build():
            raise SystemExit("The unchanged sources do not build.")

    def build(self) -> bool:
        command = [str(TOP / ".venv/bin/cmake"), "--build", str(BUILD / "cmake")]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0

    def put(self, mutant: Mutant, text: str) -> None:
        path = self.sources / mutant.file
        lines = path.read_text().splitlines()
        lines[mutant.line - 1] = text
        path.write_text("\n".join(lines) + "\n")

    def notices(self, selection: list[str]) -> bool:
        """Whether a test of the selection fails, crashes or hangs."""
        command = [
            str(TOP / ".venv/bin/python"),
            "-m",
            "pytest",
            "-q",
            "-x",
            "-p",
            "no:cacheprovider",
        ]
        command += ["--numprocesses", "2", "--dist", "loadfile", *selection]
        environment = {**os.environ, "PYTHONPATH": str(self.stage), "PYTHONFAULTHANDLER": "1"}
        try:
            done = subprocess.run(
                command,
                cwd=self.tests.parent,
                env=environment,
                capture_output=True,
                timeout=self.time_limit,
                check=False,
            )
        except subprocess.TimeoutExpired:
            return True
        return done.returncode != 0

    def fate(self, mutant: Mutant) -> str:
        original = (self.sources / mutant.file).read_text().splitlines()[mutant.line - 1]
        self.put(mutant, mutant.after)
        try:
            if not self.build():
                return "does not compile"
            own = self.tests / mutant.file.split("/")[1]
            if own.is_dir() and self.notices([str(own)]):
                return "caught by its folder's tests"
            return "caught" if self.notices([str(self.tests)]) else "survived"
        finally:
            self.put(mutant, original)


def chosen(arguments: argparse.Namespace) -> list[Mutant]:
    if arguments.only_caught_in:
        earlier = json.loads(Path(arguments.only_caught_in).read_text())
        return [
            Mutant(**entry["mutant"]) for entry in earlier if entry["fate"].startswith("caught")
        ]
    mutants = all_mutants()
    random.Random(arguments.seed).shuffle(mutants)
    return mutants


def main() -> int:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter
    )
    parser.add_argument("--count", type=int, default=200, help="mutants that compile")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--tests", type=Path, default=TOP / "tests", help="the folder of tests")
    parser.add_argument("--time-limit", type=float, default=900, help="seconds for one test run")
    parser.add_argument("--results", type=Path, default=BUILD / "results.json")
    parser.add_argument("--only-caught-in", help="results of an earlier run")
    arguments = parser.parse_args()

    workshop = Workshop(arguments.tests.resolve(), arguments.time_limit)
    results: list[dict[str, object]] = []
    for mutant in chosen(arguments):
        if len(results) == arguments.count:
            break
        started = time.monotonic()
        fate = workshop.fate(mutant)
        if fate == "does not compile":
            continue
        results.append({"mutant": dataclasses.asdict(mutant), "fate": fate})
        print(
            f"{len(results):4} {time.monotonic() - started:6.1f} s  {fate:30} {mutant}", flush=True
        )
        arguments.results.write_text(json.dumps(results, indent=1))
    survivors = sum(result["fate"] == "survived" for result in results)
    print(f"{len(results)} mutants, {len(results) - survivors} caught, {survivors} survived")
    return 0


if __name__ == "__main__":
    sys.exit(main())
