"""Takes the pictures of the example server's page that the docs show, into docs/images.

    .venv/bin/python tools/take_screenshots.py

Every script that the plates are written in needs a font: Debian has them in fonts-noto-core and
fonts-noto-cjk.
"""

from __future__ import annotations

import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.append(str(ROOT / "tests"))

from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.support.wait import WebDriverWait  # noqa: E402

from support.browser import browser, missing  # noqa: E402
from support.server_process import running_server  # noqa: E402

IMAGES = ROOT / "docs" / "images"
PICTURES = {  # width, height, dark
    "page_light": (1280, 1250, False),
    "page_dark": (1280, 1250, True),
    "page_phone": (390, 844, False),
}
ARRIVALS = 8  # seconds in which some detections arrive


def main() -> int:
    if reason := missing():
        print(reason, file=sys.stderr)
        return 1
    IMAGES.mkdir(exist_ok=True)
    with (
        tempfile.TemporaryDirectory() as folder,
        running_server(Path(folder) / "page.db") as server,
    ):
        for name, (width, height, dark) in PICTURES.items():
            with browser(width, height, dark) as driver:
                # The window's own size has limits; the phone's is smaller.
                driver.execute_cdp_cmd(
                    "Emulation.setDeviceMetricsOverride",
                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False},
                )
                driver.get(server.address)
                WebDriverWait(driver, 60).until(
                    lambda page: page.find_elements(By.CSS_SELECTOR, "#rows li")
                )
                time.sleep(ARRIVALS)
                driver.save_screenshot(str(IMAGES / f"{name}.png"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
