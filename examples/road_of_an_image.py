"""Takes some hundred recognised images down the road that each takes through the store.

Every stage checks that what it reads equals what was recorded; the first difference ends the
program with exit code 1. It leaves a database file behind:

    python examples/road_of_an_image.py [--images FILE] [--database FILE]
"""

from __future__ import annotations

import argparse
import io
import sys
import time
from pathlib import Path

from rich.console import Console
from rich.markup import escape
from rich.panel import Panel
from zentrope_anpr.zentrope_anpr_server_db import ANPRDatabase

from road.check import Mismatch
from road.demo_file import mark, start_afresh
from road.journey import Journey
from road.recognised import RecognisedImage, read_images
from road.stages import STAGES

HERE = Path(__file__).resolve().parent


def main() -> int:
    arguments = parse_arguments()
    if isinstance(sys.stdout, io.TextIOWrapper):
        sys.stdout.reconfigure(errors="replace")  # a terminal that cannot show every script
    console = Console()
    images = read_images(arguments.images)
    try:
        start_afresh(arguments.database)
    except FileExistsError as refusal:
        console.print(f"[bold red]Not started:[/] {escape(str(refusal))}")
        return 2
    journey = Journey(ANPRDatabase(str(arguments.database)), console, images)
    mark(arguments.database)
    console.print(introduction(images))
    started = time.perf_counter()
    try:
        for number, stage in enumerate(STAGES, start=1):
            console.rule(f"[bold]{number}. {stage.title}", align="left")
            stage.run(journey)
            console.print()
    except Mismatch as mismatch:
        console.print(
            f"[bold red]What was read is not what was recorded:[/] {escape(str(mismatch))}"
        )
        return 1
    console.print(farewell(journey, arguments.database, time.perf_counter() - started))
    console.print("Look into it with")
    # By itself on its line and unbroken, so that it can be copied in one piece.
    sys.stdout.write(
        f"sqlite3 {shown(arguments.database)} 'SELECT id, plates FROM detections LIMIT 9'\n"
    )
    return 0


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=(__doc__ or "").splitlines()[0])
    parser.add_argument("--images", type=Path, default=HERE / "recognised_images.jsonl")
    parser.add_argument("--database", type=Path, default=HERE / "out" / "detections.db")
    return parser.parse_args()


def introduction(images: list[RecognisedImage]) -> Panel:
    nations = {image.mmc_data["mmc_plate_nation"] for image in images if image.mmc_data}
    facts = {
        "images": len(images),
        "plates": sum(len(image.plates) for image in images),
        "with several plates": sum(len(image.plates) > 1 for image in images),
        "without a plate": sum(image.success and not image.plates for image in images),
        "not-a-number confidences": sum(c != c for image in images for c in image.confidences),
        "failed runs": sum(not image.success for image in images),
        "nations": len(nations),
    }
    text = ", ".join(f"{name} [bold cyan]{count}[/]" for name, count in facts.items())
    return Panel(text, title="The road of one recognised image", title_align="left")


def farewell(journey: Journey, database: Path, seconds: float) -> Panel:
    size = database.stat().st_size / 1024
    text = (
        f"[bold green]All {journey.checks:,} checks hold[/], {seconds:.2f} s.\n"
        f"The database file is {escape(shown(database))} ({size:,.0f} KiB)."
    )
    return Panel(text, title="Done", title_align="left", border_style="green")


def shown(path: Path) -> str:
    return str(path.relative_to(Path.cwd()) if path.is_relative_to(Path.cwd()) else path)


if __name__ == "__main__":
    sys.exit(main())
