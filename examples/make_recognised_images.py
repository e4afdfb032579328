"""Writes recognised_images.jsonl: what a recogniser hands over for some hundred images.

The seed is fixed and nothing else varies, so every run writes the same bytes. Run it after a
change here or in plates_of_nations.py:

    python examples/make_recognised_images.py [FILE]
"""

from __future__ import annotations

import json
import sys
from dataclasses import dataclass
from pathlib import Path
from random import Random

from plates_of_nations import PLATE_FORMS

SEED = 20240501
IMAGES = 400
VEHICLES = 230

CAMERAS = ("gate-north", "gate-south", "Brücke-Ost", "parking-2", "駐車場-3", "upload")
WIDTH, HEIGHT = 1920, 1080

MODELS = {
    "Volkswagen": ("Golf", "Passat", "Crafter"),
    "Škoda": ("Fabia", "Octavia"),
    "Citroën": ("C3", "Berlingo"),
    "Toyota": ("Corolla", "Hilux", "Yaris"),
    "Hyundai": ("i20", "Tucson"),
    "Ford": ("Focus", "Transit"),
    "Lada": ("Niva", "Vesta"),
    "比亚迪": ("汉", "海豚"),
    "Tata": ("Nexon", "Ace"),
}
TYPES = {"Crafter": "van", "Berlingo": "van", "Transit": "van", "Hilux": "pickup", "Ace": "truck"}
COLOURS = ("white", "black", "grey", "silver", "red", "blue", "green", "yellow")


@dataclass(frozen=True)
class Vehicle:
    plate: str
    attributes: dict[str, str]


def make_vehicle(rng: Random) -> Vehicle:
    form = rng.choice(PLATE_FORMS)
    make = rng.choice(list(MODELS))
    model = rng.choice(MODELS[make])
    attributes = {
        "mmc_make": make,
        "mmc_model": model,
        "mmc_color": rng.choice(COLOURS),
        "mmc_type": TYPES.get(model, "sedan"),
        "mmc_plate_nation": form.nation,
    }
    return Vehicle(form.plate(rng), attributes)


def as_read(plate: str, rng: Random) -> str:
    """What the character reader makes of a plate: now and then without its separators."""
    chance = rng.random()
    if chance < 0.08:
        return plate.replace(" ", "").replace("-", "")
    if chance < 0.11:
        return plate.replace("-", " ").lower()
    return plate


def confidence(rng: Random) -> float:
    chance = rng.random()
    if chance < 0.05:
        return float("nan")  # the reader averaged over no character
    if chance < 0.07:
        return rng.choice((1.0, 0.0, 2.5e-05))
    return round(1 - rng.betavariate(1.2, 8), 4)


def box(rng: Random) -> list[int]:
    """Left, top, right and bottom edge in pixels."""
    width, height = rng.randint(70, 320), rng.randint(20, 90)
    left, top = rng.randint(0, WIDTH - width), rng.randint(0, HEIGHT - height)
    return [left, top, left + width, top + height]


def seconds(rng: Random, least: float, most: float) -> float:
    return round(rng.uniform(least, most), 6)


def vehicles_seen(vehicles: list[Vehicle], rng: Random) -> list[Vehicle]:
    """The vehicles in one image: mostly one, at times none or a row of them."""
    count = rng.choices((0, 1, 2, 3, 4), weights=(9, 74, 12, 4, 1))[0]
    regulars = vehicles[:20]  # they come by every day
    return rng.sample(regulars if rng.random() < 0.3 else vehicles, count)


def recognised_image(number: int, vehicles: list[Vehicle], rng: Random) -> dict[str, object]:
    camera = rng.choice(CAMERAS)
    failed = rng.random() < 0.04
    seen = [] if failed else vehicles_seen(vehicles, rng)
    detector_time = seconds(rng, 0.008, 0.06)
    ocr_time = seconds(rng, 0.004, 0.02) * len(seen)
    detector_confidences = [round(rng.uniform(0.4, 0.99), 3) for _ in seen]
    attributes = None
    if seen and rng.random() < 0.65:
        attributes = dict(seen[0].attributes)
        if rng.random() < 0.8:
            attributes["mmc_vehicle_side"] = rng.choice(("front", "rear"))
        if rng.random() < 0.1:
            del attributes["mmc_model"]  # the classifier was not sure of it
    return {
        "image": number,
        "camera": camera,
        "image_path": f"images/{camera}/{number:06}.jpg",
        "thumbnail_path": None if failed else f"thumbnails/{camera}/{number:06}.jpg",
        "success": not failed,
        "plates": [as_read(vehicle.plate, rng) for vehicle in seen],
        "confidences": [confidence(rng) for _ in seen],
        "bboxes": [box(rng) for _ in seen],
        "detection_confidences": detector_confidences if rng.random() < 0.7 else None,
        "processing_time": round(detector_time + ocr_time + seconds(rng, 0.001, 0.01), 6),
        "detector_time": detector_time,
        "ocr_time": round(ocr_time, 6) if seen else 0.0,
        "mmc_data": attributes,
    }


def recognised_images() -> str:
    """The whole file: one JSON object a line."""
    rng = Random(SEED)
    vehicles = [make_vehicle(rng) for _ in range(VEHICLES)]
    images = [recognised_image(number, vehicles, rng) for number in range(1, IMAGES + 1)]
    return "".join(json.dumps(image, ensure_ascii=False) + "\n" for image in images)


if __name__ == "__main__":
    beside_this_file = Path(__file__).with_name("recognised_images.jsonl")
    target = Path(sys.argv[1]) if len(sys.argv) > 1 else beside_this_file
    target.write_text(recognised_images(), encoding="utf-8", newline="\n")
